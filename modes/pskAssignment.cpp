#include "modes/pskAssignment.h"
#include <algorithm>
#include <cstdlib>

namespace larch {
namespace {

constexpr int64_t sameSignal = 20;   // Hz
constexpr int32_t searchLimit = 200; // of activity, before the first channel
constexpr int32_t freeLimit = 50;    // a channel with more life left isn't taken
constexpr int newChannels = 4;       // of a pass

struct search {
  PskDetector* tracking = nullptr;
  PskDetector* best = nullptr;
  int32_t limit = searchLimit;
};

search searched(int32_t frequency, std::span<const std::shared_ptr<PskDetector>> channels) {
  search s;
  s.best = channels.front().get();
  for (const auto& channel : channels) {
    if (std::abs(int64_t{channel->frequency()} - frequency) < sameSignal && channel->lifeCount > 0) {
      s.tracking = channel.get();
      break;
    }
    // required: compares the host's activity with the life of the channel before
    if (channel->activity.get() < s.limit) {
      s.limit = channel->lifeCount;
      s.best = channel.get();
    }
  }
  return s;
}

} // namespace

void assignChannels(std::span<const pskPeak> peaks, std::span<const std::shared_ptr<PskDetector>> channels) {
  int given = 0;
  for (const pskPeak& peak : peaks) {
    const search s = searched(peak.frequency, channels);
    if (s.tracking) s.tracking->lifeCount = std::max(s.tracking->lifeCount, PskDetector::signalBlocks);
    if (s.limit > freeLimit) return; // required: for a tracked peak too, and for all that follow
    if (s.tracking) continue;
    s.best->assign(peak.frequency, PskDetector::signalBlocks);
    if (++given == newChannels) return;
  }
}

} // namespace larch
