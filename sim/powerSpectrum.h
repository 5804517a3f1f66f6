// The mean power spectrum of a stream of complex samples, and how much of it a signal fills.
#pragma once
#include <complex>
#include <cstddef>
#include <span>
#include <vector>

namespace larch::sim {

// In place, e^(-j 2 pi k n / N), without scaling; the length is a power of two.
void transform(std::span<std::complex<double>> z);

// Hann-weighted blocks of 4096 samples, each half over the one before: at 48 kHz bins of 11.7 Hz, and a resolution of 35 Hz
// (the width that holds 99 % of the power of a steady carrier). Not thread-safe.
class powerSpectrum {
 public:
  static constexpr size_t length = 4096;

  // silenceBefore: the first samples are seen whole, as what they are: a beginning after silence.
  explicit powerSpectrum(bool silenceBefore = false);
  void add(std::span<const std::complex<float>> samples);
  void addSilence(); // as much as it takes for the last samples to be seen whole

  // The band in parts of the rate, -0.5 to 0.5, outside which lies half of 1 - share on either side. Empty (0, 0) without power.
  struct band {
    double low = 0, high = 0;
  };
  band occupied(double share = 0.99) const;

 private:
  void take();
  std::vector<std::complex<double>> waiting, block;
  std::vector<double> sum; // of |bin|^2, from -rate/2 up
};

} // namespace larch::sim
