// How much of the band the text modes take when they send.
#pragma once
#include "modes/CPSKMod.h"
#include "modes/hellPainter.h"
#include "modes/rttyKeyer.h"
#include "sim/randomSource.h"
#include "tests/radio/transmitQualityMeasures.h"
#include <functional>
#include <string>

namespace larch::test {

// Hz: the band with 99 % of the power, and between the outermost bins that are less than so many dB below the highest one. A bin
// is as wide as `spectrum` makes it: 1.9 Hz for 65,536 points.
struct bandwidths {
  double ninetyNine, at26, at40;
};

inline double widthAt(const powerSpectrumOf& spectrum, double below_dB) {
  const auto half = static_cast<int64_t>(24000 / spectrum.bin_Hz());
  double highest = 0;
  for (int64_t k = -half; k < half; k++) highest = std::max(highest, spectrum.at(k));
  const double least = highest * std::pow(10, -below_dB / 10);
  int64_t low = -half, high = half - 1;
  while (spectrum.at(low) < least) low++;
  while (spectrum.at(high) < least) high--;
  return static_cast<double>(high - low) * spectrum.bin_Hz();
}

inline bandwidths bandwidthsOf(const std::vector<std::complex<double>>& sent, uint32_t points = 65536) {
  const powerSpectrumOf spectrum(sent.data(), sent.size(), points);
  const auto [low, high] = spectrum.occupied();
  return {high - low, widthAt(spectrum, 26), widthAt(spectrum, 40)};
}

inline char randomCharacter(sim::randomSource& random) {
  const auto n = random.below(6 * 8);
  return n < 8 ? ' ' : n < 40 ? static_cast<char>('a' + random.below(26)) : static_cast<char>('0' + random.below(10));
}

enum class keying { text, idle, onAndOff }; // onAndOff: carrier and nothing, eight symbols each: the rising and falling shapes

inline std::vector<std::complex<double>> sentPsk(int32_t mode, keying kind, size_t samples) {
  struct script {
    keying kind;
    sim::randomSource random{1};
    int n = 0;
    static int32_t next(void* self) {
      auto& s = *static_cast<script*>(self);
      if (s.kind == keying::idle) return CPSKMod::idle;
      if (s.kind == keying::onAndOff) return s.n++ / 8 % 2 ? CPSKMod::off : CPSKMod::carrier;
      return static_cast<uint8_t>(randomCharacter(s.random));
    }
  } s{kind};
  CPSKMod modulator(script::next, &s);
  modulator.setMode(mode);
  std::vector<std::complex<double>> before(48000 * 2), sent(samples);
  modulator.modulate(before.data(), before.size()); // the preamble
  modulator.modulate(sent.data(), sent.size());
  return sent;
}

// What a keyer makes of random text, or of none.
template <class Keyer, class... Arguments>
std::vector<std::complex<double>> sentBy(bool text, size_t samples, Arguments... arguments) {
  sim::randomSource random(1);
  Keyer keyer([&]() -> std::optional<char> {
    if (!text) return std::nullopt;
    return randomCharacter(random);
  });
  std::vector<std::complex<double>> sent;
  cbuff block(512);
  while (sent.size() < samples) {
    keyer.produce(block, arguments...);
    sent.insert(sent.end(), block.data, block.data + block.count);
  }
  return sent;
}

} // namespace larch::test
