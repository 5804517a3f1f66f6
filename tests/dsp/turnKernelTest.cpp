#include "dsp/turnKernel.h"
#include "tests/dsp/kernelTesting.h"
#include <cmath>

namespace larch::testing {
namespace {

class turnKernelTest : public variantTest {
 protected:
  static std::vector<double> turnsOf(cdouble previous, const std::vector<cdouble>& in, std::size_t offset = 0) {
    std::vector<double> turns(in.size() - offset + 1, 99.0);
    sampleTurns(previous, in.data() + offset, turns.data(), in.size() - offset, GetParam());
    EXPECT_EQ(turns.back(), 99.0) << "nothing beyond the count";
    turns.pop_back();
    return turns;
  }
};

double plainTurn(cdouble from, cdouble to) {
  const cdouble z = std::conj(from) * to;
  return std::atan2(z.imag(), z.real());
}

TEST_P(turnKernelTest, equalsTheLibrarysAngles) {
  for (std::size_t n : {0, 1, 2, 3, 7, 8, 9, 15, 16, 17, 511, 512, 513}) {
    for (std::size_t offset : {0, 1}) {
      const auto in = noise(n + offset, static_cast<unsigned>(n));
      const cdouble previous(-0.3, 0.4);
      const auto turns = turnsOf(previous, in, offset);
      for (std::size_t i = 0; i < n; i++)
        ASSERT_NEAR(turns[i], plainTurn(i > 0 ? in[i + offset - 1] : previous, in[i + offset]), 4e-15) << n << " " << i;
    }
  }
}

TEST_P(turnKernelTest, everyDirectionAndSmallTurnsKeepTheirDigits) {
  std::vector<cdouble> in;
  std::vector<double> expected;
  for (double turn :
       {1e-12, 1e-6, 0.01, 0.39, 0.3927, 0.4, 0.785398, 0.7854, 1.1, 1.17, 1.2, 1.5707, 1.571, 2.0, 2.36, 3.0, 3.14159}) {
    for (double side : {1.0, -1.0}) {
      in.emplace_back(2.5, 0.0);
      in.push_back(std::polar(1e-3, side * turn));
      expected.push_back(side * turn);
    }
  }
  const auto turns = turnsOf(1.0, in);
  for (std::size_t i = 0; i < expected.size(); i++)
    EXPECT_NEAR(turns[2 * i + 1], expected[i], 4e-16 * (1 + std::abs(expected[i]))) << expected[i];
}

TEST_P(turnKernelTest, axesAreExact) {
  const std::vector<cdouble> in{{1, 0}, {0, 1}, {0, -1}, {3, 3}, {-4, 4}, {-4, 4}};
  const double pi = 3.141592653589793;
  const std::vector<double> expected{0, pi / 2, pi, 3 * pi / 4, pi / 2, 0};
  const auto turns = turnsOf({2, 0}, in);
  for (std::size_t i = 0; i < in.size(); i++) EXPECT_NEAR(turns[i], expected[i], 5e-16) << i;
}

TEST_P(turnKernelTest, zeroIsNoTurnFromAnyQuadrant) {
  for (const cdouble& x : {cdouble(1, 1), cdouble(-1, 1), cdouble(-1, -1), cdouble(1, -1), cdouble(-1, 0)})
    for (const cdouble& zero : {cdouble(0.0, 0.0), cdouble(-0.0, -0.0), cdouble(0.0, -0.0)})
      for (std::size_t n : {3, 20}) {
        std::vector<cdouble> in(n, x);
        for (std::size_t i = 1; i < n; i += 2) in[i] = zero;
        for (double turn : turnsOf(zero, in)) ASSERT_EQ(turn, 0.0) << x;
      }
}

TEST_P(turnKernelTest, noNumbersSpoilTheirOwnAndTheNextTurnOnly) {
  for (double wild : {std::nan(""), HUGE_VAL}) {
    std::vector<cdouble> in(40, cdouble(0.5, 0.5));
    in[20] = {wild, 1.0};
    const auto turns = turnsOf(in[0], in);
    for (std::size_t i = 0; i < 40; i++) {
      if (i == 20 || i == 21) continue;
      EXPECT_EQ(turns[i], 0.0) << i;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(variants, turnKernelTest, allVariants(), variantTestName);

} // namespace
} // namespace larch::testing
