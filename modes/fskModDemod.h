// Frequency-shift keying: what the host sets up and shows of it.
#pragma once
#include "modes/modDemod.h"

namespace larch {

// Holds its properties, which nothing reads. Transmits nothing: the block stays as it is.
class fskModDemod : public modDemod {
 public:
  using modDemod::modDemod;

  buff<float> demodulate(const cbuff& block) override { return buff<float>(block.count, 0.0f); } // silence
  void modulate(const cbuff& input, const cbuff& output) override { modDemod::modulate(input, output); }

  property<int32_t> f0{0};   // Hz, tone of a 0 bit
  property<int32_t> f1{0};   // Hz, tone of a 1 bit
  property<int32_t> baud{0}; // symbols a second
};

} // namespace larch
