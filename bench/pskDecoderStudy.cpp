// How well PSK is decoded: pskDecoderStudy [texts a cell]. Random words, sent by the library's modulator, a channel at 8000
// samples per second, one detector. Error rate: edit distance to the text sent in percent of its length.
#include "modes/CPSKDet.h"
#include "modes/CPSKMod.h"
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

using namespace larch;

namespace {

constexpr int32_t modes[] = {0, 8, 16, 1, 9, 17};
const char* const names[] = {"PSK31", "PSK63", "PSK125", "QPSK31", "QPSK63", "QPSK125"};
constexpr int32_t block = 512, idle = 96;
constexpr double amplitude = 10000, pi = 3.141592653589793;

double baud(int32_t mode) { return mode & 16 ? 125 : mode & 8 ? 62.5 : 31.25; }

std::string words(size_t length, uint32_t seed) {
  std::mt19937 random(seed);
  std::string text;
  while (text.size() < length) {
    const auto count = 2 + random() % 6;
    for (uint32_t k = 0; k < count; k++) text += static_cast<char>('a' + random() % 26);
    text += ' ';
  }
  return text;
}

struct script {
  std::string text;
  int32_t lead = idle, at = 0;
  static int32_t next(void* self) {
    auto& s = *static_cast<script*>(self);
    if (s.lead > 0 || s.at == static_cast<int32_t>(s.text.size())) return s.lead--, CPSKMod::idle;
    return static_cast<uint8_t>(s.text[static_cast<size_t>(s.at++)]);
  }
};

struct channel {
  double perSymbol_dB = 100;                        // of a symbol against the noise in one hertz
  double offset = 0, drift = 0, clockError_ppm = 0; // Hz, Hz per second
  int32_t squelchThreshold = 50;
};

std::vector<double> sent(int32_t mode, const std::string& text, const channel& c, uint32_t seed) {
  script s{text};
  CPSKMod modulator(script::next, &s);
  modulator.setMode(mode);
  modulator.setFrequency(1500);
  const auto symbol = static_cast<size_t>(48000 / baud(mode));
  std::vector<std::complex<double>> x;
  while (s.lead > -idle) {
    x.resize(x.size() + symbol);
    modulator.modulate(x.data() + x.size() - symbol, symbol);
  }
  std::mt19937 random(seed);
  std::normal_distribution<double> noise(0, amplitude * std::sqrt(8000 / 4.0 / baud(mode) / std::pow(10.0, c.perSymbol_dB / 10)));
  std::vector<double> samples;
  for (double at = 0; at + 1 < static_cast<double>(x.size()); at += 6 * (1 + c.clockError_ppm * 1e-6)) {
    const auto n = static_cast<size_t>(at);
    const double part = at - static_cast<double>(n), t = at / 48000;
    const auto value = x[n] + (x[n + 1] - x[n]) * part;
    samples.push_back(amplitude * (value * std::polar(1.0, -2 * pi * (c.offset + c.drift * t / 2) * t)).real() + noise(random));
  }
  return samples;
}

std::string received(int32_t mode, const channel& c, const std::vector<double>& samples) {
  CPSKDet d;
  d.setMode(mode);
  d.varicodeTable = reverseVaricode();
  d.setRxFrequency(1400);
  d.setRxFrequency(1500); // acquires
  d.reset();
  d.quality.squelchThreshold = c.squelchThreshold;
  std::string text;
  char out[CPSKDet::maxCharacters];
  for (size_t at = 0; at + block <= samples.size(); at += block)
    text.append(out, static_cast<size_t>(d.processBlock(samples.data() + at, block, out)));
  return text;
}

size_t distance(const std::string& a, const std::string& b) {
  std::vector<size_t> row(b.size() + 1);
  for (size_t j = 0; j <= b.size(); j++) row[j] = j;
  for (size_t i = 1; i <= a.size(); i++) {
    size_t corner = row[0];
    row[0] = i;
    for (size_t j = 1; j <= b.size(); j++) {
      const size_t above = row[j];
      row[j] = std::min({above + 1, row[j - 1] + 1, corner + (a[i - 1] != b[j - 1])});
      corner = above;
    }
  }
  return row[b.size()];
}

double errors_percent(int32_t mode, const channel& c, uint32_t texts) {
  double wrong = 0, all = 0;
  for (uint32_t seed = 1; seed <= texts; seed++) {
    const std::string text = words(150, seed);
    wrong += static_cast<double>(distance(text, received(mode, c, sent(mode, text, c, 1000 + seed))));
    all += static_cast<double>(text.size());
  }
  return 100 * wrong / all;
}

template <class Change> void table(const char* title, uint32_t texts, const std::vector<double>& values, Change change) {
  std::printf("\n%s\n%-8s", title, "");
  for (const double v : values) std::printf("%8g", v);
  for (size_t m = 0; m < std::size(modes); m++) {
    std::printf("\n%-8s", names[m]);
    for (const double v : values) {
      channel c;
      change(c, v, modes[m]);
      std::printf("%8.1f", errors_percent(modes[m], c, texts));
      std::fflush(stdout);
    }
  }
  std::printf("\n");
}

} // namespace

int main(int argc, char** argv) {
  const auto texts = static_cast<uint32_t>(argc > 1 ? std::atoi(argv[1]) : 4);
  table("Noise: dB of a symbol to the noise in 1 Hz", texts, {7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 18},
        [](channel& c, double v, int32_t) { c.perSymbol_dB = v; });
  table("The same with the squelch held open", texts, {7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 18},
        [](channel& c, double v, int32_t) {
          c.perSymbol_dB = v;
          c.squelchThreshold = -1000;
        });
  table("Offset in parts of the baud, 18 dB", texts, {0, 0.1, 0.2, 0.3, 0.35, 0.4, 0.45, 0.5, -0.3, -0.35, -0.4},
        [](channel& c, double v, int32_t mode) {
          c.perSymbol_dB = 18;
          c.offset = v * baud(mode);
        });
  table("Drift in Hz per second at 31.25 baud, in proportion to the baud, 18 dB", texts, {0.1, 0.2, 0.5, 1, 1.5, 2, -0.5, -1},
        [](channel& c, double v, int32_t mode) {
          c.perSymbol_dB = 18;
          c.drift = v * baud(mode) / 31.25;
        });
  table("Clock error in ppm, 18 dB", texts, {-3000, -2000, -1000, -300, 300, 1000, 2000, 3000},
        [](channel& c, double v, int32_t) {
          c.perSymbol_dB = 18;
          c.clockError_ppm = v;
        });
}
