#include "modes/pskFilters.h"
#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <numbers>
#include <random>
#include <vector>

using namespace larch;

namespace {

// Magnitude at a frequency in cycles per sample.
template <size_t size> double response(const std::array<double, size>& doubled, double frequency) {
  std::complex<double> sum = 0;
  for (size_t k = 0; k < size / 2; k++)
    sum += doubled[k] * std::polar(1.0, -2 * std::numbers::pi * frequency * static_cast<double>(k));
  return std::abs(sum);
}

template <size_t size> double sum(const std::array<double, size>& doubled) {
  double total = 0;
  for (size_t k = 0; k < size / 2; k++) total += doubled[k];
  return total;
}

template <size_t size> void expectSymmetricAndDoubled(const std::array<double, size>& filter) {
  for (size_t k = 0; k < size / 2; k++) {
    EXPECT_EQ(filter[k], filter[size / 2 - 1 - k]) << k;
    EXPECT_EQ(filter[k], filter[size / 2 + k]) << k;
  }
}

} // namespace

TEST(pskFiltersTest, tablesAreSymmetricAndStandTwice) {
  expectSymmetricAndDoubled(decimationFilter);
  expectSymmetricAndDoubled(frequencyFilter);
  expectSymmetricAndDoubled(bitFilter);
}

TEST(pskFiltersTest, middleTapsAreTheLargest) {
  EXPECT_EQ(decimationFilter[17], 0.12413413);
  EXPECT_EQ(decimationFilter[0], -0.00021203644);
  EXPECT_EQ(frequencyFilter[32], 0.12580366);
  EXPECT_EQ(frequencyFilter[24], -0.00026078671);
  EXPECT_EQ(bitFilter[32], 0.080420311);
  EXPECT_EQ(bitFilter[0], 4.3453566e-05);
}

// The sums of the taps as they are written, added up by other means: a mistyped digit moves one of them.
TEST(pskFiltersTest, tapsAddUp) {
  EXPECT_NEAR(sum(decimationFilter), 1.0006017028, 1e-10);
  EXPECT_NEAR(sum(frequencyFilter), 1.03534000688, 1e-10);
  EXPECT_NEAR(sum(bitFilter), 0.854064351412, 1e-10);
}

// In cycles per sample; a symbol is 16 samples of the matched filters, an idle signal lies at +-1/32.
TEST(pskFiltersTest, passTheSignal) {
  EXPECT_GT(response(decimationFilter, 0.02), 0.98);
  for (double f = 0; f <= 0.05; f += 0.001) EXPECT_GT(response(frequencyFilter, f), 0.94) << f;
  EXPECT_NEAR(response(bitFilter, 1 / 32.0), response(bitFilter, 0), 1e-5);
}

TEST(pskFiltersTest, stopWhatFoldsIntoIt) {
  for (double f = 0.13; f <= 0.5; f += 0.001) EXPECT_LT(response(decimationFilter, f), 8e-5) << f;
  for (double f = 0.09; f <= 0.5; f += 0.001) EXPECT_LT(response(frequencyFilter, f), 1e-3) << f;
  for (double f = 0.07; f <= 0.5; f += 0.001) EXPECT_LT(response(bitFilter, f), 6e-4) << f;
}

TEST(pskFiltersTest, aRingEqualsAConvolutionAtEachPlaceOfItsIndex) {
  std::mt19937 random(1);
  std::normal_distribution<double> normal(0, 1);
  iqRing<decimationTaps> ring;
  std::vector<iqSample> history(decimationTaps); // newest first
  for (int n = 0; n < 3 * decimationTaps; n++) {
    const iqSample s{normal(random), normal(random)};
    history.insert(history.begin(), s);
    ring.put(s);
    const iqSample out = filtered(decimationFilter, ring);
    ring.step();
    iqSample expected;
    for (size_t k = 0; k < decimationTaps; k++) {
      expected.i += decimationFilter[k] * history[k].i;
      expected.q += decimationFilter[k] * history[k].q;
    }
    ASSERT_NEAR(out.i, expected.i, 1e-12) << n;
    ASSERT_NEAR(out.q, expected.q, 1e-12) << n;
  }
}

// Symmetric taps can't tell a ring that runs the wrong way; a ramp of taps can.
TEST(pskFiltersTest, theNewestSampleMeetsTheFirstTap) {
  std::array<double, 2 * decimationTaps> ramp{};
  for (size_t k = 0; k < ramp.size(); k++) ramp[k] = static_cast<double>(k % decimationTaps);
  iqRing<decimationTaps> ring;
  for (int age = 0; age < 100; age++) {
    ring.put({age == 0 ? 1.0 : 0.0, age == 0 ? -2.0 : 0.0});
    const iqSample out = filtered(ramp, ring);
    ring.step();
    EXPECT_EQ(out.i, age < decimationTaps ? age : 0) << age;
    EXPECT_EQ(out.q, age < decimationTaps ? -2.0 * age : 0) << age;
  }
}

TEST(pskFiltersTest, indexDescendsAndWraps) {
  iqRing<matchedTaps> ring;
  EXPECT_EQ(ring.index, 64);
  for (int k = 0; k < 64; k++) ring.step();
  EXPECT_EQ(ring.index, 0);
  ring.step();
  EXPECT_EQ(ring.index, 64);
}
