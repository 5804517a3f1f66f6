// A block of samples with contiguous history before it.
#pragma once
#include "dsp/buff.h"

namespace larch {

// One buffer of history + block samples; the history is zeroed, the block starts undefined.
// Used on one task group; rt but for the constructor.
class sampleDelayLine {
 public:
  sampleDelayLine(uint64_t history, uint64_t block);
  sampleDelayLine(sampleDelayLine&&) noexcept = default; // no copies: they would share the samples
  sampleDelayLine& operator=(sampleDelayLine&&) noexcept = default;

  cbuff whole;    // all of it, the oldest sample first
  cbuff writable; // the last `block` samples

  // One sample at the write pointer; at the end of the line the history moves to the start and writing goes on behind it.
  void write(std::complex<double> sample) {
    whole.data[position_++] = sample;
    if (position_ == whole.count) wrap();
  }
  void wrap();  // copies the last `history` samples to the start; the write pointer goes to the start of writable
  void clear(); // everything to 0, write pointer back

  uint64_t history() const { return history_; }
  uint64_t position() const { return position_; } // of the next write, in whole: history to whole.count - 1

 private:
  uint64_t history_;
  uint64_t position_;
};

} // namespace larch
