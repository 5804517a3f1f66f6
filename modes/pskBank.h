// Many PSK detectors on one block at once.
#pragma once
#include "dsp/cpuVariant.h"
#include "modes/CPSKDet.h"
#include <span>

namespace larch {

struct pskText {
  char characters[CPSKDet::maxCharacters];
  int32_t count = 0;
};

// Each detector's processBlock, its text to the same place of `text`; the result is that of the plain form but for rounding.
// Eight of one speed run side by side; they all stand, and the block ends, at a multiple of 16 samples, otherwise each runs by
// itself. rt.
void processDetectors(std::span<CPSKDet* const> detectors, const double* samples, int32_t count, std::span<pskText> text,
                      cpuVariant variant = selectedVariant());

} // namespace larch
