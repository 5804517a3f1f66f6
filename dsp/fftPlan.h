// One prepared complex transform of a power of two: tables, work memory and the passes of an instruction set.
#pragma once
#include "dsp/alignedDoubles.h"
#include "dsp/cpuVariant.h"
#include "dsp/fftKernels.h"
#include <complex>
#include <cstdint>
#include <vector>

namespace larch {

// cos and -sin of 2πk/n, to the last bits for any k and n.
std::complex<double> turnOf(uint64_t k, uint64_t n);

// Lengths below 64 run a plain loop, longer ones passes of radix 8 and 4. The constructor allocates, nothing else does.
// The work memory is part of the plan: one thread at a time.
class fftPlan {
 public:
  static constexpr uint32_t smallestVectorLength = 64;

  struct pass {
    const fft::radixKernels* kernels;
    alignedDoubles turns; // empty for the last pass
    int length;           // points left to transform
    int stride;           // columns
  };

  // length: a power of two. The variant must be available.
  explicit fftPlan(uint32_t length, cpuVariant variant = selectedVariant());

  // No scaling; in and out of `length` elements, unaligned memory allowed, may be the same. rt.
  void forward(const std::complex<double>* in, std::complex<double>* out);
  void inverse(const std::complex<double>* in, std::complex<double>* out);

  // For kernels that fuse their own work with the last pass of a forward transform or the first of an inverse one; lengths of 64
  // and more. There are two work memories, 0 and 1. A first pass leaves its result in one of them; runMiddle goes on from there
  // with all passes but the first and the last and returns the memory in which the last one reads. rt.
  double* work(int which) const { return work_[which]; }
  int runForwardFirst(const std::complex<double>* in); // returns 0
  int runMiddle(int which);
  const std::vector<pass>& passes() const { return passes_; }

  uint32_t length() const { return length_; }
  cpuVariant variant() const { return variant_; }

 private:
  void prepareSmall();
  void preparePasses();
  void runSmall(const std::complex<double>* in, std::complex<double>* out, double sign);

  uint32_t length_;
  cpuVariant variant_;
  std::vector<pass> passes_;
  alignedDoubles memory_;
  double* work_[2] = {}; // packed points
  const fft::firstKernels* first_ = nullptr;
  std::vector<std::complex<double>> smallTurns_, smallWork_;
};

} // namespace larch
