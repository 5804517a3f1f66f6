// What every mode that lets the operator hear the channel returns.
#pragma once
#include "dsp/buff.h"

namespace larch {

// A new block with the real part of each sample; the imaginary part is dropped. rt once the pool is warm.
inline buff<float> realAudio(const cbuff& block) {
  buff<float> audio(block.count);
  for (uint64_t i = 0; i < block.count; i++) audio.data[i] = static_cast<float>(block.data[i].real());
  return audio;
}

} // namespace larch
