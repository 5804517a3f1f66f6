// A test transmitter: a carrier and one tone.
#pragma once
#include "modes/modDemod.h"

namespace larch {

class sigGenModDemod : public modDemod {
 public:
  using modDemod::modDemod;

  buff<float> demodulate(const cbuff& block) override; // the real part
  // ampl1 at the transmit frequency and ampl2 freq2 hertz above it (clockwise here), not limited; the microphone isn't heard. rt.
  void modulate(const cbuff& input, const cbuff& output) override;

  property<double> ampl1{1.0};   // level of the carrier, 1: full scale
  property<double> ampl2{0.0};   // level of the tone
  property<double> freq2{200.0}; // Hz

 private:
  double phase_ = 0; // of the tone, radians
};

} // namespace larch
