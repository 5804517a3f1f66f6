#include "transceiver/gainSwitch.h"

namespace larch {
namespace {

constexpr float postMaxGain_dB = 10.0f;

bool countDown(int32_t& hold) {
  const bool holdover = hold > 0;
  if (holdover) hold--;
  return holdover;
}

buff<float> apply(agc* gain, const buff<float>& audio, bool holdover, bool applyVolume, float strength) {
  return gain ? gain->process(audio, holdover, applyVolume, strength) : audio;
}

} // namespace

buff<float> gainSwitch::receiving(const buff<float>& audio, const controls& c, const modDemod& mode) {
  const bool holdover = countDown(rxAgcHold_), reduce = mode.rnnoise.get();
  txAgcHold_ = holdBlocks;
  buff<float> out;
  // the tail of a transmission stays on its own gain, so that it doesn't upset that of the receiver
  if (rxAgcHold_ < returnBlocks)
    out = apply(c.receive, audio, holdover, !reduce, c.signalStrength_dB);
  else
    out = apply(c.transmit, audio, holdover, true, c.signalStrength_dB);
  if (reduce) reduceNoise(out, c, mode, holdover);
  return out;
}

buff<float> gainSwitch::transmitting(const buff<float>& audio, const controls& c) {
  const bool holdover = countDown(txAgcHold_);
  buff<float> out = apply(c.transmit, audio, holdover, true, c.signalStrength_dB);
  rxAgcHold_ = holdBlocks;
  return out;
}

// The network has seen the gain of the first stage without the volume; the volume comes in behind it.
void gainSwitch::reduceNoise(const buff<float>& audio, const controls& c, const modDemod& mode, bool holdover) {
  noise_.process(audio, mode.rnnoiseSquelch.get());
  if (!postAgc_) return;
  if (c.receive) {
    postAgc_->Attack.write(c.receive->Attack.get());
    postAgc_->Decay.write(c.receive->Decay.get());
    postAgc_->Hang.write(c.receive->Hang.get());
    postAgc_->Volume.write(c.receive->Volume.get());
  }
  postAgc_->MaxGain.write(postMaxGain_dB);
  postAgc_->process(audio, holdover, true, c.signalStrength_dB);
}

} // namespace larch
