#include "modes/pskScanner.h"
#include "dsp/saturatedInt32.h"
#include "dsp/transform.h"
#include "modes/pskPi.h"
#include <algorithm>
#include <cmath>

namespace larch {
namespace {

constexpr double binWidth = 8000.0 / pskScanner::blockLength; // Hz
constexpr double leastPower = 1e-180;                         // an empty bin has a logarithm, too

} // namespace

// Blackman-Harris, at half-sample offset.
pskScanner::pskScanner() {
  constexpr double turn = 2 * pskPi * 0.001953125;
  for (int32_t i = 0; i < blockLength; i++) {
    const double a = (i + 0.5) * turn;
    window_[static_cast<size_t>(i)] = 0.35875 - 0.48829 * std::cos(a) + 0.14128 * std::cos(2 * a) - 0.01168 * std::cos(3 * a);
  }
}

std::span<const pskPeak> pskScanner::process(const double* block) {
  for (size_t i = 0; i < window_.size(); i++) windowed_[i] = block[i] * window_[i];
  fftForwardReal(windowed_.data(), spectrum_.data(), blockLength);
  for (size_t k = 0; k < sum_.size(); k++) {
    const double re = spectrum_[k].real(), im = spectrum_[k].imag();
    sum_[k] += std::log10(re * re + im * im + leastPower);
  }
  if (++blocksSummed_ < blocksOfSpectrum) return {};
  findPeaks();
  sum_ = {};
  blocksSummed_ = 0;
  return {peaks_.data(), peakCount_};
}

double pskScanner::band(int32_t bin) const {
  double total = 0;
  for (int32_t k = bin - reach; k <= bin + reach; k++) total += sum_[static_cast<size_t>(k)];
  return total;
}

void pskScanner::findPeaks() {
  peakCount_ = 0;
  for (int32_t k = firstBin; k <= lastBin; k++) {
    const double below = band(k - 1), here = band(k), above = band(k + 1);
    if (!(here > below && here > above)) continue;
    const double d = 2 * here - below - above;
    const double frequency = (above - below) / (2 * d) * binWidth + k * binWidth + binWidth * 0.5;
    peaks_[peakCount_++] = {saturatedInt32(frequency), here};
  }
  std::sort(peaks_.begin(), peaks_.begin() + static_cast<std::ptrdiff_t>(peakCount_),
            [](const pskPeak& a, const pskPeak& b) { return a.power > b.power; });
}

} // namespace larch
