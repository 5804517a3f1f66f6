// The edge of a keyed carrier.
#pragma once
#include <cmath>

namespace larch {

constexpr int keyEdgeLength = 256; // samples: 5.33 ms at 48000 Hz

// A raised cosine: 1 at the plateau, 0 at keyEdgeLength samples from it. required: pi in this short form. With it a rise begins
// just above 0, so that each sample of a mark counts as sounding.
inline double keyEdge(double fromPlateau) {
  constexpr double shortPi = 3.1415927;
  return 0.5 * std::cos(fromPlateau * shortPi / keyEdgeLength) + 0.5;
}

} // namespace larch
