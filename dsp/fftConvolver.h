// Uniformly partitioned overlap-save convolver on complex doubles: blocks of 512 samples, transforms of 1024.
#pragma once
#include "dsp/buff.h"
#include <complex>
#include <cstdint>
#include <vector>

namespace larch {

// y[n] = sum taps[k] x[n-k], one block of 512 a call, no delay beyond that of the taps. One object belongs to one task group.
// Write 512 samples to `input`, call process(), read 512 from `output`, which holds until the next process().
class fftConvolver {
 public:
  static constexpr uint64_t block = 512; // samples

  // The number of partitions is ceil(taps.count / 512) and stays for the object's life.
  explicit fftConvolver(const cbuff& taps);

  cbuff input;  // 512 samples
  cbuff output; // 512 samples

  // New taps from the next process() on. The history stays, so that a change makes no gap. More than 512 * partitions: the
  // rest isn't used. Fewer: the missing ones are 0. rt after the first transform of the thread.
  void setTaps(const cbuff& taps);
  void process(); // rt after the first transform of the thread
  void reset();   // history to zero; the taps stay

 private:
  std::vector<cbuff> partitions_; // spectra of the taps / 1024; partition p at index count_ - 1 - p
  std::vector<cbuff> history_;    // spectra of the last count_ input blocks
  cbuff timeBuffer_;              // 1024: the last block, the current one
  cbuff accumulator_, outputBuffer_;
  int32_t count_;
  int32_t head_ = 0; // the newest spectrum
};

} // namespace larch
