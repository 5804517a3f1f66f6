// Frequency modulation for speech: what the host sets of it, and the rate that it asks of the receive chain.
#pragma once
#include "modes/modDemod.h"

namespace larch {

// Holds its properties; receives and transmits as the empty mode.
class fmModDemod : public modDemod {
 public:
  using modDemod::modDemod;

  // A wide signal has to reach the discriminator whole. Transceiver's group; a new deviation counts from the next chunk on.
  int32_t sampleRate() override { return narrowLimit_Hz > deviation.get() ? narrowRate : wideRate; }

  property<double> compression{1.0};       // speech drive into the clipper
  property<double> deviation{75000.0};     // Hz, peak
  property<double> CTCSS{0.0};             // Hz; 0 or less: no tone
  property<double> MaxDeviation{100000.0}; // Hz; kept and reported for the host

 private:
  static constexpr double narrowLimit_Hz = 12000.0;
  static constexpr int32_t narrowRate = 48000, wideRate = 384000; // Hz
};

} // namespace larch
