// The samples of one slot, from its start until there are enough.
#pragma once
#include "dsp/buff.h"
#include <cstdint>

namespace larch {

// What a capture has gathered.
struct slotSamples {
  buff<float> values; // the real parts, or I and Q by turns
  uint64_t kept = 0;  // of them; what stands behind is padding and may hold anything
  double peak = 0;    // the largest real part, absolute
  bool iq = false;
};

// Belongs to one group. rt but for begin, which takes the memory of the slot; not a value is written beyond it.
class slotCapture {
 public:
  struct controls {
    int32_t samplesPerBlock; // values until the end; may change meanwhile, but a capture grows no larger than it began
    int32_t endPadding;      // values at the end that aren't kept
    int32_t decimation;      // samples for each kept one; below 1: none is kept
  };

  // iq: two values for a kept sample, turned by mixing. Without memory the capture has no values.
  void begin(int32_t samplesPerBlock, bool iq);
  bool isRunning() const { return running_; }
  // Values so far, also behind the end; before the first slot as many as no late start may have.
  uint64_t captureCount() const { return count_; }

  // Takes every decimation-th sample from the first one on, whatever the chunk's length. True when that was the end. Padding that
  // reaches out of the memory, since samplesPerBlock has changed or there was none, is told on standard output.
  bool add(const cbuff& chunk, const controls& with);
  // After the end, once: the values, at samplesPerBlock of them.
  slotSamples take();

  static constexpr uint64_t lateStartLimit = 36000; // values: three seconds of a slot at 12000 a second

 private:
  void keepReal(const cbuff& chunk, uint64_t step, uint64_t room);
  void keepBoth(const cbuff& chunk, uint64_t step, uint64_t room);

  bool running_ = false, iq_ = false;
  uint64_t count_ = lateStartLimit;
  uint64_t size_ = 0; // of the capture at its end
  double peak_ = 0, mixPhase_ = 0;
  buff<float> buffer_;
};

} // namespace larch
