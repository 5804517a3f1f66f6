// What the tests of the kernels share: seeded noise, the distance of two signals, one run for each compiled variant.
#pragma once
#include "dsp/cpuVariant.h"
#include <gtest/gtest.h>
#include <algorithm>
#include <complex>
#include <random>
#include <string>
#include <vector>

namespace larch::testing {

using cdouble = std::complex<double>;

inline std::vector<cdouble> noise(std::size_t count, unsigned seed) {
  std::mt19937 generator(seed);
  std::uniform_real_distribution<double> uniform(-1, 1);
  std::vector<cdouble> result(count);
  for (cdouble& x : result) {
    const double re = uniform(generator);
    x = {re, uniform(generator)};
  }
  return result;
}

// The largest distance of two samples with the same index; a difference in length counts as infinite.
inline double worst(const std::vector<cdouble>& a, const std::vector<cdouble>& b) {
  if (a.size() != b.size()) return HUGE_VAL;
  double result = 0;
  for (std::size_t i = 0; i < b.size(); i++) result = std::max(result, std::abs(a[i] - b[i]));
  return result;
}

// A test body for each compiled variant by name; one that this processor lacks is named and skipped.
class variantTest : public ::testing::TestWithParam<cpuVariant> {
 protected:
  void SetUp() override {
    if (!variantAvailable(GetParam())) GTEST_SKIP() << "this processor has no " << variantName(GetParam());
  }
};

inline auto allVariants() { return ::testing::ValuesIn(compiledVariants().begin(), compiledVariants().end()); }

inline std::string variantTestName(const ::testing::TestParamInfo<cpuVariant>& info) { return variantName(info.param); }

} // namespace larch::testing
