// The channel's signal strength and the microphone's peak, reported about five times a second.
#pragma once
#include "dsp/buff.h"
#include <optional>

namespace larch {

// Used on the transceiver's group; rt.
class levelMeter {
 public:
  static constexpr int32_t reportBlocks = 18;

  struct report {
    double signalStrength_dB; // 10 dB above the largest power of full scale; -1800 for a silent block
    double micLevel;          // largest level since the last report
  };

  // One block of the channel with the microphone's present level; a report with every 18th.
  std::optional<report> measure(const cbuff& block, double micLevel);

 private:
  int32_t blocks_ = 0;
  double micPeak_ = 0;
};

} // namespace larch
