// Hands the blocks of both directions to the host, so that a mode may be written outside the library.
#pragma once
#include "modes/modDemod.h"

namespace larch {

// The callbacks run inside the transceiver's chain, on its group: the host must return at once.
class proxyModDemod : public modDemod {
 public:
  using modDemod::modDemod;

  // The host gets the block, 512 samples at 48000 Hz, in an object that it owns; the samples hold until it returns. The operator
  // hears the real part.
  buff<float> demodulate(const cbuff& block) override;
  // The host fills `out` before it returns and owns both objects; without a host the output stays as it is.
  void modulate(const cbuff& input, const cbuff& output) override;

  void (*rxChunk)(cbuff* block) = nullptr;
  void (*getTxChunk)(cbuff* out, cbuff* mic) = nullptr;
};

} // namespace larch
