// Error rate of radioteletype over channels, and what it makes of noise alone: rttyChannelStudy [seeds a point]. A line a value:
// RTTY, channel, SNR in 500 Hz, percent. bench/errorCurves turns them into tables and pictures.
#include "dsp/fftConvolver.h"
#include "dsp/filterDesign.h"
#include "modes/baudot.h"
#include "modes/rttyDecoder.h"
#include "tests/modes/fadingPaths.h"
#include "tests/modes/studyText.h"
#include <cstdio>
#include <cstdlib>
#include <optional>

using namespace larch;
using namespace larch::study;

namespace {

// The chain's filter has 1536 taps at 48000 Hz: 32 ms. Here it lasts as long at the rate of the decoder's looks.
constexpr int32_t rate = 6000, filterTaps = 1536 / (48000 / rate), bitSamples = 132;
constexpr int32_t frequency = -85; // of the mark: the two tones stand around the centre
constexpr double noiseWidth_Hz = 500, filterWidth_Hz = 500;
constexpr size_t characters = 30, warmUpFrames = 12, lastFrames = 4;
constexpr int letters = 31, phases = 60; // eighths of a bit in a character
using signal = std::vector<std::complex<double>>;

struct channel {
  double offset_Hz = 0, drift_Hz_s = 0, clock_ppm = 0;
  fadingSpread fading;
  std::optional<double> neighbour_Hz; // another station of the same level so far above
};

struct condition {
  const char* name;
  std::vector<double> snrs_dB;
  void (*set)(channel& c, bool odd);
};
const std::vector<double> some{0, 2, 4, 6, 10, 20};
const condition conditions[] = {
    {"noise", {-4, -2, -1, 0, 1, 2, 3, 4, 6, 10}, [](channel&, bool) {}},
    {"offset", some, [](channel& c, bool odd) { c.offset_Hz = odd ? 15 : -15; }},
    {"drift", some, [](channel& c, bool odd) { c.drift_Hz_s = odd ? 2 : -2; }},
    {"clock", some, [](channel& c, bool odd) { c.clock_ppm = odd ? 300 : -300; }},
    {"neighbour", some, [](channel& c, bool odd) { c.neighbour_Hz = odd ? 60 : -60; }},
    {"fading", {6, 10, 14, 18, 22, 26, 30}, [](channel& c, bool) { c.fading = moderateFading; }},
};

// Two tones without a jump of the phase, in the receiver's baseband: above the centre is below zero.
class sender {
 public:
  sender(double mark_Hz, const channel& c) : mark_Hz_(mark_Hz), channel_(c) {}
  void tone(bool mark, double bits) {
    for (end_ += bits * bitSamples / (1 + channel_.clock_ppm * 1e-6); static_cast<double>(sent.size()) < end_;) {
      const double drift_Hz = channel_.drift_Hz_s * static_cast<double>(sent.size()) / rate;
      phase_ -= 2 * M_PI * (mark_Hz_ + drift_Hz + (mark ? 0 : rttyDecoder::shift)) / rate;
      sent.push_back(std::polar(1.0, phase_));
    }
  }
  void frame(int code) {
    tone(false, 1);
    for (int bit = 0; bit < 5; bit++) tone(code >> bit & 1, 1);
    tone(true, 1.5);
  }
  void text(const std::string& text) {
    for (const char c : text) frame(baudotEntry(c) >> 3 & 31);
  }

  signal sent;

 private:
  double mark_Hz_;
  channel channel_;
  double phase_ = 0, end_ = 0;
};

signal received(const signal& sent, const channel& c, double snr_dB, sim::randomSource& random) {
  signal heard = sent;
  if (c.fading.doppler_Hz > 0) {
    fadingPaths paths(c.fading, rate, random);
    const auto late = static_cast<size_t>(paths.delay_s() * rate);
    for (size_t n = 0; n < sent.size(); n++) {
      const auto gain = paths.at(n);
      heard[n] = sent[n] * gain[0] + (n < late ? 0.0 : sent[n - late] * gain[1]);
    }
  }
  if (c.neighbour_Hz) {
    sender other(frequency + *c.neighbour_Hz, {});
    other.tone(true, random.uniform() * 7.5);
    while (other.sent.size() < sent.size()) other.text(randomWords(10, random, 'A'));
    for (size_t n = 0; n < sent.size(); n++) heard[n] += other.sent[n];
  }
  random.addNoise(heard.data(), heard.size(), std::sqrt(std::pow(10, -snr_dB / 10) / noiseWidth_Hz * rate / 2));
  return heard;
}

// What is decoded behind the first `skipped` samples.
std::string read(const signal& heard, size_t skipped) {
  fftConvolver f(makeBandpass(-filterWidth_Hz / 2, filterWidth_Hz / 2, rate, filterTaps, filterTaps));
  std::vector<std::complex<double>> looks(fftConvolver::block * rttyDecoder::lookSpacing);
  std::string text;
  rttyDecoder decoder{{[&](const rttyPeriod& p) {
                         if (p.hasCharacter) text += p.character;
                       },
                       [](float) {}}};
  for (size_t at = 0; at + fftConvolver::block <= heard.size(); at += fftConvolver::block) {
    std::copy_n(heard.begin() + static_cast<std::ptrdiff_t>(at), fftConvolver::block, f.input.data);
    f.process();
    for (uint64_t i = 0; i < fftConvolver::block; i++) looks[i * rttyDecoder::lookSpacing] = f.output.data[i];
    decoder.process(looks.data(), looks.size(), frequency);
    if (at + fftConvolver::block <= skipped) text.clear();
  }
  return text;
}

size_t errorsOf(const condition& what, double snr_dB, uint64_t seed) {
  sim::randomSource random(seed);
  channel c;
  what.set(c, seed % 2);
  sender s(frequency + c.offset_Hz, c);
  s.tone(true, static_cast<double>(random.below(phases)) / 8 + random.uniform() / 8);
  for (size_t n = 0; n < warmUpFrames; n++) s.frame(letters);
  const size_t before = s.sent.size();
  const std::string text = randomWords(characters, random, 'A');
  s.text(text);
  for (size_t n = 0; n < lastFrames; n++) s.frame(letters); // through the filter and to the end of a period
  return editDistance(text, read(received(s.sent, c, snr_dB, random), before));
}

// Characters that can be printed, a minute, of noise without a signal.
void printNoise(uint64_t seeds) {
  constexpr double each_s = 20;
  size_t printable = 0;
  for (uint64_t seed = 1; seed <= seeds; seed++) {
    sim::randomSource random(seed);
    for (const char c : read(received(signal(static_cast<size_t>(each_s * rate)), {}, 0, random), 0))
      printable += c >= ' ' && c < 127;
  }
  std::printf("RTTY printable 0 %.1f\n", static_cast<double>(printable) / (static_cast<double>(seeds) * each_s / 60));
}

} // namespace

int main(int argc, char** argv) {
  const auto seeds = static_cast<uint64_t>(std::max(argc > 1 ? std::atoi(argv[1]) : 16, 1));
  for (const condition& what : conditions)
    for (const double snr_dB : what.snrs_dB) {
      size_t errors = 0;
      for (uint64_t seed = 1; seed <= seeds; seed++) errors += errorsOf(what, snr_dB, seed);
      std::printf("RTTY %s %g %.3f\n", what.name, snr_dB,
                  100.0 * static_cast<double>(errors) / static_cast<double>(seeds * characters));
      std::fflush(stdout);
    }
  printNoise(seeds);
}
