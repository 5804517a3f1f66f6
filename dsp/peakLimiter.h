// The look-ahead peak limiter that the speech modes share.
#pragma once
#include "dsp/sampleDelayLine.h"

namespace larch {

// Overshoots of magnitude p above 1 are divided by 2 (p - 1) + 1, where p is the largest of the six samples from three before
// the one that goes out: a peak of 2 becomes 2/3, cut down harder than to 1. Complex samples: the envelope is limited, the phase
// stays. Delay three samples, 62.5 microseconds at 48 kHz. Used on one task group; rt but for the constructor.
class peakLimiter {
 public:
  static constexpr uint64_t lookAhead = 6; // samples, 0.125 ms at 48 kHz

  explicit peakLimiter(uint64_t block);

  // input and output have the block's count and may be the same block. Each output sample is multiplied by factor.
  void process(const cbuff& input, double factor, const cbuff& output);

 private:
  sampleDelayLine line_;
};

} // namespace larch
