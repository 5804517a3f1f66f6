// What is measured on a transmitted signal: complex samples at 48 kHz, 1: full scale.
#pragma once
#include "dsp/filterDesign.h"
#include "dsp/transform.h"
#include <algorithm>
#include <cmath>
#include <complex>
#include <utility>
#include <vector>

namespace larch::test {

inline double decibels(double powerRatio) { return 10 * std::log10(std::max(powerRatio, 1e-30)); }

// Power in bins of 48000 / length Hz by the seven-term Blackman-Harris window (side lobes below -180 dB), mean of segments that
// overlap by three quarters. The sum over all bins is the mean power.
class powerSpectrumOf {
 public:
  powerSpectrumOf(const std::complex<double>* samples, std::size_t count, uint32_t length = 65536) : bins_(length, 0.0) {
    const auto window = blackmanHarris7(static_cast<int32_t>(length));
    double weight = 0;
    for (uint32_t i = 0; i < length; i++) weight += window.data[i] * window.data[i];
    std::vector<std::complex<double>> work(length);
    int segments = 0;
    for (std::size_t at = 0; at + length <= count; at += length / 4, segments++) {
      for (uint32_t i = 0; i < length; i++) work[i] = samples[at + i] * window.data[i];
      fftForward(work.data(), work.data(), length);
      for (uint32_t i = 0; i < length; i++) bins_[i] += std::norm(work[i]) / (weight * length);
    }
    for (double& each : bins_) each /= std::max(segments, 1);
  }
  explicit powerSpectrumOf(const std::vector<std::complex<double>>& samples) : powerSpectrumOf(samples.data(), samples.size()) {}
  double bin_Hz() const { return 48000.0 / static_cast<double>(bins_.size()); }
  double at(int64_t bin) const { // negative ones too
    const auto n = static_cast<int64_t>(bins_.size());
    return bins_[static_cast<std::size_t>(((bin % n) + n) % n)];
  }
  // Power between two frequencies, Hz from the transmit frequency.
  double between(double low, double high) const {
    double sum = 0;
    for (auto k = std::llround(low / bin_Hz()); k <= std::llround(high / bin_Hz()); k++) sum += at(k);
    return sum;
  }
  // Power of a line: the window's main lobe is seven bins to either side.
  double line(double f) const { return between(f - 8 * bin_Hz(), f + 8 * bin_Hz()); }
  double total() const { return between(-24000, 24000 - bin_Hz()); }
  // The band that leaves (1 - share) / 2 of the power on either side, Hz.
  std::pair<double, double> occupied(double share = 0.99) const {
    const double outside = total() * (1 - share) / 2;
    const auto half = static_cast<int64_t>(bins_.size() / 2);
    int64_t low = -half, high = half - 1;
    for (double sum = at(low); sum < outside; sum += at(low)) low++;
    for (double sum = at(high); sum < outside; sum += at(high)) high--;
    return {static_cast<double>(low) * bin_Hz(), static_cast<double>(high) * bin_Hz()};
  }
  // Power of the strongest line between two frequencies but for `kept` and what lies within 16 bins of them.
  double strongestBeside(const std::vector<double>& kept, double low = -24000, double high = 23999) const {
    double most = 0, mostAt = 0;
    for (auto k = std::llround(low / bin_Hz()); k <= std::llround(high / bin_Hz()); k++) {
      const double f = static_cast<double>(k) * bin_Hz();
      if (at(k) <= most ||
          std::any_of(kept.begin(), kept.end(), [&](double each) { return std::abs(f - each) <= 16 * bin_Hz(); }))
        continue;
      most = at(k);
      mostAt = f;
    }
    return most > 0 ? line(mostAt) : 0;
  }

 private:
  std::vector<double> bins_;
};

// The largest magnitude behind a filter of 100 Hz (6 dB; nothing beyond +-75 Hz) around f: what a receiver hears of a click.
inline double largestThrough100Hz(const std::vector<std::complex<double>>& samples, double f) {
  constexpr double flat_Hz = 25, end_Hz = 75;
  uint32_t length = 1;
  while (length < samples.size() + 4800) length *= 2; // room for the filter's own ringing
  std::vector<std::complex<double>> work(length);
  std::copy(samples.begin(), samples.end(), work.begin());
  fftForward(work.data(), work.data(), length);
  for (uint32_t k = 0; k < length; k++) {
    const double at = (k < length / 2 ? k : static_cast<double>(k) - length) * 48000 / length;
    const double beside = std::clamp((std::abs(at - f) - flat_Hz) / (end_Hz - flat_Hz), 0.0, 1.0);
    work[k] *= (0.5 + 0.5 * std::cos(M_PI * beside)) / length;
  }
  fftInverse(work.data(), work.data(), length);
  double most = 0;
  for (const auto& z : work) most = std::max(most, std::abs(z));
  return most;
}

// Energy of one burst in bins of 0.73 Hz, without a window: it begins and ends with silence.
class burstSpectrum {
 public:
  explicit burstSpectrum(const std::vector<std::complex<double>>& samples) : bins_(length) {
    std::vector<std::complex<double>> work(length);
    std::copy_n(samples.begin(), std::min<std::size_t>(samples.size(), length), work.begin());
    fftForward(work.data(), work.data(), length);
    for (uint32_t i = 0; i < length; i++) bins_[i] = std::norm(work[i]);
  }
  // Width around `centre`, Hz, that holds so much of the energy.
  double occupied(double centre, double share = 0.99) const {
    double total = 0;
    for (const double each : bins_) total += each;
    double outside = 0;
    int64_t k = length / 2;
    for (; k > 0 && outside < total * (1 - share); k--) outside += at(centre + k * bin_Hz) + at(centre - k * bin_Hz);
    return 2 * static_cast<double>(k) * bin_Hz;
  }
  // The strongest line on either side in the 100 Hz from `distance` on, dB to the one at `centre`.
  double worstFrom(double centre, double distance) const {
    double most = 0;
    for (double d = distance; d < distance + 100; d += bin_Hz) most = std::max({most, at(centre + d), at(centre - d)});
    return decibels(most / at(centre));
  }

 private:
  static constexpr uint32_t length = 65536;
  static constexpr double bin_Hz = 48000.0 / length;
  double at(double f) const {
    const int64_t n = length, k = std::llround(f / bin_Hz);
    return bins_[static_cast<std::size_t>(((k % n) + n) % n)];
  }
  std::vector<double> bins_;
};

// Hz between each sample and the next.
inline std::vector<double> frequenciesOf(const std::vector<std::complex<double>>& samples) {
  std::vector<double> f;
  for (std::size_t n = 1; n < samples.size(); n++)
    f.push_back(std::arg(samples[n] * std::conj(samples[n - 1])) * 48000 / (2 * M_PI));
  return f;
}

inline double largestMagnitude(const std::vector<std::complex<double>>& samples) {
  double most = 0;
  for (const auto& z : samples) most = std::max(most, std::abs(z));
  return most;
}

} // namespace larch::test
