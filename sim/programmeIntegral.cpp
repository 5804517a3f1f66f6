#include "sim/programmeIntegral.h"
#include <algorithm>
#include <cmath>

namespace larch::sim {

programmeIntegral::programmeIntegral(const sampledEnvelope& programme, double highest_Hz) {
  const double factor = std::max(1.0, std::ceil(pointsPerWave * highest_Hz / programme.rate_Hz()));
  rate = factor * programme.rate_Hz();
  const auto size = static_cast<size_t>(std::llround(programme.length_s() * rate));
  std::vector<std::complex<double>> value(size);
  programme.read({0, 1 / rate, size}, value.data());
  const auto at = [&](size_t n) { return value[n % size].real() / rate; };
  // trapezoids and their first correction, the slope of the programme from its neighbours
  integral.assign(size + 1, 0);
  for (size_t n = 0; n < size; ++n) {
    const double slopes = (at(n + 2) - at(n)) / 2 - (at(n + 1) - at(n + size - 1)) / 2;
    integral[n + 1] = integral[n] + (at(n) + at(n + 1)) / 2 - slopes / 12;
  }
  const double rest = integral[size] / static_cast<double>(size);
  slope.resize(size + 1);
  for (size_t n = 0; n <= size; ++n) {
    integral[n] -= rest * static_cast<double>(n);
    slope[n] = static_cast<float>(at(n) - rest);
  }
}

void programmeIntegral::read(const timeGrid& grid, std::complex<double>* out) const {
  const auto size = static_cast<double>(slope.size() - 1);
  for (size_t n = 0; n < grid.count; ++n) {
    double position = (grid.start_s + grid.step_s * static_cast<double>(n)) * rate;
    position -= std::floor(position / size) * size;
    if (position >= size) position = 0;
    const auto k = static_cast<size_t>(position);
    const double x = position - static_cast<double>(k), a = integral[k], rise = integral[k + 1] - a;
    const double from = slope[k], bend = 3 * rise - 2 * from - slope[k + 1], twist = from + slope[k + 1] - 2 * rise;
    out[n] = a + x * (from + x * (bend + x * twist));
  }
}

} // namespace larch::sim
