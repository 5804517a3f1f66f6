// Amplitude modulation with carrier: what the host sets of it.
#pragma once
#include "modes/modDemod.h"

namespace larch {

// Holds its property; receives and transmits as the empty mode.
class amModDemod : public modDemod {
 public:
  using modDemod::modDemod;

  property<double> compression{1.0}; // speech drive into the clipper
};

} // namespace larch
