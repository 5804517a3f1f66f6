// The passes of the transform as functions, for each instruction set.
#pragma once
#include "dsp/cpuVariant.h"

namespace larch::fft {

constexpr int firstRadix = 8; // every transform starts with it

// See fftPasses.h for the shapes. rt.
using firstPassKernel = void (*)(const double* in, double* out, const double* turns, int n);
using middlePassKernel = void (*)(const double* in, double* out, const double* turns, int n, int stride);
using lastPassKernel = void (*)(const double* in, double* out, int stride);

struct firstKernels {
  firstPassKernel forward, inverse;
};
struct radixKernels {
  middlePassKernel middle, middleStride8; // the second for stride 8
  lastPassKernel forwardLast, inverseLast;
  lastPassKernel inverseUpperHalf; // only the upper half of the points, to `out`
};

const firstKernels& firstKernelsOf(cpuVariant variant);
const radixKernels& kernelsOf(cpuVariant variant, int radix); // radix: 4 or 8
int vectorWidth(cpuVariant variant);                          // doubles

} // namespace larch::fft
