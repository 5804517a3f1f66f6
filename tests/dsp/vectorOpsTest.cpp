#include "dsp/vectorOps.h"
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>

namespace larch {
namespace {

using sample = std::complex<double>;

class vectorOpsTest : public testing::TestWithParam<uint64_t> {
 protected:
  static constexpr double untouched = 12345;
  const uint64_t n = GetParam();
  std::mt19937 random{static_cast<unsigned>(n) + 1};

  cbuff noise() {
    std::normal_distribution<double> value;
    cbuff b(n);
    for (uint64_t i = 0; i < n; i++) b.data[i] = {value(random), value(random)};
    return b;
  }
  cbuff longer() const { return cbuff(n + 3, untouched); }

  // Element i of `out` is expected(i), three more behind are as they were, and the view given back is out itself.
  template <class Expected> void check(const cbuff& given, const cbuff& out, Expected expected) {
    ASSERT_EQ(given.data, out.data);
    ASSERT_EQ(given.count, n + 3);
    for (uint64_t i = 0; i < n; i++) near(out.data[i], expected(i), i);
    for (uint64_t i = n; i < n + 3; i++) ASSERT_EQ(out.data[i], sample(untouched));
  }
  static void near(sample a, sample b, uint64_t i) { ASSERT_LE(std::abs(a - b), 1e-14 * (1 + std::abs(b))) << i; }
};
INSTANTIATE_TEST_SUITE_P(lengths, vectorOpsTest, testing::Values(0, 1, 3, 7, 511, 512, 513));

TEST_P(vectorOpsTest, scaleMultipliesByANumber) {
  const auto a = noise(), out = longer();
  check(scale(a, -2.5, out), out, [&](uint64_t i) { return a.data[i] * -2.5; });
  const auto before = noise(), same = cbuff(n);
  before.copy(same);
  scale(same, 0.5, same);
  for (uint64_t i = 0; i < n; i++) ASSERT_EQ(same.data[i], before.data[i] * 0.5);
}

TEST_P(vectorOpsTest, applyWindowMultipliesByTheWindow) {
  const auto a = noise(), out = longer();
  buff<double> window(n);
  for (uint64_t i = 0; i < n; i++) window.data[i] = std::sin(0.1 * static_cast<double>(i));
  auto expected = [&](uint64_t i) { return a.data[i] * window.data[i]; };
  check(applyWindow(a, window, out), out, expected);
  const auto made = applyWindow(a, window);
  ASSERT_EQ(made.count, n);
  for (uint64_t i = 0; i < n; i++) near(made.data[i], expected(i), i);
  if (n > 0) {
    EXPECT_NE(made.data, a.data);
  }
}

TEST_P(vectorOpsTest, complexMultiplyIsTheComplexProduct) {
  const auto a = noise(), b = noise(), out = longer();
  check(complexMultiply(a, b, out), out, [&](uint64_t i) { return a.data[i] * b.data[i]; });
}

TEST_P(vectorOpsTest, complexMultiplyAddAddsTheProduct) {
  const auto a = noise(), b = noise(), out = longer();
  for (uint64_t i = 0; i < n; i++) out.data[i] = {static_cast<double>(i), -1.0};
  check(complexMultiplyAdd(a, b, out), out,
        [&](uint64_t i) { return sample(static_cast<double>(i), -1.0) + a.data[i] * b.data[i]; });
}

TEST_P(vectorOpsTest, limitUnitCutsMagnitudeAndKeepsPhase) {
  const auto a = noise(), out = longer();
  auto expected = [&](uint64_t i) { return std::abs(a.data[i]) > 1 ? std::polar(1.0, std::arg(a.data[i])) : a.data[i]; };
  check(limitUnit(a, out), out, expected);
  const auto peakOut = longer();
  double peak = -1, largest = 0;
  check(limitUnitPeak(a, peakOut, peak), peakOut, expected);
  for (uint64_t i = 0; i < n; i++) largest = std::max(largest, std::norm(a.data[i]));
  EXPECT_DOUBLE_EQ(peak, largest);
}

TEST_P(vectorOpsTest, peaksAreFoundAtEveryPlace) {
  for (uint64_t at = 0; at<n; at += n> 20 ? 37 : 1) {
    cbuff a(n, sample(0.25, -0.25));
    a.data[at] = {-3.0, 4.0};
    ASSERT_EQ(peakPower(a), 25.0) << at;
    ASSERT_EQ(peakMagnitude(a), 5.0) << at;
  }
}

TEST_P(vectorOpsTest, complexFromAudioIsRealAtMinusThreeDecibels) {
  buff<float> audio(n);
  for (uint64_t i = 0; i < n; i++) audio.data[i] = static_cast<float>(i) * 0.001f - 0.2f;
  const auto made = complexFromAudio(audio);
  ASSERT_EQ(made.count, n);
  for (uint64_t i = 0; i < n; i++) ASSERT_EQ(made.data[i], sample(0.707 * static_cast<double>(audio.data[i]), 0.0));
}

TEST_P(vectorOpsTest, fillSetsEveryElement) {
  const buff<float> whole(n + 2, 1.0f);
  const auto given = fill(slice(whole, 1, n), -0.5f);
  EXPECT_EQ(given.count, n);
  for (uint64_t i = 0; i < n + 2; i++) ASSERT_EQ(whole.data[i], i == 0 || i == n + 1 ? 1.0f : -0.5f);
}

TEST_P(vectorOpsTest, addScaledAddsTheSecondTimesAFactor) {
  const auto a = noise(), b = noise();
  const sample factor(0.3, -1.7);
  const auto made = addScaled(a, b, factor);
  ASSERT_EQ(made.count, n);
  for (uint64_t i = 0; i < n; i++) near(made.data[i], a.data[i] + factor * b.data[i], i);
}

TEST(vectorOpsEdgeTest, peaksOfNothingAreZero) {
  EXPECT_EQ(peakMagnitude(cbuff()), 0.0);
  EXPECT_EQ(peakPower(slice(cbuff(4, 9.0), 2, 0)), 0.0);
  double peak = 7;
  limitUnitPeak(cbuff(), cbuff(), peak);
  EXPECT_EQ(peak, 0.0);
}

TEST(vectorOpsEdgeTest, limitUnitLeavesMagnitudeOneAndMapsThreeFour) {
  const cbuff a(5);
  const sample values[] = {1.0, sample(3, 4), sample(0.6, 0.8), sample(0, -1), sample(-3e5, 0)};
  const sample limits[] = {1.0, sample(0.6, 0.8), sample(0.6, 0.8), sample(0, -1), sample(-1, 0)};
  std::copy(std::begin(values), std::end(values), a.data);
  limitUnit(a, a);
  for (int i = 0; i < 5; i++) EXPECT_EQ(a.data[i], limits[i]) << i;
}

TEST(vectorOpsEdgeTest, peaksPassOverWhatIsNoNumber) {
  const double none = std::numeric_limits<double>::quiet_NaN();
  for (uint64_t at = 0; at < 9; at++) {
    cbuff a(9, 2.0);
    a.data[at] = {none, 0.0};
    EXPECT_EQ(peakPower(a), 4.0) << at;
  }
}

} // namespace
} // namespace larch
