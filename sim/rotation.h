// A phasor that turns by the same angle from sample to sample.
#pragma once
#include <complex>
#include <cstddef>
#include <cstring>

namespace larch::sim {

using doublePair = double __attribute__((vector_size(16)));

inline doublePair loadPair(const double* p) {
  doublePair v;
  std::memcpy(&v, p, sizeof v);
  return v;
}
inline void storePair(double* p, doublePair v) { std::memcpy(p, &v, sizeof v); }

inline doublePair firsts(doublePair a, doublePair b) { return __builtin_shufflevector(a, b, 0, 2); }
inline doublePair seconds(doublePair a, doublePair b) { return __builtin_shufflevector(a, b, 1, 3); }

// Four rotations side by side, in two pairs: one alone waits for its own products.
struct rotation {
  static constexpr size_t pairs = 2, lanes = 2 * pairs;
  doublePair re[pairs], im[pairs];
  double stepRe, stepIm; // of `lanes` samples

  rotation(std::complex<double> start, std::complex<double> step) {
    std::complex<double> z = start;
    for (size_t l = 0; l < lanes; ++l, z *= step) {
      re[l / 2][l % 2] = z.real();
      im[l / 2][l % 2] = z.imag();
    }
    const std::complex<double> two = step * step, four = two * two;
    stepRe = four.real();
    stepIm = four.imag();
  }
  void advance() {
    for (size_t p = 0; p < pairs; ++p) {
      const doublePair t = re[p] * stepRe - im[p] * stepIm;
      im[p] = re[p] * stepIm + im[p] * stepRe;
      re[p] = t;
    }
  }
  double realAt(size_t lane) const { return re[lane / 2][lane % 2]; }
  double imagAt(size_t lane) const { return im[lane / 2][lane % 2]; }
};

} // namespace larch::sim
