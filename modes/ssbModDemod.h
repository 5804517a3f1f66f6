// Speech on a single sideband; which one is chosen by the filters' edges alone.
#pragma once
#include "modes/modDemod.h"
#include "modes/speechChain.h"

namespace larch {

// Transmit: the speech chain; the clip works on the sideband's envelope.
class ssbModDemod : public modDemod {
 public:
  explicit ssbModDemod(std::shared_ptr<syncTask> group); // not rt: designs its filters

  buff<float> demodulate(const cbuff& block) override;             // the real part; rt
  void modulate(const cbuff& input, const cbuff& output) override; // 512 samples each; at most 0.94 in magnitude; rt
  void setTxFilter(int32_t low, int32_t high) override;            // both filters 100 Hz narrower at each end; not rt

  property<double> compression{1.0}; // speech drive: twice this value goes into the clipper
  property<bool> UseMicEQ{true};     // shape the microphone filter by the station's equaliser, from the next setTxFilter on

 private:
  speechChain speech_;     // 2048 and 1536 taps
  int32_t eqVersion_ = -1; // of the equaliser's curve, as last seen
  double peak_ = 0.0;      // largest sample power behind the clipper; never reset
};

} // namespace larch
