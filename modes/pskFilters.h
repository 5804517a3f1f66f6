// The three filters of a PSK detector and the rings that they run over.
#pragma once
#include <array>

namespace larch {

constexpr int decimationTaps = 35, matchedTaps = 65;

// Symmetric taps, twice in a row: from element (taps - index) on they fit a ring whose newest sample is at `index`.
extern const std::array<double, 2 * decimationTaps> decimationFilter; // for a quarter of the rate
extern const std::array<double, 2 * matchedTaps> frequencyFilter;     // at 16 samples per symbol, wide: for AGC and AFC
extern const std::array<double, 2 * matchedTaps> bitFilter;           // at 16 samples per symbol, the symbol's shape

struct iqSample {
  double i = 0, q = 0;
};

// The last `taps` samples; the write position descends.
template <int taps> struct iqRing {
  std::array<double, taps> i{}, q{};
  int index = taps - 1; // the place of the next sample

  void put(iqSample s) {
    i[static_cast<unsigned>(index)] = s.i;
    q[static_cast<unsigned>(index)] = s.q;
  }
  void step() { index = index == 0 ? taps - 1 : index - 1; }
  void clear() { *this = {}; }
};

// Real taps over both parts. rt.
iqSample weightedSum(const double* taps, const double* i, const double* q, int count);

// The filter's output when the newest sample lies at ring.index. rt.
template <int taps> iqSample filtered(const std::array<double, 2 * taps>& filter, const iqRing<taps>& ring) {
  return weightedSum(filter.data() + (taps - ring.index), ring.i.data(), ring.q.data(), taps);
}

} // namespace larch
