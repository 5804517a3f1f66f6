// The passes of the transform as functions, for each instruction set.
#pragma once
#include "dsp/cpuVariant.h"

namespace larch::fft {

// Pointers are to doubles; see fftPasses.h for the shapes. rt.
using firstPassKernel = void (*)(const double* in, double* re, double* im, const double* turns, int n);
using middlePassKernel = void (*)(const double* re, const double* im, double* outRe, double* outIm, const double* turns, int n,
                                  int stride);
using lastPassKernel = void (*)(const double* re, const double* im, double* out, int stride);
using splitPassKernel = void (*)(const double* re, const double* im, double* outRe, double* outIm, int stride);

struct radixKernels {
  int radix;
  firstPassKernel forwardFirst, inverseFirst;
  middlePassKernel middle;
  lastPassKernel forwardLast, inverseLast;
  lastPassKernel inverseUpperHalf; // only the upper half of the points, to `out`
  splitPassKernel forwardSplit;    // parts apart
};

// radix: 4 or 8. A first pass needs a radix of at least the vector width.
const radixKernels& kernelsOf(cpuVariant variant, int radix);
int vectorWidth(cpuVariant variant); // doubles

} // namespace larch::fft
