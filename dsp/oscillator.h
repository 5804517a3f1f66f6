// A complex phasor that turns by a fixed angle each sample.
#pragma once
#include <cmath>
#include <complex>
#include <numbers>

namespace larch {

// Turns clockwise at a positive frequency, as the mirrored spectrum of the chain wants it; the phase carries over from chunk to
// chunk. Belongs to one object and its group; rt.
class oscillator {
 public:
  explicit oscillator(double rate, double frequency = 0.0) : rate_(rate) { setFrequency(frequency); } // Hz

  // From the next sample on. What is no finite frequency stands still.
  void setFrequency(double frequency) { setAngle(2 * std::numbers::pi * frequency / rate_); }
  void setAngle(double step_rad) {
    step_ = std::isfinite(step_rad) ? std::complex(std::cos(step_rad), -std::sin(step_rad)) : 1.0;
  }

  // The phase steps first.
  std::complex<double> next() {
    const double re = phase_.real(), im = phase_.imag();
    phase_ = {re * step_.real() - im * step_.imag(), re * step_.imag() + im * step_.real()};
    return phase_;
  }
  // After each chunk, so that rounding never lets the magnitude drift.
  void normalise() { phase_ /= std::abs(phase_); }

  std::complex<double> step() const { return step_; }

 private:
  double rate_; // samples/s
  std::complex<double> phase_{1.0, 0.0}, step_{1.0, 0.0};
};

} // namespace larch
