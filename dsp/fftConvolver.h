// Uniformly partitioned overlap-save convolver on complex doubles: blocks of 512 samples, transforms of 1024.
#pragma once
#include "dsp/buff.h"
#include "dsp/convolverKernels.h"
#include "dsp/cpuVariant.h"
#include "dsp/fftPlan.h"
#include <complex>
#include <cstdint>
#include <vector>

namespace larch {

// y[n] = sum taps[k] x[n-k], one block of 512 a call, no delay beyond that of the taps. One object belongs to one task group.
// Write 512 samples to `input`, call process(), read 512 from `output`, which holds until the next process().
class fftConvolver {
 public:
  static constexpr uint64_t block = 512; // samples

  cbuff input;  // 512 samples
  cbuff output; // 512 samples

  // The number of partitions is ceil(taps.count / 512) and stays for the object's life; no taps give silence.
  explicit fftConvolver(const cbuff& taps, cpuVariant variant = selectedVariant());
  fftConvolver(const fftConvolver&) = delete;
  fftConvolver& operator=(const fftConvolver&) = delete;

  // New taps from the next process() on. The history stays, so that a change makes no gap. More than 512 * partitions: the
  // rest isn't used. Fewer: the missing ones are 0. rt after the first transform of the thread.
  void setTaps(const cbuff& taps);
  void process(); // rt after the first transform of the thread
  void reset();   // history to zero; the taps stay

  int32_t partitions() const { return count_; }

 private:
  double* partition(int32_t index) { return partitions_.get() + static_cast<std::size_t>(index) * convolver::spectrumDoubles; }
  double* history(int32_t index) { return history_.get() + static_cast<std::size_t>(index) * convolver::spectrumDoubles; }

  cpuVariant variant_;
  const convolver::kernels* kernels_;
  int32_t count_;
  int32_t head_ = 0;                          // where the newest spectrum goes
  cbuff timeBuffer_;                          // 1024: the last block, the current one
  alignedDoubles partitions_;                 // packed spectra of the taps / 1024
  alignedDoubles history_;                    // packed spectra of the last count_ input blocks
  std::vector<convolver::spectraPair> older_; // the pairs of one process() but the newest
};

} // namespace larch
