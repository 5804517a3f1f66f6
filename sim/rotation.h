// A phasor that turns by the same angle from sample to sample.
#pragma once
#include <complex>
#include <cstddef>

namespace larch::sim {

// Four rotations side by side: one alone waits for its own products.
struct rotation {
  static constexpr size_t lanes = 4;
  double re[lanes], im[lanes];
  double stepRe, stepIm; // of `lanes` samples

  rotation(std::complex<double> start, std::complex<double> step) {
    std::complex<double> z = start;
    for (size_t l = 0; l < lanes; ++l, z *= step) {
      re[l] = z.real();
      im[l] = z.imag();
    }
    const std::complex<double> two = step * step, four = two * two;
    stepRe = four.real();
    stepIm = four.imag();
  }
  void advance() {
    for (size_t l = 0; l < lanes; ++l) {
      const double t = re[l] * stepRe - im[l] * stepIm;
      im[l] = re[l] * stepIm + im[l] * stepRe;
      re[l] = t;
    }
  }
};

} // namespace larch::sim
