// The rise and fall of the carrier around a transmission.
#pragma once
#include "dsp/buff.h"

namespace larch {

// Used on the transceiver's group; rt. Counts samples at 48000 Hz.
class transmitEnvelope {
 public:
  static constexpr int32_t fallLength = 512;
  static constexpr int32_t riseLength = 512;
  static constexpr int32_t leadingSilence = 768; // while the transmit filter fills
  static constexpr int32_t holdEnd = -503;       // below it the hardware's queue has run empty

  void rise(bool withSilence);
  void fall(int32_t tailSamples); // the last fallLength of them fade
  void apply(const cbuff& block); // in place

  // The fall is over and the silence behind it long enough to unkey.
  bool isOver() const { return down_ && downCount_ < holdEnd; }

 private:
  void applyRise(const cbuff& block);
  void applyFall(const cbuff& block);

  bool up_ = true, down_ = false;
  int32_t upCount_ = 0;
  int64_t downCount_ = 0; // runs on below 0 until the next rise
};

} // namespace larch
