// Constants that the chains of a transceiver share.
#pragma once
#include <cstdint>

namespace larch {

// required: pi stays this short, so that every mixer step and envelope of the chains agrees to the last bit.
constexpr double chainPi = 3.1415927;

// Radians a sample: at this step and beyond a frequency lies outside the stream that it was taken from.
constexpr double bandLimitStep = 3.14;

// Mixer step that brings `frequency` of a stream centred on `centre` (both Hz) to zero, at `rate` samples/s.
inline double mixerStep(int32_t centre, int32_t frequency, int32_t rate) {
  return 2 * chainPi * static_cast<double>(int64_t{centre} - frequency) / rate;
}

} // namespace larch
