#include "audio/audioInputRef.h"
#include "dsp/audioInterpolator.h"
#include "runtime/log.h"
#include <algorithm>

namespace larch {
namespace {

constexpr int64_t longestPause_ns = 101'000'000;
constexpr int32_t furthestBehind = -16384, largestLag = -8192; // samples
constexpr int32_t readsWrap = 100;

} // namespace

audioInputRef::~audioInputRef() {
  if (device_) device_->leave();
}

void audioInputRef::setInput(int32_t id) {
  logInfo("set stream id {} {}", id, id_);
  if (!list_) list_ = &inputDevices();
  if (id < 0 || static_cast<size_t>(id) >= list_->entries.size()) return logError("Invalid audio stream id {}", id);
  if (id == id_) return;
  if (device_) device_->leave();
  id_ = id;
  device_ = list_->entries[static_cast<size_t>(id)].get();
  device_->join();
  ringPosition ignored;
  device_->acquire(ignored);
}

bool audioInputRef::inBounds(int64_t wanted, int16_t diff, int64_t elapsed_ns) const {
  return -diff >= wanted && diff >= furthestBehind && elapsed_ns < longestPause_ns;
}

void audioInputRef::readMicrophone(buff<float> out) {
  if (id_ == 0) return;
  ringPosition writer;
  const buff<float> ring = device_ ? device_->acquire(writer) : buff<float>();
  if (ring.count == 0) {
    std::fill_n(out.data, out.count, 0.0f);
    return;
  }
  const int64_t now = monotonicNow_ns(), elapsed = now - lastRead_ns_, wanted = static_cast<int64_t>(out.count);
  const auto diff = static_cast<int16_t>(static_cast<int64_t>(position_) - writer.index); // negative: behind the writer
  reads_ = reads_ == readsWrap ? 0 : reads_ + 1;
  if (!inBounds(wanted, diff, elapsed)) {
    position_ = writer.index + lag_;
    const bool caughtUp = -diff < wanted && elapsed < longestPause_ns;
    if (caughtUp) lag_ = std::max(lag_ * 3 / 2, largestLag);
  }
  resynced_ = true;
  interpolateFromRing(position_, ring, out, static_cast<double>(audioRate) / device_->sampleRate);
  lastRead_ns_ = now;
}

} // namespace larch
