// The integral of a programme over time, readable at any time: the phase of a frequency modulator but for a factor.
#pragma once
#include <complex>
#include <vector>
#include "sim/sampledEnvelope.h"

namespace larch::sim {

// Of the real part; repeats for ever and ends where it began. Knots at a rate of at least pointsPerWave
// times the highest tone, with a cubic between them that has the programme itself as its slope. Immutable after construction.
class programmeIntegral {
 public:
  static constexpr double pointsPerWave = 12;

  programmeIntegral(const sampledEnvelope& programme, double highest_Hz);
  // In seconds, as real parts.
  void read(const timeGrid& grid, std::complex<double>* out) const;

 private:
  double rate;
  std::vector<double> integral; // at the knots, and the first one once more
  std::vector<float> slope;     // of the cubics there, per knot
};

} // namespace larch::sim
