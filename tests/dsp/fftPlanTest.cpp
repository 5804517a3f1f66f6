#include "dsp/fftPlan.h"
#include "tests/dsp/kernelTesting.h"
#include <gtest/gtest.h>
#include <fftw3.h>
#include <cmath>
#include <vector>

using namespace larch;
using namespace larch::testing;

namespace {

std::vector<cdouble> oracle(std::vector<cdouble> x, int sign) {
  std::vector<cdouble> y(x.size());
  fftw_plan plan = fftw_plan_dft_1d(static_cast<int>(x.size()), reinterpret_cast<fftw_complex*>(x.data()),
                                    reinterpret_cast<fftw_complex*>(y.data()), sign, FFTW_ESTIMATE);
  fftw_execute(plan);
  fftw_destroy_plan(plan);
  return y;
}

class fftPlanTest : public variantTest {};

} // namespace

TEST_P(fftPlanTest, agreesWithTheOracleAtEveryLength) {
  for (uint32_t n = 1; n <= 65536; n *= 2) {
    fftPlan plan(n, GetParam());
    const auto x = noise(n, n);
    std::vector<cdouble> out(n);
    plan.forward(x.data(), out.data());
    EXPECT_LT(worst(out, oracle(x, FFTW_FORWARD)), 1e-14 * n) << n;
    plan.inverse(x.data(), out.data());
    EXPECT_LT(worst(out, oracle(x, FFTW_BACKWARD)), 1e-14 * n) << n;
  }
}

TEST_P(fftPlanTest, worksInPlaceOnUnalignedMemory) {
  for (uint32_t n = 1; n <= 4096; n *= 2) {
    fftPlan plan(n, GetParam());
    const auto x = noise(n, n);
    std::vector<double> memory(2 * n + 1);
    auto* block = reinterpret_cast<cdouble*>(memory.data() + 1);
    std::copy(x.begin(), x.end(), block);
    plan.forward(block, block);
    EXPECT_LT(worst({block, block + n}, oracle(x, FFTW_FORWARD)), 1e-14 * n) << n;
    std::copy(x.begin(), x.end(), block);
    plan.inverse(block, block);
    EXPECT_LT(worst({block, block + n}, oracle(x, FFTW_BACKWARD)), 1e-14 * n) << n;
  }
}

TEST_P(fftPlanTest, singleToneFillsItsBinAlone) {
  constexpr uint32_t n = 1024, bin = 77;
  fftPlan plan(n, GetParam());
  std::vector<cdouble> x(n);
  for (uint32_t i = 0; i < n; i++) x[i] = std::polar(1.0, 2 * M_PI * bin * i / n);
  plan.forward(x.data(), x.data());
  for (uint32_t k = 0; k < n; k++) EXPECT_NEAR(std::abs(x[k]), k == bin ? n : 0, 1e-10) << k;
}

INSTANTIATE_TEST_SUITE_P(variants, fftPlanTest, allVariants(), variantTestName);

TEST(turnOfTest, isExactToTheLastBits) {
  for (uint64_t n : {1u, 2u, 8u, 1024u, 32768u})
    for (uint64_t k = 0; k < 2 * n; k++) {
      const long double angle = 2 * M_PIl * static_cast<long double>(k % n) / static_cast<long double>(n);
      EXPECT_NEAR(turnOf(k, n).real(), static_cast<double>(cosl(angle)), 1.2e-16);
      EXPECT_NEAR(turnOf(k, n).imag(), static_cast<double>(-sinl(angle)), 1.2e-16);
    }
}
