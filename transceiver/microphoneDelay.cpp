#include "transceiver/microphoneDelay.h"
#include <algorithm>

namespace larch {

void microphoneDelay::setEnabled(bool on) {
  enabled_ = on;
  full_ = false;
  position_ = 0;
  recording_ = buff<float>(on ? length : 0, 0.0f);
}

void microphoneDelay::fill(const buff<float>& mic, const std::function<void(const buff<float>&)>& read) {
  if (!enabled_) return read(mic);
  if (full_)
    play(mic);
  else {
    read(mic);
    mic.copyTo(0, mic.count, recording_, position_);
  }
  position_ += mic.count;
  if (position_ + mic.count < length) return;
  full_ = true;
  position_ = 0;
}

// After a change of block length the end may come within a block: its rest is silence.
void microphoneDelay::play(const buff<float>& mic) const {
  const uint64_t there = std::min(mic.count, length - position_);
  std::copy_n(recording_.data + position_, there, mic.data);
  std::fill(mic.data + there, mic.data + mic.count, 0.0f);
}

} // namespace larch
