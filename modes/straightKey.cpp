#include "modes/straightKey.h"
#include <algorithm>

namespace larch {

void straightKey::move(bool down) {
  uint32_t before = moves_.load(std::memory_order_relaxed);
  while (!moves_.compare_exchange_weak(before, ((before | 1) + 1) | (down ? 1 : 0), std::memory_order_relaxed)) {
  }
}

// Each move begins an edge of its own; of several between two blocks the last one counts.
void straightKey::follow() {
  const uint32_t now = moves_.load(std::memory_order_relaxed);
  if (now == followed_) return;
  followed_ = now;
  down_ = isDown(now);
  rampPosition_ = 0;
}

double straightKey::nextRise() {
  if (rampPosition_ >= keyEdgeLength) return level;
  rampPosition_++;
  return level * keyEdge(keyEdgeLength - rampPosition_);
}

bool straightKey::produce(const cbuff& out, bool hardEdges) {
  follow();
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
