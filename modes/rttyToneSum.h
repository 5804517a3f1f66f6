// How much of one tone the last bit held: a sliding sum at 6000 samples/s.
#pragma once
#include <array>
#include <complex>
#include <cstdint>

namespace larch {

// Two additions a sample whatever the length, and a third one: the sum of the values since the ring began again. With that the
// sliding sum is replaced once a bit, so that neither rounding nor what came of a sample that was no number stays. rt.
class rttyToneSum {
 public:
  static constexpr uint32_t length = 132; // one bit

  // The tone stands `frequency` Hz below the baseband's zero, so above the centre of the receiver. From the next sample on.
  void setFrequency(double frequency);
  void take(std::complex<double> sample) {
    const double re = sample.real(), im = sample.imag(), pr = phase_.real(), pi = phase_.imag();
    const std::complex<double> y(re * pr + im * pi, im * pr - re * pi), old = ring_[index_];
    ring_[index_] = y;
    sum_ += y - old;
    fresh_ += y;
    if (++index_ == length) {
      index_ = 0;
      sum_ = fresh_;
      fresh_ = 0;
    }
    phase_ = {pr * step_.real() - pi * step_.imag(), pr * step_.imag() + pi * step_.real()};
  }
  double level() const { return std::abs(sum_); }
  void normalise() { phase_ /= std::abs(phase_); } // after each chunk

 private:
  std::complex<double> sum_, fresh_, phase_{1.0, 0.0}, step_{1.0, 0.0};
  std::array<std::complex<double>, length> ring_{};
  uint32_t index_ = 0;
};

} // namespace larch
