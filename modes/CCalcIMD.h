// Intermodulation of an idling PSK signal: the energies at half the symbol rate and at its multiples.
#pragma once
#include "modes/pskFilters.h"
#include <cstdint>

namespace larch {

// Three resonators for 1, 2 and 3 cycles in 32 samples, at 16 samples per symbol.
class CCalcIMD {
 public:
  static constexpr int32_t length = 288; // samples of a measurement

  virtual ~CCalcIMD() = default;

  bool put(iqSample s); // true when it ends a measurement; rt
  void clear();         // the measurement under way and the energies

  int32_t count = 0;              // samples of this measurement
  std::array<double, 3> energy{}; // fundamental and two harmonics of the last one, kept for inspection

 private:
  struct history {
    double last = 0, before = 0;
    void run(double x, double coefficient);
    double energy(double coefficient) const;
  };
  struct resonator {
    history i, q;
  };
  std::array<resonator, 3> resonators_{};
  bool untouched_ = true; // since the last clear
};

} // namespace larch
