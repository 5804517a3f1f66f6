#include "sim/sincKernel.h"
#include <array>
#include <cmath>
#include <cstddef>

namespace larch::sim {

namespace {
constexpr double kaiserBeta = 8;

double besselI0(double x) {
  double sum = 1, term = 1;
  for (int k = 1; k < 60; ++k) {
    term *= x * x / (4.0 * k * k);
    sum += term;
  }
  return sum;
}
} // namespace

double sincKernel(double x, int halfTaps) {
  if (std::fabs(x) >= halfTaps) return 0;
  const double u = x / halfTaps;
  const double window = besselI0(kaiserBeta * std::sqrt(1 - u * u)) / besselI0(kaiserBeta);
  return window * (std::fabs(x) < 1e-9 ? 1 : std::sin(M_PI * x) / (M_PI * x));
}

double tabledSincKernel(double x) {
  static const auto table = [] {
    std::array<double, sincHalfTaps * sincPhases + 2> t{};
    for (size_t i = 0; i < t.size(); ++i) t[i] = sincKernel(static_cast<double>(i) / sincPhases);
    return t;
  }();
  if (x >= sincHalfTaps) return 0;
  const double place = x * sincPhases;
  const auto i = static_cast<size_t>(place);
  return table[i] + (place - static_cast<double>(i)) * (table[i + 1] - table[i]);
}

} // namespace larch::sim
