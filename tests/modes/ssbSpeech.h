// The voice of ssbFormulas.py, which the expected values of the speech chain belong to.
#pragma once
#include <cmath>
#include <cstdint>

namespace larch::test {

// Sample n at 48 kHz, 1: full scale: 125 Hz with two formants and syllables of 50 ms, in steps of 1/4096.
inline double speechAt(int64_t n) {
  const auto t = static_cast<double>(n);
  double x = 0;
  for (int h = 1; h <= 24; h++) {
    const double f = 125.0 * h;
    const double weight = 1 / (1 + std::pow((f - 500) / 200, 2)) + 0.5 / (1 + std::pow((f - 1500) / 300, 2));
    x += weight * std::sin(2 * M_PI * f * t / 48000 + h * h);
  }
  x *= 0.16 * (1 - std::cos(2 * M_PI * t / 2400));
  return std::floor(4096 * x + 0.5) / 4096;
}

} // namespace larch::test
