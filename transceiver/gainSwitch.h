// Which gain control works on the speaker's audio, across the changes between receive and transmit.
#pragma once
#include "dsp/agc.h"
#include "modes/modDemod.h"
#include "transceiver/noiseStage.h"
#include <memory>

namespace larch {

// Used on the transceiver's group, once for each block of demodulated audio; rt but for the first block with noise reduction.
class gainSwitch {
 public:
  static constexpr int32_t holdBlocks = 50;   // blocks after a change in which the gain that comes isn't measured
  static constexpr int32_t returnBlocks = 21; // receive audio stays on the transmit gain until so few of them are left

  // Once, at the transceiver's init.
  void init(std::shared_ptr<agc> behindNoiseReduction) { postAgc_ = std::move(behindNoiseReduction); }

  struct controls {
    agc* receive;  // any of them may be null: the audio passes as it is
    agc* transmit; // also the monitor's gain
    float signalStrength_dB;
  };
  // In place; returns a view of the same samples.
  buff<float> receiving(const buff<float>& audio, const controls& c, const modDemod& mode);
  buff<float> transmitting(const buff<float>& audio, const controls& c);

 private:
  void reduceNoise(const buff<float>& audio, const controls& c, const modDemod& mode, bool holdover);

  int32_t rxAgcHold_ = 0, txAgcHold_ = 0; // blocks left
  std::shared_ptr<agc> postAgc_;          // the second gain stage
  noiseStage noise_;
};

} // namespace larch
