// What the Morse decoder makes of keyed text behind a channel filter, and what it costs: cwDecoderStudy [seeds a cell].
// Character error rate by speed, keying jitter and noise; characters until it has found a new speed; text out of bare noise.
#include "dsp/fftConvolver.h"
#include "dsp/filterDesign.h"
#include "modes/cwDecoder.h"
#include "modes/cwModDemod.h"
#include "runtime/sothreadpool.h"
#include "sim/morseCode.h"
#include "sim/randomSource.h"
#include "tests/modes/studyText.h"
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <map>
#include <string>
#include <vector>

using namespace larch;

namespace {

// The chain's filter has 1536 taps at 48000 Hz: 32 ms. Here it lasts as long at a rate that leaves noise enough around it, and
// the decoder gets the same 1500 looks a second.
constexpr int32_t rate = 6000, filterTaps = 1536 / (48000 / rate), samplesALook = rate / 1500;
constexpr double noiseWidth_Hz = 500, riseTime_s = 0.005;
constexpr double leadIn_s = 1, leadOut_s = 2; // noise before and behind the text
constexpr double speeds_wpm[] = {10, 15, 20, 25, 30, 35, 40, 45};
constexpr double jitters[] = {0, 0.1, 0.2, 0.3};
constexpr double snrs_dB[] = {40, 20, 15, 12, 10, 6, 3}; // of the carrier, key down, to the noise in noiseWidth_Hz
constexpr double widths_Hz[] = {1000, 500, 300, 200, 100};
constexpr int warmUpCharacters = 60, measuredCharacters = 250;

double gauss(sim::randomSource& random) {
  double value = 0;
  random.addNoise(&value, 1, 1.0);
  return value;
}

// Words of 2 to 7 letters, every tenth character a digit.
std::string randomText(size_t length, sim::randomSource& random) {
  std::string text;
  while (text.size() < length) {
    if (!text.empty()) text += ' ';
    for (uint64_t n = 2 + random.below(6); n > 0; n--)
      text += static_cast<char>(random.below(10) ? 'a' + random.below(26) : '0' + random.below(10));
  }
  return text;
}

struct keying {
  std::string text;
  std::vector<sim::keyedInterval> marks;
  std::vector<double> starts_s; // of each character's first mark; a blank has that of the next character
  double end_s = 0;
};

// Each mark and each pause is longer or shorter by its own Gaussian share, at most by 0.7 of its length.
keying keyText(const std::string& text, double wpm, double jitter, double from_s, sim::randomSource& random) {
  const double dot = sim::morseUnit_s(wpm);
  const auto uneven = [&](double length) { return length * (1 + std::clamp(jitter * gauss(random), -0.7, 0.7)); };
  keying k{text, {}, {}, from_s};
  double pause = 0; // dots before the next mark
  for (const char c : text) {
    if (c == ' ') {
      pause = 7;
      k.starts_s.push_back(k.end_s + pause * dot);
      continue;
    }
    for (const char* e = sim::morseElements(c); *e; e++, pause = 1) {
      const double down = k.end_s + uneven(pause * dot);
      if (pause != 1) k.starts_s.push_back(down);
      k.end_s = down + uneven((*e == '-' ? 3 : 1) * dot);
      k.marks.push_back({down, k.end_s});
    }
    pause = 3;
  }
  return k;
}

// The carrier's level at a time, with raised-cosine edges that begin where the key moves.
class keyedCarrier {
 public:
  explicit keyedCarrier(const keying& k) : marks_(k.marks) {}
  double level(double t) { // t never goes back
    while (next_ < marks_.size() && marks_[next_].down_s <= t) next_++;
    if (next_ == 0) return 0;
    const sim::keyedInterval& m = marks_[next_ - 1];
    return t < m.up_s ? edge(t - m.down_s) : edge(m.up_s - m.down_s) - std::min(edge(t - m.up_s), edge(m.up_s - m.down_s));
  }

 private:
  static double edge(double t) { return t >= riseTime_s ? 1 : 0.5 - 0.5 * std::cos(M_PI * t / riseTime_s); }
  const std::vector<sim::keyedInterval>& marks_;
  size_t next_ = 0;
};

// A receiver from its channel filter on.
class receiver {
 public:
  receiver(double snr_dB, uint64_t seed, double width_Hz = noiseWidth_Hz)
      : filter_(filterOf(width_Hz)), noise_(seed), deviation_(std::sqrt(std::pow(10, -snr_dB / 10) / noiseWidth_Hz * rate / 2)) {}

  template <class Level> void hear(double until_s, Level level) {
    for (; now_s() < until_s; blocks_++) {
      for (uint64_t i = 0; i < fftConvolver::block; i++) filter_.input.data[i] = level(now_s() + static_cast<double>(i) / rate);
      noise_.addNoise(filter_.input.data, fftConvolver::block, deviation_);
      filter_.process();
      for (uint64_t i = 0; i < looks_.count / cwDecoder::lookSpacing; i++)
        looks_.data[i * cwDecoder::lookSpacing] = filter_.output.data[i * samplesALook];
      decoder.process(looks_, [this](char c) { text += c; });
    }
  }
  void hear(const keying& k) {
    keyedCarrier carrier(k);
    hear(k.end_s, [&](double t) { return carrier.level(t); });
  }
  double now_s() const { return static_cast<double>(blocks_ * fftConvolver::block) / rate; }

  cwDecoder decoder;
  std::string text;

 private:
  static const cbuff& filterOf(double width_Hz) {
    static std::map<double, cbuff> filters;
    cbuff& filter = filters[width_Hz];
    if (filter.count == 0) filter = minimumPhase(makeBandpass(-width_Hz / 2, width_Hz / 2, rate, filterTaps, filterTaps));
    return filter;
  }

  fftConvolver filter_;
  cbuff looks_{fftConvolver::block / samplesALook * cwDecoder::lookSpacing, 0.0}; // only the looks are filled
  sim::randomSource noise_;
  double deviation_;
  uint64_t blocks_ = 0;
};

std::string trimmed(const std::string& text) {
  const size_t first = text.find_first_not_of(' ');
  return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

const auto silence = [](double) { return 0.0; };

struct channel {
  double wpm, jitter, snr_dB, width_Hz;
};

// Errors of the measured text, behind a text that lets the decoder find the speed.
size_t errorsOf(const channel& c, uint64_t seed, size_t& sent) {
  sim::randomSource random(seed);
  receiver r(c.snr_dB, seed + 1'000'000, c.width_Hz);
  r.hear(leadIn_s, silence);
  r.hear(keyText(randomText(warmUpCharacters, random), c.wpm, c.jitter, r.now_s(), random));
  const double gapOfAWord_s = 6.5 * sim::morseUnit_s(c.wpm);
  r.hear(r.now_s() + gapOfAWord_s, silence);
  r.text.clear();
  const keying measured = keyText(randomText(measuredCharacters, random), c.wpm, c.jitter, r.now_s(), random);
  r.hear(measured);
  r.hear(r.now_s() + gapOfAWord_s, silence);
  sent += measured.text.size();
  return study::editDistance(measured.text, trimmed(r.text));
}

void printRate(const channel& c, int seeds) {
  static uint64_t seed = 1; // every text and every noise is another one
  size_t errors = 0, sent = 0;
  for (int i = 0; i < seeds; i++) errors += errorsOf(c, seed++, sent);
  std::printf(" %.1f |", 100.0 * static_cast<double>(errors) / static_cast<double>(sent));
  std::fflush(stdout);
}

void printSpeeds(int seeds) {
  std::printf("\n| jitter | SNR |");
  for (double wpm : speeds_wpm) std::printf(" %.0f wpm |", wpm);
  std::printf("\n|---|---|---|---|---|---|---|---|---|---|\n");
  for (double jitter : jitters)
    for (double snr_dB : snrs_dB) {
      std::printf("| %.0f %% | %.0f dB |", jitter * 100, snr_dB);
      for (double wpm : speeds_wpm) printRate({wpm, jitter, snr_dB, noiseWidth_Hz}, seeds);
      std::printf("\n");
    }
}

void printWidths(int seeds) {
  std::printf("\n| SNR in %.0f Hz |", noiseWidth_Hz);
  for (double width : widths_Hz) std::printf(" %.0f Hz |", width);
  std::printf("\n|---|---|---|---|---|---|\n");
  for (double snr_dB : snrs_dB) {
    std::printf("| %.0f dB |", snr_dB);
    for (double width : widths_Hz) printRate({20, 0.1, snr_dB, width}, seeds);
    std::printf("\n");
  }
}

// Characters of a text that the decoder hears wrong before all that follows is right, when it comes from `from` words per minute;
// 0: a fresh decoder.
int charactersToSettle(double from, double wpm, uint64_t seed) {
  sim::randomSource random(seed);
  receiver r(40, seed + 1'000'000);
  r.hear(leadIn_s, silence);
  if (from > 0) r.hear(keyText(randomText(2 * warmUpCharacters, random), from, 0, r.now_s(), random));
  r.hear(r.now_s() + leadOut_s, silence);
  r.text.clear();
  const keying k = keyText(randomText(measuredCharacters, random), wpm, 0, r.now_s(), random);
  r.hear(k);
  r.hear(r.now_s() + leadOut_s, silence);
  const std::string heard = trimmed(r.text);
  size_t right = 0;
  while (right < std::min(heard.size(), k.text.size()) && heard[heard.size() - 1 - right] == k.text[k.text.size() - 1 - right])
    right++;
  return static_cast<int>(k.text.size() - right);
}

void printSettling(int seeds) {
  std::printf("\n| to | fresh (45) | from 10 | from 20 | from 45 |\n|---|---|---|---|---|\n");
  for (double wpm : speeds_wpm) {
    std::printf("| %.0f |", wpm);
    for (double from : {0.0, 10.0, 20.0, 45.0}) {
      std::vector<int> counts;
      for (int seed = 0; seed < 3 * seeds; seed++)
        counts.push_back(charactersToSettle(from, wpm, static_cast<uint64_t>(seed) * 104729 + 5));
      std::sort(counts.begin(), counts.end());
      std::printf(" %d (%d) |", counts[counts.size() / 2], counts[counts.size() * 9 / 10]);
      std::fflush(stdout);
    }
    std::printf("\n");
  }
}

void printNoise() {
  constexpr double minutes = 60;
  std::printf("\nnoise alone, characters an hour:");
  for (double width : widths_Hz) {
    receiver r(0, 1, width);
    r.hear(minutes * 60, silence);
    std::printf(" %td at %.0f Hz,", static_cast<std::ptrdiff_t>(r.text.size()) - std::count(r.text.begin(), r.text.end(), ' '),
                width);
  }
  std::printf("\n");
}

double threadCpu_s() {
  timespec t;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

template <class Block> void printCost(const char* what, Block block) {
  constexpr int blocks = 300'000;
  const double start = threadCpu_s();
  for (int i = 0; i < blocks; i++) block();
  const double each_s = (threadCpu_s() - start) / blocks;
  std::printf("%s: %.0f ns a block, %.4f %% of a core\n", what, each_s * 1e9, each_s * 48000 / fftConvolver::block * 100);
}

void printCosts() {
  sim::randomSource random(3);
  cbuff block(fftConvolver::block, 0.0);
  random.addNoise(block.data, block.count, 1);
  cwDecoder decoder;
  const auto nobody = [](char) {};
  std::printf("\n");
  printCost("decoder", [&] { decoder.process(block, nobody); });
  const auto pool = std::make_shared<sothreadpool>(0);
  const auto mode = keptByCore(std::make_shared<cwModDemod>(std::make_shared<syncTask>(pool.get())));
  printCost("decoder and tone", [&] { mode->demodulate(block); });
  pool->getUpdates();
}

} // namespace

int main(int argc, char** argv) {
  const int seeds = std::max(argc > 1 ? std::atoi(argv[1]) : 8, 1);
  printCosts();
  printNoise();
  printSettling(seeds);
  printWidths(seeds);
  printSpeeds(seeds);
}
