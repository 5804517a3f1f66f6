#include "dsp/agc.h"

namespace larch {

buff<float> agc::process(buff<float> audio, bool holdover, bool applyVolume, float signalStrength) {
  gainParameters now;
  now.attack_s = Attack.get();
  now.decay_s = Decay.get();
  now.hang_s = Hang.get();
  now.maxGain_dB = MaxGain.get();
  now.volume = Volume.get();
  now.squelch = Squelch.get();
  now.manualGain = ManualGain.get();
  now.enabled = Enabled.get();
  return processGain(now, state_, audio, holdover, applyVolume, signalStrength);
}

} // namespace larch
