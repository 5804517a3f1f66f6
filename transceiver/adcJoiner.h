// Brings together the chunks of the ADCs that feed one transceiver.
#pragma once
#include "dsp/buff.h"
#include <array>
#include <cstdint>
#include <optional>

namespace larch {

// Used on the transceiver's group; rt once the pool is warm.
class adcJoiner {
 public:
  static constexpr int32_t slots = 4;

  // gain (linear) and phase (degrees) of the second stream.
  struct weight {
    double gain = 1.0;
    double phase_deg = 0.0;
  };

  // One chunk of ADC `adc` (0 to 3). Empty while a stream of `mask` (bit n: ADC n) still misses its chunk; the chunk is kept
  // then, in the place of an older one of the same ADC. With a mask of several ADCs the result is a new block, with one ADC or
  // none it is the chunk itself.
  std::optional<cbuff> gather(const cbuff& chunk, int32_t adc, int32_t mask, weight second);

 private:
  static cbuff join(const cbuff& first, const cbuff& second, weight w);

  int32_t arrived_ = 0; // bit n: the chunk of ADC n is here
  std::array<cbuff, slots> chunks_;
};

} // namespace larch
