// The gain law sample by sample, every decision at every sample: what the fast form must equal to the bit, and its peer in
// bench/.
#pragma once
#include "dsp/gainLoop.h"
#include <algorithm>
#include <cmath>
#include <cstdint>

namespace larch {

inline float plainClamp(float x) { return x > 1.0f ? 1.0f : x < -1.0f ? -1.0f : x; }

inline int64_t plainHang(float hang_s) {
  const float samples = hang_s * 48000.0f;
  if (std::isnan(samples)) return 0;
  return samples >= 9.2233720e18f ? INT64_MAX : samples <= -9.2233720e18f ? INT64_MIN : static_cast<int64_t>(samples);
}

inline void plainFollow(const gainParameters& p, gainState& s, float* x, uint64_t n, float v) {
  const float a = std::exp(-1.0f / (p.attack_s * 48000.0f)), d = std::exp(-1.0f / (p.decay_s * 48000.0f));
  float peak = 0;
  for (uint64_t i = 0; i < n; i++)
    if (std::fabs(x[i]) > peak) peak = std::fabs(x[i]);
  const double maxLinear = std::pow(10.0, static_cast<double>(p.maxGain_dB / 20.0f));
  const float target = peak == 0 ? 200.0f : 1.0f / (peak * 1.2f);
  for (uint64_t i = 0; i < n; i++) {
    double next = s.gain;
    if (s.gain > target) {
      next = (1.0f - a) * target + a * s.gain;
      s.hangCount = plainHang(p.hang_s);
    } else if (s.hangCount >= 1) {
      s.hangCount--;
    } else {
      next = (1.0f - d) * target + d * s.gain;
    }
    if (!std::isnan(next)) s.gain = next;
    if (s.gain > maxLinear) s.gain = maxLinear;
    x[i] = plainClamp(x[i] * static_cast<float>(v * s.gain));
  }
}

} // namespace larch
