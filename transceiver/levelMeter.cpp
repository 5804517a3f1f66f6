#include "transceiver/levelMeter.h"
#include "dsp/vectorOps.h"
#include <algorithm>
#include <cmath>

namespace larch {
namespace {

constexpr double powerScale = 10.0, powerFloor = 1e-180;

} // namespace

std::optional<levelMeter::report> levelMeter::measure(const cbuff& block, double micLevel) {
  micPeak_ = std::max(micPeak_, micLevel);
  blocks_++;
  if (blocks_ < reportBlocks) return std::nullopt;
  const report result{10.0 * std::log10(powerScale * peakPower(block) + powerFloor), micPeak_};
  blocks_ = 0;
  micPeak_ = 0;
  return result;
}

} // namespace larch
