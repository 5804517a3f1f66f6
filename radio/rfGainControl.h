// Gain control of the radio's receiver path, from the share of frames in which the ADC was overloaded.
#pragma once
#include <cstdint>

namespace larch {

// One owner, one thread. rt.
class rfGainControl {
 public:
  void frame(bool overload) { overload ? overloadFrames_++ : cleanFrames_++; }
  // About once a second of stream; never with a rate (Hz) below 1.
  bool due(int64_t receivers, int32_t sampleRate) const;
  // The gain (dB) to go on with, a multiple of 6 up to 30 but for `least`. `peak`: of the wideband stream, 1.0 is full scale.
  int32_t nextGain(int32_t gain, int32_t least, double peak) const;
  void restart() { overloadFrames_ = cleanFrames_ = 0; }

 private:
  int64_t overloadFrames_ = 0, cleanFrames_ = 0;
};

} // namespace larch
