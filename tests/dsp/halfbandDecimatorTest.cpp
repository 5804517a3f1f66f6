#include "dsp/halfbandDecimator.h"
#include "tests/dsp/kernelTesting.h"
#include <gtest/gtest.h>
#include <cmath>
#include <limits>
#include <vector>

using namespace larch;
using namespace larch::testing;
using samples = std::vector<cdouble>;

namespace {

const std::vector<double> taps39{-3.62907885576887e-6, 4.02466442580786e-5, -0.000235834343041218, 0.000963902327396773,
                                 -0.003076553710626,   0.00818383132692986, -0.0190660145353977,   0.0410960724707912,
                                 -0.0907564864768072,  0.312854461452131};
const std::vector<double> taps19{0.000333811843036611, -0.00353395473118229, 0.0185252451861531, -0.0689599668906186,
                                 0.303634864592664};
const std::vector<double> taps11{0.00622556206707906, -0.0499000904333449, 0.293674528365953};

cbuff toBuff(const samples& x) {
  cbuff result(x.size());
  std::copy(x.begin(), x.end(), result.data);
  return result;
}

// All taps of a stage from the outer half of its taps at even offsets.
std::vector<double> wholeTaps(const std::vector<double>& half) {
  std::vector<double> h(4 * half.size() - 1);
  for (std::size_t k = 0; k < half.size(); k++) h[2 * k] = h[h.size() - 1 - 2 * k] = half[k];
  h[h.size() / 2] = 0.5;
  return h;
}

// y[m] = sum h[k] x[2m + 1 - lag - k], the definition of one stage.
samples halved(const samples& x, const std::vector<double>& h, int lag) {
  samples y(x.size() / 2);
  for (std::size_t m = 0; m < y.size(); m++)
    for (std::size_t k = 0; k < h.size(); k++) {
      const long at = static_cast<long>(2 * m) + 1 - lag - static_cast<long>(k);
      if (at >= 0) y[m] += h[k] * x[at];
    }
  return y;
}

samples mixed(const samples& x, double step, double start = 0) {
  samples y(x.size());
  for (std::size_t n = 0; n < x.size(); n++) y[n] = x[n] * std::polar(1.0, start - step * static_cast<double>(n + 1));
  return y;
}

samples chain(samples x, int ratio) {
  for (int v = ratio / 4; v > 1; v /= 2) x = halved(x, wholeTaps(taps11), v);
  if (ratio > 2) x = halved(x, wholeTaps(taps19), 1);
  if (ratio > 1) x = halved(x, wholeTaps(taps39), 1);
  return x;
}

samples run(halfbandDecimator& decimator, double step, int ratio, const samples& x, std::size_t room = 1u << 20) {
  const cbuff out(std::min(room, x.size() + 8), cdouble(77, 78));
  const uint64_t count = decimator.process(step, ratio, out, toBuff(x));
  for (uint64_t i = count; i < out.count; i++) EXPECT_EQ(out.data[i], cdouble(77, 78)) << "beyond the outputs";
  return samples(out.data, out.data + count);
}

void expectNear(const samples& got, const samples& expected, double limit = 1e-11) {
  ASSERT_EQ(got.size(), expected.size());
  for (std::size_t i = 0; i < got.size(); i++) ASSERT_LT(std::abs(got[i] - expected[i]), limit) << i;
}

class halfbandDecimatorTest : public variantTest {};

} // namespace

TEST_P(halfbandDecimatorTest, isTheChainOfItsDefinitionAtEveryRatio) {
  for (int ratio = 1; ratio <= 2048; ratio *= 2) {
    const samples x = noise(16384, 1);
    halfbandDecimator mixing(GetParam()), plain(GetParam());
    expectNear(run(mixing, 0.3, ratio, x), chain(mixed(x, 0.3), ratio));
    expectNear(run(plain, 0.0, ratio, x), chain(x, ratio));
  }
}

TEST_P(halfbandDecimatorTest, manyBlocksEqualOneBlock) {
  const samples x = noise(32768, 3);
  for (int ratio : {1, 2, 4, 8, 16, 32, 64, 1024}) {
    halfbandDecimator once(GetParam()), often(GetParam());
    const samples expected = run(once, -1.1, ratio, x);
    samples got;
    std::size_t length = ratio;
    for (std::size_t at = 0; at < x.size(); at += length, length = (length * 3 + ratio) % 5000 / ratio * ratio + ratio) {
      length = std::min(length, x.size() - at);
      const samples part = run(often, -1.1, ratio, samples(x.begin() + at, x.begin() + at + length));
      got.insert(got.end(), part.begin(), part.end());
    }
    expectNear(got, expected);
  }
}

TEST_P(halfbandDecimatorTest, oddLengthsDropTheRestOfTheInput) {
  for (int ratio : {1, 2, 4, 8, 16, 32})
    for (std::size_t length : {0u, 1u, 7u, 31u, 33u, 511u, 512u, 513u, 1537u}) {
      halfbandDecimator decimator(GetParam());
      const samples first = noise(length, 5), second = noise(length, 6);
      const std::size_t used = length / ratio * ratio;
      samples x(first.begin(), first.begin() + used);
      x.insert(x.end(), second.begin(), second.begin() + used);
      samples got = run(decimator, 0.7, ratio, first);
      const samples more = run(decimator, 0.7, ratio, second);
      got.insert(got.end(), more.begin(), more.end());
      expectNear(got, chain(mixed(x, 0.7), ratio));
    }
}

TEST_P(halfbandDecimatorTest, sevenSamplesAtRatioTwoGiveThreeOutputs) {
  halfbandDecimator decimator(GetParam());
  EXPECT_EQ(run(decimator, 0.0, 2, noise(7, 1)).size(), 3u);
  EXPECT_EQ(run(decimator, 0.1, 2, noise(7, 1)).size(), 3u);
}

TEST_P(halfbandDecimatorTest, changingStepsTurnOnFromThePhaseReached) {
  const samples x = noise(6000, 7);
  samples turned;
  double angle = 0;
  const double steps[] = {0.2, -2.5, 3.1, 0.2, 1e-7};
  for (int i = 0; i < 5; i++) {
    const samples part = mixed(samples(x.begin() + 1200 * i, x.begin() + 1200 * (i + 1)), steps[i], angle);
    turned.insert(turned.end(), part.begin(), part.end());
    angle -= steps[i] * 1200;
  }
  for (int ratio : {1, 2, 4, 8, 16}) {
    halfbandDecimator decimator(GetParam());
    samples got;
    for (int i = 0; i < 5; i++) {
      const samples part = run(decimator, steps[i], ratio, samples(x.begin() + 1200 * i, x.begin() + 1200 * (i + 1)));
      got.insert(got.end(), part.begin(), part.end());
    }
    expectNear(got, chain(turned, ratio));
  }
}

TEST_P(halfbandDecimatorTest, stepOfZeroKeepsThePhaseAndMixesNothing) {
  halfbandDecimator decimator(GetParam());
  run(decimator, 0.4, 4, noise(512, 1));
  const cdouble before = decimator.phase();
  EXPECT_NE(before, cdouble(1, 0));
  run(decimator, 0.0, 4, noise(512, 1));
  EXPECT_EQ(decimator.phase(), before);
  const cbuff out(128);
  decimator.decimate(4, out, toBuff(noise(512, 1)));
  EXPECT_EQ(decimator.phase(), before);
}

TEST_P(halfbandDecimatorTest, mixedAndUnmixedBlocksShareTheChain) {
  const samples a = noise(1024, 8), b = noise(1024, 9);
  samples x = mixed(a, 0.9);
  x.insert(x.end(), b.begin(), b.end());
  const samples c = mixed(a, 0.9, -0.9 * 1024);
  x.insert(x.end(), c.begin(), c.end());
  for (int ratio : {2, 4, 8, 32}) {
    halfbandDecimator decimator(GetParam());
    samples got = run(decimator, 0.9, ratio, a);
    for (const samples& part : {run(decimator, 0.0, ratio, b), run(decimator, 0.9, ratio, a)})
      got.insert(got.end(), part.begin(), part.end());
    expectNear(got, chain(x, ratio));
  }
}

TEST_P(halfbandDecimatorTest, stagesHoldTheHistoriesOfTheirRatio) {
  using list = std::vector<int32_t>;
  const std::pair<int32_t, list> expected[] = {
      {2, {38}}, {4, {38, 18}}, {8, {38, 18, 11}}, {16, {38, 18, 13, 11}}, {32, {38, 18, 17, 13, 11}}, {1, {}}};
  halfbandDecimator decimator(GetParam());
  for (const auto& [ratio, histories] : expected) {
    run(decimator, 0.0, ratio, noise(64, 1));
    EXPECT_EQ(decimator.histories(), histories) << ratio;
  }
}

TEST_P(halfbandDecimatorTest, changedRatioStartsAfreshFromZero) {
  const samples x = noise(4096, 10);
  for (int ratio : {2, 4, 8, 16}) {
    halfbandDecimator decimator(GetParam());
    run(decimator, 0.0, ratio, x);
    run(decimator, 0.0, ratio == 4 ? 2 : 4, x);
    expectNear(run(decimator, 0.0, ratio, x), chain(x, ratio));
  }
}

TEST_P(halfbandDecimatorTest, ratioThreeGivesNothing) {
  halfbandDecimator decimator(GetParam());
  EXPECT_TRUE(run(decimator, 0.0, 3, noise(600, 1)).empty());
  EXPECT_TRUE(run(decimator, 0.2, 3, noise(600, 1)).empty());
}

TEST_P(halfbandDecimatorTest, ratiosBelowOneGiveNothing) {
  halfbandDecimator decimator(GetParam());
  for (int ratio : {0, -1, -4, std::numeric_limits<int>::min()}) {
    EXPECT_TRUE(run(decimator, 0.0, ratio, noise(600, 1)).empty());
    EXPECT_TRUE(run(decimator, 0.2, ratio, noise(600, 1)).empty());
  }
}

TEST_P(halfbandDecimatorTest, ratiosThatAreNoPowerOfTwoStayWithinInputByRatio) {
  for (int ratio : {5, 6, 7, 9, 12, 100, 1000, 1365, 600, 601}) {
    halfbandDecimator decimator(GetParam());
    const samples x = noise(1200, 1);
    EXPECT_EQ(run(decimator, 0.0, ratio, x).size(), x.size() / ratio) << ratio;
    EXPECT_EQ(run(decimator, 0.2, ratio, x).size(), x.size() / ratio) << ratio;
  }
}

TEST_P(halfbandDecimatorTest, ratioBeyondTheInputGivesNothing) {
  for (int ratio : {2048, 1 << 20, 1 << 30, std::numeric_limits<int>::max()}) {
    halfbandDecimator decimator(GetParam());
    EXPECT_TRUE(run(decimator, 0.0, ratio, noise(1000, 1)).empty()) << ratio;
    EXPECT_TRUE(run(decimator, 0.1, ratio, noise(1000, 1)).empty()) << ratio;
  }
}

TEST_P(halfbandDecimatorTest, outputsEndWhereTheRoomEnds) {
  for (int ratio : {1, 2, 4, 8, 32})
    for (std::size_t room : {0u, 1u, 5u, 17u}) {
      const samples x = noise(2048, 1);
      halfbandDecimator mixing(GetParam()), plain(GetParam());
      samples expected = chain(mixed(x, 0.2), ratio);
      expected.resize(room);
      expectNear(run(mixing, 0.2, ratio, x, room), expected);
      EXPECT_EQ(run(plain, 0.0, ratio, x, room).size(), room);
    }
}

TEST_P(halfbandDecimatorTest, stepThatIsNoNumberMixesNothing) {
  for (double step : {std::nan(""), HUGE_VAL, -HUGE_VAL}) {
    halfbandDecimator decimator(GetParam());
    const samples x = noise(512, 1);
    expectNear(run(decimator, step, 4, x), chain(x, 4));
    EXPECT_EQ(decimator.phase(), cdouble(1, 0));
  }
}

TEST_P(halfbandDecimatorTest, phaseKeepsItsMagnitudeOverALongRun) {
  const cbuff in = toBuff(noise(2, 1)), out(1);
  for (double step : {0.123456, -1.7, 3.0, 0.01}) {
    halfbandDecimator decimator(GetParam());
    for (int i = 0; i < 50000; i++) decimator.process(step, 2, out, in);
    EXPECT_NEAR(std::abs(decimator.phase()), 1.0, 1e-15) << step;
  }
}

TEST_P(halfbandDecimatorTest, outputMayBeTheInputsMemory) {
  const samples x = noise(2048, 11);
  for (int ratio : {1, 2, 8, 1024}) {
    halfbandDecimator apart(GetParam()), inPlace(GetParam());
    const samples expected = run(apart, 0.3, ratio, x);
    const cbuff block = toBuff(x);
    const uint64_t count = inPlace.process(0.3, ratio, block, block);
    expectNear(samples(block.data, block.data + count), expected);
  }
}

TEST_P(halfbandDecimatorTest, hugeStepIsTakenModuloATurn) {
  const double step = 1e18;
  const samples x = noise(1024, 12);
  halfbandDecimator huge(GetParam()), small(GetParam());
  expectNear(run(huge, step, 4, x), run(small, std::atan2(std::sin(step), std::cos(step)), 4, x));
  EXPECT_TRUE(std::isfinite(run(huge, 1e308, 4, x).back().real()));
}

INSTANTIATE_TEST_SUITE_P(variants, halfbandDecimatorTest, allVariants(), variantTestName);
