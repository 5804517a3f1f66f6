// Amplitude modulation with carrier.
#pragma once
#include "modes/modDemod.h"
#include "modes/speechChain.h"

namespace larch {

// required: the running average of received magnitudes, one for the whole program: all receivers of the mode update it and
// disturb each other. Relaxed by std::atomic_ref: an update that is lost among several groups is of no consequence.
extern double amDcAverage;

// Receive: the envelope less its running average. Transmit: the speech chain, a third filter, and a carrier of 0.5 at 45 degrees
// with the speech on the real axis.
class amModDemod : public modDemod {
 public:
  explicit amModDemod(std::shared_ptr<syncTask> group); // not rt: designs its filters

  buff<float> demodulate(const cbuff& block) override;             // as many samples as the block; rt
  void modulate(const cbuff& input, const cbuff& output) override; // 512 samples each; rt but after a change of the equaliser

  property<double> compression{1.0}; // speech drive: twice this value goes into the clipper

 private:
  speechChain speech_;
  fftConvolver shapeFilter_; // 1536 taps, behind the limiter
  int32_t eqVersion_ = -1;   // of the equaliser's curve in the microphone filter
};

} // namespace larch
