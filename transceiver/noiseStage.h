// Noise reduction of received audio and the gain behind it.
#pragma once
#include "dsp/agc.h"
#include "dsp/noiseReducer.h"
#include <memory>

namespace larch {

// Used on the transceiver's group. The first block makes the network, which allocates; then rt.
class noiseStage {
 public:
  static constexpr uint64_t frame = noiseReducer::blockLength;

  // Works in place on audio at 48000 Hz; strength in percent.
  void process(const buff<float>& audio, double strength_percent);

 private:
  void passThrough(const buff<float>& audio);

  std::unique_ptr<noiseReducer> network_;
  buff<float> passing_; // frame samples
  uint64_t passed_ = 0; // place of the next block in it
};

} // namespace larch
