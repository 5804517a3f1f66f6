// The turning point of the convolver: last pass of the forward transform, products, first pass of the inverse, in one loop.
#pragma once
#include "dsp/cpuVariant.h"

namespace larch::convolver {

constexpr int length = 1024;                // points
constexpr int spectrumDoubles = 2 * length; // one spectrum

// Spectra are packed as the passes meet them: for each group of V columns q ... q+V-1 of 128, for k = 0 ... 7, the V real and
// then the V imaginary parts of points q + 128 k. V is the variant's vector width.
struct spectraPair {
  const double* signal;
  const double* taps;
};

// in: where the last pass of the forward transform reads.
struct kernels {
  // To a packed spectrum.
  void (*toSpectrum)(const double* in, double* spectrum);
  // The spectrum goes to `newest`, the sum of products of newest with newestTaps and of the `count` older pairs through the first
  // pass of the inverse transform to `out`, which is other memory than `in`. turns: of that first pass.
  void (*turnAround)(const double* in, double* newest, const double* newestTaps, const spectraPair* older, int count, double* out,
                     const double* turns);
};

const kernels& kernelsOf(cpuVariant variant);

} // namespace larch::convolver
