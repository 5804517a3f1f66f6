#include "modes/CCalcIMD.h"
#include <cmath>
#include <numbers>

namespace larch {
namespace {

constexpr double cycle = 2 * std::numbers::pi / 32;
const std::array<double, 3> coefficients = {2 * std::cos(cycle), 2 * std::cos(2 * cycle), 2 * std::cos(3 * cycle)};

} // namespace

void CCalcIMD::history::run(double x, double coefficient) {
  const double now = x + coefficient * last - before;
  before = last;
  last = now;
}

double CCalcIMD::history::energy(double coefficient) const { return last * last + before * before - last * before * coefficient; }

bool CCalcIMD::put(iqSample s) {
  untouched_ = false;
  for (size_t k = 0; k < resonators_.size(); k++) {
    resonators_[k].i.run(s.i, coefficients[k]);
    resonators_[k].q.run(s.q, coefficients[k]);
  }
  if (++count < length) return false;
  for (size_t k = 0; k < resonators_.size(); k++)
    energy[k] = resonators_[k].i.energy(coefficients[k]) + resonators_[k].q.energy(coefficients[k]);
  resonators_ = {};
  count = 0;
  return true;
}

void CCalcIMD::clear() {
  if (untouched_) return;
  untouched_ = true;
  resonators_ = {};
  energy = {};
  count = 0;
}

} // namespace larch
