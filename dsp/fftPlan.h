// One prepared complex transform of a power of two: tables, work memory and the passes of an instruction set.
#pragma once
#include "dsp/cpuVariant.h"
#include "dsp/fftKernels.h"
#include <complex>
#include <cstdint>
#include <memory>
#include <vector>

namespace larch {

struct alignedDoublesFree {
  void operator()(double* p) const;
};
// Doubles at 64-byte alignment, cleared.
using alignedDoubles = std::unique_ptr<double[], alignedDoublesFree>;
alignedDoubles makeAlignedDoubles(std::size_t count);

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
  // Real and imaginary parts apart; not for lengths below 64. rt.
  void forwardSplit(const std::complex<double>* in, double* outRe, double* outIm);

  // For kernels that fuse their own work with the first or last pass of an inverse transform: the first pass leaves its result
  // in workRe, workIm; runMiddle does all passes but the first and the last and gives the memory where the last one reads.
  double* workRe() const { return work_[0]; }
  double* workIm() const { return work_[1]; }
  struct parts {
    const double *re, *im;
  };
  parts runMiddle();
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
  double* work_[4] = {}; // re, im and re, im
  std::vector<std::complex<double>> smallTurns_, smallWork_;
};

} // namespace larch
