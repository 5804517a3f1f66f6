// The mixers and filters of eight PSK detectors of one speed, side by side.
#pragma once
#include "dsp/cpuVariant.h"
#include "modes/pskFilters.h"

namespace larch {

// A row is one sample of each lane: I first, then Q. Rings as in iqRing, with one index for all lanes.
struct alignas(64) pskLanes {
  static constexpr int count = 8;
  using row = double[2][count];

  row phasor{}, rotation{}; // cos and sin: of the oscillators, and of their steps
  row ring1[decimationTaps]{}, ring2[decimationTaps]{}, ring3[matchedTaps]{};
  row decimated{}, frequencyOut{}, bitOut{}; // of the last run, before the AGC
  int index1 = decimationTaps - 1, index2 = decimationTaps - 1, index3 = matchedTaps - 1;
};

// `stride` samples, 16, 8 or 4, make one sample behind the decimation; the first of them follows a whole number of strides.
// Equals the plain loops of CPSKDet but for rounding. rt.
void runLanes(pskLanes& lanes, const double* samples, int stride, cpuVariant variant = selectedVariant());

} // namespace larch
