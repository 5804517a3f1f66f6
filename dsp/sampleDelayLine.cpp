#include "dsp/sampleDelayLine.h"
#include <algorithm>

namespace larch {

sampleDelayLine::sampleDelayLine(uint64_t history, uint64_t block)
    : whole(history + block), writable(slice(whole, history, block)), history_(history), position_(history) {
  std::fill_n(whole.data, history, 0.0);
}

void sampleDelayLine::wrap() {
  whole.copyTo(writable.count, history_, whole, 0);
  position_ = history_;
}

void sampleDelayLine::clear() {
  std::fill_n(whole.data, whole.count, 0.0);
  position_ = history_;
}

} // namespace larch
