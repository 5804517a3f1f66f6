#include "sim/randomSource.h"
#include <cmath>

namespace larch::sim {

namespace {
constexpr int tableBits = 12;
constexpr size_t tableSize = size_t{1} << tableBits, tableMask = tableSize - 1;

// x with P(X <= x) = p for a standard Gaussian, by Newton's method on the distribution function
double gaussianQuantile(double p) {
  double x = 0;
  for (int i = 0; i < 60; ++i) {
    const double error = 0.5 * std::erfc(-x / std::sqrt(2.0)) - p;
    const double density = std::exp(-0.5 * x * x) / std::sqrt(2 * M_PI);
    const double step = error / density;
    x -= std::fabs(step) > 1 ? std::copysign(1.0, step) : step;
    if (std::fabs(step) < 1e-14) break;
  }
  return x;
}

// the middles of 4096 slices of equal probability, scaled to variance 1
const std::array<double, tableSize>& quantiles() {
  static const std::array<double, tableSize> table = [] {
    std::array<double, tableSize> t{};
    double power = 0;
    for (size_t i = 0; i < tableSize / 2; ++i) {
      const double x = gaussianQuantile((static_cast<double>(i) + 0.5) / tableSize);
      t[i] = x;
      t[tableSize - 1 - i] = -x;
      power += 2 * x * x;
    }
    const double scale = std::sqrt(tableSize / power);
    for (double& x : t) x *= scale;
    return t;
  }();
  return table;
}
} // namespace

randomSource::randomSource(uint64_t seed) {
  for (uint64_t& s : state) {
    seed += 0x9E3779B97F4A7C15;
    uint64_t z = seed;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
    s = z ^ (z >> 31);
  }
}

void randomSource::addNoise(std::complex<double>* samples, size_t count, double deviation) {
  addNoise(reinterpret_cast<double*>(samples), 2 * count, deviation);
}

void randomSource::addNoise(double* samples, size_t count, double deviation) {
  const double* table = quantiles().data();
  constexpr size_t perDraw = 4;
  size_t n = 0;
  for (; n + perDraw <= count; n += perDraw) {
    const uint64_t r = next();
    samples[n] += deviation * table[r >> 4 & tableMask];
    samples[n + 1] += deviation * table[r >> 20 & tableMask];
    samples[n + 2] += deviation * table[r >> 36 & tableMask];
    samples[n + 3] += deviation * table[r >> 52];
  }
  if (n < count)
    for (uint64_t r = next(); n < count; ++n, r >>= tableBits) samples[n] += deviation * table[r & tableMask];
}

} // namespace larch::sim
