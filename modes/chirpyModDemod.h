// The experimental chirp mode: it has nothing that a host could set.
#pragma once
#include "modes/modDemod.h"

namespace larch {

// Receives and transmits as the empty mode.
class chirpyModDemod : public modDemod {
 public:
  using modDemod::modDemod;
};

} // namespace larch
