#include "modes/straightKey.h"
#include <algorithm>

namespace larch {

void straightKey::press() {
  rampPosition_ = 0;
  down_ = true;
}

void straightKey::release() {
  down_ = false;
  rampPosition_ = 0;
}

double straightKey::nextRise() {
  if (rampPosition_ >= keyEdgeLength) return level;
  rampPosition_++;
  return level * keyEdge(keyEdgeLength - rampPosition_);
}

bool straightKey::produce(const cbuff& out, bool hardEdges) {
  if (hardEdges) {
    if (down_) std::fill_n(out.data, out.count, 1.0);
    return down_;
  }
  if (!down_ && rampPosition_ >= keyEdgeLength) return false;
  for (uint64_t i = 0; i < out.count; i++) {
    const double rise = nextRise();
    out.data[i] = down_ ? rise : level - rise;
  }
  return true;
}

} // namespace larch
