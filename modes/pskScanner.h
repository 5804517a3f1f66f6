// Finds signals in the audio band by the spectrum of three blocks.
#pragma once
#include <array>
#include <complex>
#include <cstdint>
#include <span>

namespace larch {

struct pskPeak {
  int32_t frequency; // Hz
  double power;      // sum of log10 over five bins and three blocks
};

class pskScanner {
 public:
  static constexpr int32_t blockLength = 512; // samples at 8000 per second
  static constexpr int32_t blocksOfSpectrum = 3;

  pskScanner();

  // The peaks, strongest first, with every third block; nothing with the others. The view holds until the next call. rt behind
  // a thread's first block.
  std::span<const pskPeak> process(const double* block);

 private:
  static constexpr int32_t firstBin = 3, lastBin = 252, reach = 2; // of peaks; bins to each side that count
  static constexpr int32_t bins = blockLength / 2 + 1;

  void findPeaks();
  double band(int32_t bin) const;

  std::array<double, blockLength> window_{}, windowed_{};
  std::array<std::complex<double>, bins> spectrum_{};
  std::array<double, bins> sum_{};
  int32_t blocksSummed_ = 0;
  std::array<pskPeak, lastBin - firstBin + 1> peaks_{};
  size_t peakCount_ = 0;
};

} // namespace larch
