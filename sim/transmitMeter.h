// Level and bandwidth of transmit samples.
#pragma once
#include <cstdint>
#include <span>
#include <string>
#include "sim/powerSpectrum.h"
#include "sim/transmitSignal.h"

namespace larch::sim {

struct transmitReading {
  uint64_t samples = 0;
  double peak = 0, power = 0;     // largest magnitude, mean of its square; 1.0 is full scale
  double low_Hz = 0, high_Hz = 0; // holds 99 % of the power, around the carrier; both 0 without power
  uint64_t clipped = 0;           // samples on the limit, as many as came
};

// "peak -0.3 dBFS, mean -6.1 dBFS, 99 % in 2350 Hz (+310 to +2660)"
std::string describeReading(const transmitReading& reading);

// Of samples as they go, from silence to silence. Not thread-safe.
class transmitMeter {
 public:
  // Hosts limit to a circle a little inside of full scale and round: two steps are allowed for.
  static constexpr double clipMagnitude = (transmitFullScale - 2.01) / transmitFullScale;

  void add(std::span<const std::complex<float>> samples);
  transmitReading reading() const; // as if it ended here

 private:
  transmitReading counted;
  double energy = 0;
  powerSpectrum spectrum{true};
};

// Of a piece cut out of something longer: at least powerSpectrum::length samples for a bandwidth.
transmitReading measureCut(std::span<const std::complex<float>> samples);

} // namespace larch::sim
