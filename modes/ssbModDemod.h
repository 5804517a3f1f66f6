// Speech on a single sideband; which one is chosen by the filters' edges alone.
#pragma once
#include "dsp/fftConvolver.h"
#include "dsp/peakLimiter.h"
#include "modes/modDemod.h"

namespace larch {

// Transmit: microphone filter, gain, a hard clip of the sideband's envelope, the clip's filter, a look-ahead limiter.
class ssbModDemod : public modDemod {
 public:
  explicit ssbModDemod(std::shared_ptr<syncTask> group); // not rt: designs its filters

  buff<float> demodulate(const cbuff& block) override;             // the real part; rt
  void modulate(const cbuff& input, const cbuff& output) override; // 512 samples each; at most 0.94 in magnitude; rt
  void setTxFilter(int32_t low, int32_t high) override;            // both filters 100 Hz narrower at each end; not rt

  property<double> compression{1.0}; // speech drive: twice this value goes into the clipper
  property<bool> UseMicEQ{true};     // shape the microphone filter by the station's equaliser, from the next setTxFilter on

 private:
  fftConvolver micFilter_;  // 2048 taps
  fftConvolver clipFilter_; // 1536 taps: removes the products of clipping
  peakLimiter limiter_;
  int32_t eqVersion_ = -1; // of the equaliser's curve, as last seen
  double peak_ = 0.0;      // largest sample power that reached the clipper; never reset
};

} // namespace larch
