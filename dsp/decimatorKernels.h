// The loops of the mixer and of the halfband stages, for each instruction set.
#pragma once
#include "dsp/cpuVariant.h"
#include <cstddef>

namespace larch::decimator {

// A factor for complex numbers, of magnitude 1.
struct rotation {
  double re = 1, im = 0;
};

// The powers of a rotation w: for each k from 1, the real part of w^k twice; and its imaginary part, negative then positive.
struct rotationTable {
  const double *cosines, *sines;
};

// One halfband stage of 4 P - 1 taps: output m is 0.5 * centre[m] + the sum over d < 2 P of the tap at offset 2 d times
// window[m + d]. Both are complex: the samples of one parity and of the other. Up to 4 numbers behind the last one that counts
// are read; a window at 64-byte alignment is fastest.
struct stageInput {
  const double *window, *centre;
};

// Complex numbers are (re, im) pairs; counts are complex numbers. No output may overlap an input, but for mix. rt.
using stageKernel = void (*)(stageInput in, std::size_t outputs, double* even, double* odd);
struct kernels {
  void (*mix)(const double* in, std::size_t count, rotationTable table, rotation start, double* out);       // out may be in
  void (*mixAndSplit)(const double* in, std::size_t count, rotationTable table, double* even, double* odd); // count is even
  void (*split)(const double* in, std::size_t count, double* even, double* odd);                            // count is even
  stageKernel stage11, stage19; // outputs by parity, for the next stage; an even number of them
  void (*stage39)(stageInput in, std::size_t outputs, double* out);
  void (*stage39Rotated)(stageInput in, std::size_t outputs, rotation factor, double* out);
  // `count` numbers at even + outputs and odd + outputs to even and odd, turned; count is a multiple of 4.
  void (*keepRotated)(double* even, double* odd, std::size_t count, std::size_t outputs, rotation factor);
  void (*rotate)(double* x, std::size_t count, rotation factor); // count is a multiple of 4
};

const kernels& kernelsOf(cpuVariant variant);

} // namespace larch::decimator
