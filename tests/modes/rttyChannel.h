// Radioteletype over a channel, in the receiver's baseband at 6000 samples per second, and the decoder that reads it.
#pragma once
#include "dsp/fftConvolver.h"
#include "dsp/filterDesign.h"
#include "modes/baudot.h"
#include "modes/rttyDecoder.h"
#include "tests/modes/fadingPaths.h"
#include "tests/modes/studyText.h"
#include <algorithm>
#include <cmath>
#include <complex>
#include <optional>
#include <string>
#include <vector>

namespace larch::study {

// The chain's filter has 1536 taps at 48000 Hz: 32 ms. Here it lasts as long at the rate of the decoder's looks.
constexpr int32_t rttyRate = 6000, rttyFilterTaps = 1536 / (48000 / rttyRate), rttyBitSamples = 132;
constexpr int32_t rttyFrequency = -85; // of the mark: the two tones stand around the centre
constexpr double rttyNoiseWidth_Hz = 500, rttyFilterWidth_Hz = 500;
constexpr size_t rttyCharacters = 30;
using rttySignal = std::vector<std::complex<double>>;

struct rttyChannel {
  double offset_Hz = 0, drift_Hz_s = 0, clock_ppm = 0;
  fadingSpread fading;
  std::optional<double> neighbour_Hz; // another station of the same level so far above
};

// Two tones without a jump of the phase: above the centre is below zero.
class rttySender {
 public:
  rttySender(double mark_Hz, const rttyChannel& c) : mark_Hz_(mark_Hz), channel_(c) {}
  void tone(bool mark, double bits) {
    for (end_ += bits * rttyBitSamples / (1 + channel_.clock_ppm * 1e-6); static_cast<double>(sent.size()) < end_;) {
      const double drift_Hz = channel_.drift_Hz_s * static_cast<double>(sent.size()) / rttyRate;
      phase_ -= 2 * M_PI * (mark_Hz_ + drift_Hz + (mark ? 0 : rttyDecoder::shift)) / rttyRate;
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

  rttySignal sent;

 private:
  double mark_Hz_;
  rttyChannel channel_;
  double phase_ = 0, end_ = 0;
};

inline rttySignal rttyReceived(const rttySignal& sent, const rttyChannel& c, double snr_dB, sim::randomSource& random) {
  rttySignal heard = sent;
  if (c.fading.doppler_Hz > 0) {
    fadingPaths paths(c.fading, rttyRate, random);
    const auto late = static_cast<size_t>(paths.delay_s() * rttyRate);
    for (size_t n = 0; n < sent.size(); n++) {
      const auto gain = paths.at(n);
      heard[n] = sent[n] * gain[0] + (n < late ? 0.0 : sent[n - late] * gain[1]);
    }
  }
  if (c.neighbour_Hz) {
    rttySender other(rttyFrequency + *c.neighbour_Hz, {});
    other.tone(true, random.uniform() * 7.5);
    while (other.sent.size() < sent.size()) other.text(randomWords(10, random, 'A'));
    for (size_t n = 0; n < sent.size(); n++) heard[n] += other.sent[n];
  }
  random.addNoise(heard.data(), heard.size(), std::sqrt(std::pow(10, -snr_dB / 10) / rttyNoiseWidth_Hz * rttyRate / 2));
  return heard;
}

// What is decoded behind the first `skipped` samples.
inline std::string readRtty(const rttySignal& heard, size_t skipped) {
  fftConvolver f(makeBandpass(-rttyFilterWidth_Hz / 2, rttyFilterWidth_Hz / 2, rttyRate, rttyFilterTaps, rttyFilterTaps));
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
    decoder.process(looks.data(), looks.size(), rttyFrequency);
    if (at + fftConvolver::block <= skipped) text.clear();
  }
  return text;
}

// Of one text behind the begin of an idle line.
inline size_t rttyErrors(const rttyChannel& c, double snr_dB, sim::randomSource& random) {
  constexpr size_t warmUpFrames = 12, lastFrames = 4; // these through the filter and to the end of a period
  constexpr int letters = 31, phases = 60;            // eighths of a bit in a character
  rttySender s(rttyFrequency + c.offset_Hz, c);
  const auto begin = static_cast<double>(random.below(phases));
  s.tone(true, (begin + random.uniform()) / 8);
  for (size_t n = 0; n < warmUpFrames; n++) s.frame(letters);
  const size_t before = s.sent.size();
  const std::string text = randomWords(rttyCharacters, random, 'A');
  s.text(text);
  for (size_t n = 0; n < lastFrames; n++) s.frame(letters);
  return editDistance(text, readRtty(rttyReceived(s.sent, c, snr_dB, random), before));
}

// set(channel, sign): called with 1 and -1 in turn.
template <class Set> double rttyErrors_percent(double snr_dB, uint64_t seeds, Set set) {
  size_t errors = 0;
  for (uint64_t seed = 1; seed <= seeds; seed++) {
    sim::randomSource random(seed);
    rttyChannel c;
    set(c, seed % 2 ? 1.0 : -1.0);
    errors += rttyErrors(c, snr_dB, random);
  }
  return 100.0 * static_cast<double>(errors) / static_cast<double>(seeds * rttyCharacters);
}

// Characters that can be printed, a minute, of noise without a signal.
inline double rttyPrintsOfNoise(uint64_t seeds) {
  constexpr double each_s = 20;
  size_t printable = 0;
  for (uint64_t seed = 1; seed <= seeds; seed++) {
    sim::randomSource random(seed);
    for (const char c : readRtty(rttyReceived(rttySignal(static_cast<size_t>(each_s * rttyRate)), {}, 0, random), 0))
      printable += c >= ' ' && c < 127;
  }
  return static_cast<double>(printable) / (static_cast<double>(seeds) * each_s / 60);
}

} // namespace larch::study
