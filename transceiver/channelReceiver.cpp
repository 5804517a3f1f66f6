#include "transceiver/channelReceiver.h"
#include "dsp/filterDesign.h"
#include "transceiver/chainConstants.h"
#include <algorithm>
#include <cmath>

namespace larch {
namespace {

constexpr double firstLow = -3000, firstHigh = 3000; // Hz: the filter until the host sets one
constexpr int32_t firstRate = 48000;

} // namespace

channelReceiver::channelReceiver() : filter_(makeBandpass(firstLow, firstHigh, firstRate, filterTaps, filterTaps)) {
  std::fill_n(filter_.input.data, filter_.input.count, 0.0);
}

void channelReceiver::process(const cbuff& chunk, double step, int32_t ratio, const std::function<void(const cbuff&)>& block) {
  if (ratio < 1) return;
  const uint64_t length = fftConvolver::block, times = static_cast<uint64_t>(ratio);
  for (uint64_t at = 0; at < chunk.count;) {
    const uint64_t take = std::min((length - filled_) * times, chunk.count - at);
    filled_ += decimator_.process(step, ratio, slice(filter_.input, filled_, take / times), slice(chunk, at, take));
    at += take;
    if (filled_ < length) continue;
    filled_ = 0;
    filter_.process();
    // the signal lies beyond what this hardware receiver hears: only silence is honest
    if (!(std::abs(step) < bandLimitStep)) std::fill_n(filter_.output.data, filter_.output.count, 0.0);
    block(filter_.output);
  }
}

} // namespace larch
