#include "sim/powerSpectrum.h"
#include <array>
#include <cmath>
#include <numeric>
#include <utility>

namespace larch::sim {

void transform(std::span<std::complex<double>> z) {
  const size_t count = z.size();
  for (size_t i = 1, j = 0; i < count; ++i) {
    size_t bit = count >> 1;
    for (; (j & bit) != 0; bit >>= 1) j ^= bit;
    j ^= bit;
    if (i < j) std::swap(z[i], z[j]);
  }
  for (size_t half = 1; half < count; half *= 2)
    for (size_t k = 0; k < half; ++k) {
      const std::complex<double> turn = std::polar(1.0, -M_PI * static_cast<double>(k) / static_cast<double>(half));
      for (size_t i = k; i < count; i += 2 * half) {
        const std::complex<double> a = z[i], b = z[i + half];
        const std::complex<double> t(b.real() * turn.real() - b.imag() * turn.imag(),
                                     b.real() * turn.imag() + b.imag() * turn.real());
        z[i] = a + t;
        z[i + half] = a - t;
      }
    }
}

powerSpectrum::powerSpectrum(bool silenceBefore) : block(length), sum(length) {
  waiting.reserve(length);
  if (silenceBefore) waiting.resize(length / 2);
}

void powerSpectrum::add(std::span<const std::complex<float>> samples) {
  for (const auto& s : samples) {
    waiting.emplace_back(s);
    if (waiting.size() == length) take();
  }
}

void powerSpectrum::addSilence() {
  constexpr std::array<std::complex<float>, length> silence{};
  add(silence);
}

void powerSpectrum::take() {
  for (size_t n = 0; n < length; ++n)
    block[n] = waiting[n] * (0.5 - 0.5 * std::cos(2 * M_PI * static_cast<double>(n) / static_cast<double>(length)));
  transform(block);
  for (size_t k = 0; k < length; ++k) sum[(k + length / 2) % length] += std::norm(block[k]);
  waiting.erase(waiting.begin(), waiting.begin() + length / 2);
}

powerSpectrum::band powerSpectrum::occupied(double share) const {
  const double total = std::accumulate(sum.begin(), sum.end(), 0.0), outside = total * (1 - share) / 2;
  if (!(total > 0)) return {};
  // bin k is as wide as the step to the next one and lies around k; edges lie within a bin as its power says
  const auto edge = [&](double power) {
    double below = 0;
    size_t k = 0;
    while (k + 1 < length && below + sum[k] < power) below += sum[k++];
    return (static_cast<double>(k) - 0.5 + (power - below) / sum[k]) / static_cast<double>(length) - 0.5;
  };
  return {edge(outside), edge(total - outside)};
}

} // namespace larch::sim
