// A host's number as a whole one.
#pragma once
#include <cstdint>
#include <limits>

namespace larch {

// Truncated towards zero; beyond the range the nearest end of it, and 0 for what is no number.
constexpr int32_t saturatedInt32(double value) {
  using range = std::numeric_limits<int32_t>;
  if (value >= range::max()) return range::max();
  if (value <= range::min()) return range::min();
  return value == value ? static_cast<int32_t>(value) : 0;
}

} // namespace larch
