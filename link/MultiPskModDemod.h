// The link that makes a transceiver the radio of an outside program: what the host sets and sees of it.
#pragma once
#include "modes/modDemod.h"

namespace larch {

// Holds its properties; receives and transmits as the empty mode, and listens on no port.
class MultiPskModDemod : public modDemod {
 public:
  using modDemod::modDemod;

  property<bool> connected{false}; // a client is connected
  property<bool> sending{false};   // samples are streaming to the client
  property<int32_t> port{50001};   // TCP port
};

} // namespace larch
