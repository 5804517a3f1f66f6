// What tests measure of a tone: its amplitude, the rest beside it, the deviation of a carrier.
#pragma once
#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

namespace larch::test {

// Amplitude of a real tone of f Hz in the last `count` samples at 48 kHz; whole periods.
inline double toneIn(const std::vector<double>& audio, double f, size_t count) {
  std::complex<double> sum = 0;
  for (size_t i = audio.size() - count; i < audio.size(); i++)
    sum += audio[i] * std::polar(1.0, -2 * std::numbers::pi * f / 48000 * static_cast<double>(i));
  return 2 * std::abs(sum) / static_cast<double>(count);
}

// The amplitude that a tone of the same power would have.
inline double powerAsTone(const std::vector<double>& audio, size_t count) {
  double power = 0;
  for (size_t i = audio.size() - count; i < audio.size(); i++) power += audio[i] * audio[i];
  return std::sqrt(2 * power / static_cast<double>(count));
}

// Hz above the carrier from sample to sample at 48 kHz, mirrored as the chain is; one shorter.
inline std::vector<double> deviationOf(const std::vector<std::complex<double>>& sent) {
  std::vector<double> hertz;
  for (size_t i = 1; i < sent.size(); i++)
    hertz.push_back(-std::arg(std::conj(sent[i - 1]) * sent[i]) * 48000 / (2 * std::numbers::pi));
  return hertz;
}

} // namespace larch::test
