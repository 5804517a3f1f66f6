// The tones of a timed slot's message, one behind the other without a jump in phase.
#pragma once
#include "dsp/buff.h"
#include "dsp/oscillator.h"
#include <cstdint>

namespace larch {

// 48000 samples/s. Runs on the transceiver's group; rt.
class slotTones {
 public:
  static constexpr double level = 0.98;

  struct controls {
    int32_t samplesPerSymbol; // below 1: one
    double toneSpacing;       // Hz for each tone number
    int32_t txFreq;           // Hz of tone 0
  };

  // Takes the place of what is being sent, from tone number `first` of the list on.
  void begin(buff<float> tones, int64_t first);
  // Fills the block; zeros behind the last tone and without a message. True when a message has ended in it.
  bool produce(const cbuff& out, const controls& with);

 private:
  bool beginSymbol(const controls& with);

  buff<float> tones_;
  int64_t symbolIndex_ = 0;
  int32_t symbolRemaining_ = 0; // samples
  oscillator tone_{48000};
};

} // namespace larch
