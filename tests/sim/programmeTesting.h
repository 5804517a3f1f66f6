// Audio of known content for the tests of modulated stations.
#pragma once
#include <algorithm>
#include <utility>
#include <vector>
#include "sim/wavFile.h"
#include "tests/sim/simHost.h"

namespace larch::simtest {

// Sum of sines, each a frequency and an amplitude, with soft edges of 50 ms, which don't ring in a filter.
inline sim::wavData toneAudio(const std::vector<std::pair<double, double>>& tones, double rate_Hz, double seconds) {
  sim::wavData audio{rate_Hz, 1, {}};
  const auto count = static_cast<size_t>(seconds * rate_Hz);
  const double ramp = 0.05 * rate_Hz;
  for (size_t n = 0; n < count; ++n) {
    double v = 0;
    for (const auto& [frequency, amplitude] : tones)
      v += amplitude * std::sin(2 * M_PI * frequency * static_cast<double>(n) / rate_Hz);
    const double edge = std::min({1.0, static_cast<double>(n) / ramp, static_cast<double>(count - n) / ramp});
    audio.samples.push_back(static_cast<float>(v * (0.5 - 0.5 * std::cos(M_PI * edge))));
  }
  return audio;
}

// A discriminator: frequency from sample to sample, in hertz, above the carrier when the stream is the conjugate.
inline samples discriminate(const samples& z, double rate_Hz, double sign = 1) {
  samples f;
  for (size_t n = 1; n < z.size(); ++n) f.emplace_back(sign * std::arg(z[n] * std::conj(z[n - 1])) * rate_Hz / (2 * M_PI));
  return f;
}

} // namespace larch::simtest
