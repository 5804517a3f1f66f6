#include "radio/rfGainControl.h"
#include <algorithm>

namespace larch {
namespace {

constexpr int32_t step_dB = 6, greatest_dB = 30;
constexpr double tooMuch = 0.01, veryLittle = 0.002; // shares of frames
constexpr double smallPeak = 0.33;

} // namespace

bool rfGainControl::due(int64_t receivers, int32_t sampleRate) const {
  if (sampleRate < 1) return false;
  return overloadFrames_ + cleanFrames_ > receivers * (int64_t{sampleRate} * 1000 / 48000);
}

int32_t rfGainControl::nextGain(int32_t gain, int32_t least, double peak) const {
  const int32_t g = std::min(step_dB * (gain / step_dB), greatest_dB);
  const double ratio = static_cast<double>(overloadFrames_) / static_cast<double>(overloadFrames_ + cleanFrames_);
  if (ratio > tooMuch) return static_cast<int32_t>(std::max<int64_t>(int64_t{g} - step_dB, least));
  if (ratio < veryLittle && peak < smallPeak) return std::min(g + step_dB, greatest_dB);
  return g;
}

} // namespace larch
