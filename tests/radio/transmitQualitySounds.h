// What is spoken into the microphone of a measured transmitter: 48 kHz, 1: full scale.
#pragma once
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <memory>
#include <random>
#include <vector>

namespace larch::test {

using sound = std::function<double(int64_t)>;

inline double fromDecibels(double level_dB) { return std::pow(10.0, level_dB / 20); }

inline sound sineOf(double f, double amplitude) {
  return [=](int64_t n) { return amplitude * std::sin(2 * M_PI * std::fmod(f * static_cast<double>(n) / 48000, 1.0)); };
}
inline sound twoTones(double f1, double f2, double amplitude) { // of each
  return [a = sineOf(f1, amplitude), b = sineOf(f2, amplitude)](int64_t n) { return a(n) + b(n); };
}

// Noise with the long-term spectrum of a voice (flat from 100 to 500 Hz, 12 dB an octave down above) and four syllables a second;
// `rms` of the whole, clipped at full scale. Ten seconds, over and over.
inline sound voiceLikeNoise(double rms) {
  constexpr std::size_t count = 480'000;
  const auto samples = std::make_shared<std::vector<double>>(count);
  std::mt19937 random(7);
  std::normal_distribution<double> white;
  const double low = 1 - std::exp(-2 * M_PI * 500 / 48000), high = 1 - std::exp(-2 * M_PI * 100 / 48000);
  double once = 0, twice = 0, slow = 0, energy = 0;
  for (std::size_t n = 0; n < count; n++) {
    once += low * (white(random) - once);
    twice += low * (once - twice);
    slow += high * (twice - slow);
    const double syllable = 0.5 - 0.5 * std::cos(2 * M_PI * 4 * static_cast<double>(n) / 48000);
    (*samples)[n] = (twice - slow) * syllable;
    energy += (*samples)[n] * (*samples)[n];
  }
  const double gain = rms / std::sqrt(energy / count);
  return [samples, gain](int64_t n) { return std::clamp(gain * (*samples)[static_cast<std::size_t>(n) % count], -1.0, 1.0); };
}

} // namespace larch::test
