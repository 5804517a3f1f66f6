// What the RTTY decoder makes of text behind a channel filter, and what it costs: rttyStudy [seeds a cell].
// Character error rate by noise, where frames end in the receiver's period, filter width, tuning and speed of the sender.
#include "dsp/fftConvolver.h"
#include "dsp/filterDesign.h"
#include "modes/rttyDecoder.h"
#include "modes/rttyKeyer.h"
#include "modes/baudot.h"
#include "sim/randomSource.h"
#include "tests/modes/studyText.h"
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

using namespace larch;

namespace {

// The chain's filter has 1536 taps at 48000 Hz: 32 ms. Here it lasts as long at the rate of the decoder's looks.
constexpr int32_t rate = 6000, filterTaps = 1536 / (48000 / rate), bitSamples = 132;
constexpr int32_t frequency = -85; // of the mark: the two tones stand around the centre
constexpr double noiseWidth_Hz = 500;
constexpr double snrs_dB[] = {20, 10, 6, 4, 3, 2, 1, 0, -1, -2, -4}; // of the signal to the noise in noiseWidth_Hz
constexpr double widths_Hz[] = {2400, 1000, 500, 350, 250};
constexpr double tunings_Hz[] = {0, 5, 10, 15, 20, 30, 40};
constexpr double speeds[] = {0.98, 0.99, 0.995, 1.0, 1.005, 1.01, 1.02}; // of the sender's clock
constexpr double startSnrs_dB[] = {40, 10, 4, 2};
constexpr int phases = 60; // eighths of a bit in a character
constexpr double usualStart = 20;
constexpr int warmUpFrames = 12;
constexpr size_t measuredCharacters = 250;

// Words of 2 to 7 letters, every fifth one a number.
std::string randomText(size_t length, sim::randomSource& random) {
  std::string text;
  while (text.size() < length) {
    if (!text.empty()) text += ' ';
    const bool number = random.below(5) == 0;
    for (uint64_t n = 2 + random.below(6); n > 0; n--)
      text += static_cast<char>(number ? '0' + random.below(10) : 'A' + random.below(26));
  }
  return text;
}

// With a figures shift again behind each blank, as a careful sender does.
std::vector<int> codesOf(const std::string& text) {
  std::vector<int> codes;
  bool figures = false;
  for (const char c : text) {
    const int entry = baudotEntry(c), code = entry >> 3 & 31;
    const bool figure = entry & baudotIsFigure;
    if (!(entry & baudotInBoth) && figure != figures) codes.push_back(figure ? 27 : 31);
    figures = entry & baudotInBoth ? false : figure;
    codes.push_back(code);
  }
  return codes;
}

struct channel {
  double snr_dB, width_Hz = 500, tuning_Hz = 0, speed = 1;
  double start = usualStart; // eighths of a bit of idle mark before the first frame
};

class receiver {
 public:
  receiver(const channel& c, uint64_t seed)
      : channel_(c), filter_(makeBandpass(-c.width_Hz / 2, c.width_Hz / 2, rate, filterTaps, filterTaps)), noise_(seed),
        deviation_(std::sqrt(std::pow(10, -c.snr_dB / 10) / noiseWidth_Hz * rate / 2)) {}

  void tone(bool mark, double bits) {
    const double hz = frequency + channel_.tuning_Hz + (mark ? 0 : rttyDecoder::shift);
    for (end_ += bits * bitSamples / channel_.speed; sent_ < end_; sent_++) {
      phase_ -= 2 * M_PI * hz / rate;
      put(std::polar(1.0, phase_));
    }
  }
  void frame(int code) {
    tone(false, 1);
    for (int bit = 0; bit < 5; bit++) tone(code >> bit & 1, 1);
    tone(true, 1.5);
  }

  std::string text;

 private:
  void put(std::complex<double> sample) {
    filter_.input.data[fill_++] = sample;
    if (fill_ < fftConvolver::block) return;
    fill_ = 0;
    noise_.addNoise(filter_.input.data, fftConvolver::block, deviation_);
    filter_.process();
    for (uint64_t i = 0; i < fftConvolver::block; i++) looks_[i * rttyDecoder::lookSpacing] = filter_.output.data[i];
    decoder_.process(looks_.data(), looks_.size(), frequency);
  }

  channel channel_;
  fftConvolver filter_;
  sim::randomSource noise_;
  double deviation_;
  std::vector<std::complex<double>> looks_ = std::vector<std::complex<double>>(fftConvolver::block * rttyDecoder::lookSpacing);
  rttyDecoder decoder_{{[this](const rttyPeriod& p) {
                          if (p.hasCharacter) text += p.character;
                        },
                        [](float) {}}};
  uint64_t fill_ = 0;
  double phase_ = 0, end_ = 0, sent_ = 0;
};

// The text lies between idle line at both ends, of which a right receiver writes nothing.
size_t errorsOf(const channel& c, uint64_t seed, size_t& sent) {
  sim::randomSource random(seed);
  receiver r(c, seed + 1'000'000);
  r.tone(true, c.start / 8);
  for (int n = 0; n < warmUpFrames; n++) r.frame(31);
  r.text.clear();
  const std::string text = randomText(measuredCharacters, random);
  for (const int code : codesOf(text)) r.frame(code);
  for (int n = 0; n < 3; n++) r.frame(31); // through the filter and to the end of a period
  sent += text.size();
  return study::editDistance(text, r.text);
}

void printRate(const channel& c, int seeds) {
  static uint64_t seed = 1; // every text and every noise is another one
  size_t errors = 0, sent = 0;
  for (int i = 0; i < seeds; i++) errors += errorsOf(c, seed++, sent);
  std::printf(" %.1f |", 100.0 * static_cast<double>(errors) / static_cast<double>(sent));
  std::fflush(stdout);
}

template <class Values, class Channel> void printTable(const char* unit, const Values& columns, int seeds, Channel channelOf) {
  std::printf("\n| SNR in %.0f Hz |", noiseWidth_Hz);
  for (double value : columns) std::printf(" %g%s |", value, unit);
  std::printf("\n|---|");
  for (size_t n = 0; n < std::size(columns); n++) std::printf("---|");
  for (double snr_dB : snrs_dB) {
    std::printf("\n| %.0f dB |", snr_dB);
    for (double value : columns) printRate(channelOf(snr_dB, value), seeds);
  }
  std::printf("\n");
}

// Where in the receiver's period the frames end.
void printStarts(int seeds) {
  std::printf("\n| start |");
  for (double snr_dB : startSnrs_dB) std::printf(" %g dB |", snr_dB);
  std::printf("\n|---|");
  for (size_t n = 0; n < std::size(startSnrs_dB); n++) std::printf("---|");
  for (int start = 0; start < phases; start++) {
    std::printf("\n| %d |", start);
    for (double snr_dB : startSnrs_dB) printRate({snr_dB, 500, 0, 1, static_cast<double>(start)}, seeds);
  }
  std::printf("\n");
}

double threadCpu_s() {
  timespec t;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

template <class Block> void printCost(const char* what, Block block) {
  constexpr int blocks = 100'000;
  const double start = threadCpu_s();
  for (int i = 0; i < blocks; i++) block();
  const double each_s = (threadCpu_s() - start) / blocks;
  std::printf("%s: %.0f ns a block, %.4f %% of a core\n", what, each_s * 1e9, each_s * 48000 / fftConvolver::block * 100);
}

void printCosts() {
  sim::randomSource random(3);
  cbuff block(fftConvolver::block, 0.0);
  random.addNoise(block.data, block.count, 1);
  rttyDecoder decoder{{[](const rttyPeriod&) {}, [](float) {}}};
  printCost("decoder", [&] { decoder.process(block.data, block.count, 2000); });
  rttyKeyer keyer([]() -> std::optional<char> { return 'E'; });
  printCost("transmitter", [&] { keyer.produce(block); });
}

} // namespace

int main(int argc, char** argv) {
  const int seeds = std::max(argc > 1 ? std::atoi(argv[1]) : 8, 1);
  printCosts();
  printStarts(seeds);
  printTable(" Hz wide", widths_Hz, seeds, [](double snr_dB, double width) { return channel{snr_dB, width}; });
  printTable(" Hz off", tunings_Hz, seeds, [](double snr_dB, double off) { return channel{snr_dB, 500, off}; });
  printTable("", speeds, seeds, [](double snr_dB, double speed) { return channel{snr_dB, 500, 0, speed}; });
}
