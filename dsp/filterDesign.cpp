#include "dsp/filterDesign.h"
#include "dsp/transform.h"
#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace larch {
namespace {

using std::numbers::pi;

constexpr std::array windowTerms = {0.27105140069342, -0.43329793923448, 0.21812299954311, -0.06592544638803,
                                    0.01081174209837, -0.00077658482522, 0.00001388721735}; // of cos(kx), k from 0

constexpr int32_t sincTaps = 2048;
constexpr int32_t sincRate = 48000; // Hz

constexpr uint64_t cepstrumLength = 32768;
constexpr double leastMagnitude = 1e-300; // keeps the logarithm finite at a zero of the response

// The real low-pass of half the band's width, turned to the middle of the band. `window` may be null: none.
cbuff turnedLowPass(double low, double high, int32_t rate, int32_t taps, int32_t length, const double* window) {
  const double l = low / rate, h = high / rate;
  const double half = (h - l) * 0.5, turn = (h + l) * pi;
  cbuff filter(static_cast<uint64_t>(length), 0.0);
  if (taps % 2 != 0) filter.data[taps / 2] = 2 * half;
  for (int32_t i = (taps + 1) / 2; i < taps; i++) {
    const double t = i - (taps - 1) * 0.5;
    const double c = std::sin(t * 2 * pi * half) / (t * pi) * (window != nullptr ? window[i] : 1.0);
    const double a = -t * turn; // the minus is the sign rule: baseband is the mirror of what is displayed
    filter.data[i] = {c * std::cos(a), c * std::sin(a)};
    filter.data[taps - 1 - i] = std::conj(filter.data[i]);
  }
  return filter;
}

// From the logarithm of a magnitude to the phase that belongs to it: the imaginary part of the result.
cbuff foldCepstrum(const cbuff& logMagnitude) {
  constexpr uint64_t n = cepstrumLength;
  cbuff cepstrum = fftForward(logMagnitude, cbuff(n));
  for (uint64_t i = 0; i <= n / 2; i++) cepstrum.data[i] *= (i == 0 || i == n / 2 ? 1.0 : 2.0) / n;
  std::fill(cepstrum.data + n / 2 + 1, cepstrum.data + n, 0.0);
  return fftInverse(cepstrum, cbuff(n));
}

} // namespace

buff<double> blackmanHarris7(int32_t n) {
  buff<double> window(static_cast<uint64_t>(n));
  for (int32_t i = 0; i < n; i++) {
    const double x = (i + 0.5) * 2 * pi / n;
    double sum = windowTerms[0];
    for (std::size_t k = 1; k < windowTerms.size(); k++) sum += windowTerms[k] * std::cos(static_cast<double>(k) * x);
    window.data[i] = sum;
  }
  return window;
}

cbuff makeBandpass(double low, double high, int32_t rate, int32_t taps, int32_t length) {
  return turnedLowPass(low, high, rate, taps, length, blackmanHarris7(taps).data);
}

cbuff makeSinc2048(double low, double high) { return turnedLowPass(low, high, sincRate, sincTaps, sincTaps, nullptr); }

cbuff minimumPhase(const cbuff& filter) {
  constexpr uint64_t n = cepstrumLength;
  const uint64_t taps = std::min(filter.count, n);
  cbuff work(n, 0.0);
  filter.copyTo(0, taps, work, 0);
  const cbuff response = fftForward(work, cbuff(n));
  buff<double> magnitude(n);
  for (uint64_t i = 0; i < n; i++) {
    magnitude.data[i] = std::abs(response.data[i]) / n;
    work.data[i] = std::log(std::max(magnitude.data[i], leastMagnitude));
  }
  const cbuff phase = foldCepstrum(work);
  for (uint64_t i = 0; i < n; i++) {
    const double m = magnitude.data[i], p = phase.data[i].imag();
    work.data[i] = {m * std::cos(p), -m * std::sin(p)};
  }
  const cbuff least = fftInverse(work, cbuff(n));
  cbuff result(filter.count, 0.0);
  least.copyTo(0, taps, result, 0);
  return result;
}

} // namespace larch
