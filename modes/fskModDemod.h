// Frequency-shift keying: what the host sets up and shows of it.
#pragma once
#include "modes/modDemod.h"

namespace larch {

// Holds its properties; receives and transmits as the empty mode.
class fskModDemod : public modDemod {
 public:
  using modDemod::modDemod;

  property<int32_t> f0{0};   // Hz, tone of a 0 bit
  property<int32_t> f1{0};   // Hz, tone of a 1 bit
  property<int32_t> baud{0}; // symbols a second
};

} // namespace larch
