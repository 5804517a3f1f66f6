// From the microphone to groups of 126 samples for the radio.
#pragma once
#include "dsp/fftConvolver.h"
#include "modes/modDemod.h"
#include "transceiver/microphoneDelay.h"
#include "transceiver/transmitEnvelope.h"
#include <functional>

namespace larch {

// Used on the transceiver's group; all at 48000 Hz. rt once the pool and the transforms are warm.
class transmitChain {
 public:
  static constexpr uint64_t groupSamples = 126;
  static constexpr int32_t filterTaps = 1536;
  using microphone = std::function<void(const buff<float>&)>; // fills the block

  transmitChain();

  void setTaps(const cbuff& taps) { filter_.setTaps(taps); }
  void setDelay(bool on) { delay_.setEnabled(on); }

  // The key went down or up; the mode may be null.
  void keyDown(const modDemod* mode);
  void keyUp(const modDemod* mode);

  // The next group: silence without a mode, a steady carrier with `tune`, else what the mode makes of the microphone.
  cbuff produce(modDemod* mode, bool tune, const microphone& read);
  // The carrier has fallen and the hardware's queue has run empty: the radio may be unkeyed.
  bool isOver() const { return envelope_.isOver(); }

 private:
  void produceDirect(modDemod& mode, bool tune, const microphone& read, const cbuff& out);
  void produceBlocked(modDemod& mode, const microphone& read, const cbuff& out);
  cbuff readMicrophone(uint64_t count, const microphone& read);

  fftConvolver filter_; // the mode writes into its input, whether it runs or not
  uint64_t txRead_ = fftConvolver::block;
  microphoneDelay delay_;
  transmitEnvelope envelope_;
};

} // namespace larch
