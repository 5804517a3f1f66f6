// Gain control of one block of audio: fixed gain, squelch gate, or a peak-following gain with attack, decay and hang.
#pragma once
#include "dsp/buff.h"
#include "dsp/gainLoop.h"
#include "runtime/property.h"

namespace larch {

// Properties are read afresh at each block, on the group of whoever calls process; a set takes effect with the next block.
class agc : public asyncObject {
 public:
  explicit agc(std::shared_ptr<syncTask> group) : asyncObject(std::move(group)) {}

  // In place, at 48000 samples/s. holdover: the block gets the gain as it is and isn't measured; applyVolume false: a factor 1.0
  // stands for Volume; signalStrength on the scale of Squelch. Returns a view of the same samples. rt.
  buff<float> process(buff<float> audio, bool holdover, bool applyVolume, float signalStrength);

  property<float> Attack{0.01f};    // s, time constant while the gain falls
  property<float> Decay{0.2f};      // s, time constant while the gain rises
  property<float> Hang{2.0f};       // s, the gain holds this long after its last fall
  property<float> MaxGain{80.0f};   // dB, upper limit of the gain
  property<float> Volume{1.0f};     // linear factor behind the gain
  property<float> Squelch{-180.0f}; // -180.0 or less: none
  property<double> ManualGain{1.0}; // power of ten of the fixed gain
  property<bool> Enabled{true};     // false: the fixed gain

 private:
  gainState state_;
};

} // namespace larch
