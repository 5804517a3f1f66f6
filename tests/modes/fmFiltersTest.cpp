// The filters of the speech modes against the formulas; the shaping that they share.
#include "modes/fmFilters.h"
#include "dsp/filterDesign.h"
#include "modes/microphoneFilter.h"
#include "modes/shapedFilter.h"
#include "tests/modes/amFmGolden.h"
#include <gtest/gtest.h>
#include <span>

namespace larch::test {
namespace {

constexpr double pi = 3.141592653589793;

buff<float> unevenCurve() {
  buff<float> curve(1024);
  for (int k = 0; k < 1024; k++) curve.data[k] = static_cast<float>(0.25 + (k * 37 % 101) / 50.0);
  return curve;
}

void expectTaps(const cbuff& taps, std::span<const goldenSample> golden, double within) {
  for (const goldenSample& g : golden) {
    ASSERT_LT(static_cast<uint64_t>(g.index), taps.count);
    EXPECT_NEAR(taps.data[g.index].real(), g.re, within) << g.index;
    EXPECT_NEAR(taps.data[g.index].imag(), g.im, within) << g.index;
  }
}

// Gain for a signal at displayed frequency f.
double gainAt(const cbuff& taps, double f) {
  std::complex<double> sum = 0;
  for (uint64_t i = 0; i < taps.count; i++) sum += taps.data[i] * std::polar(1.0, 2 * pi * f / 48000 * static_cast<double>(i));
  return std::abs(sum);
}

TEST(fmFiltersTest, microphoneTapsOfAmEqualTheFormulas) {
  const cbuff taps = equalisedFilter(300, 3000, unevenCurve());
  ASSERT_EQ(taps.count, 2048u);
  expectTaps(taps, amMicrophoneTaps, 1e-8); // the curve is single precision
}

TEST(fmFiltersTest, microphoneTapsOfFmEqualTheFormulas) {
  const cbuff taps = fmMicrophoneFilter(unevenCurve());
  ASSERT_EQ(taps.count, 2048u);
  expectTaps(taps, fmMicrophoneTaps, 1e-7);
}

TEST(fmFiltersTest, receiveTapsEqualTheFormulas) {
  const cbuff taps = fmReceiveFilter();
  ASSERT_EQ(taps.count, 1024u);
  expectTaps(taps, fmReceiveTaps, 1e-14);
}

TEST(fmFiltersTest, transmitRisesBySixDecibelsAnOctaveAndReceiveFalls) {
  const cbuff up = fmMicrophoneFilter(), down = fmReceiveFilter(); // no station: a flat curve
  for (double f : {600.0, 1200.0, 2400.0}) {
    EXPECT_NEAR(gainAt(up, f), f / 300, 0.01 * f / 300) << f;
    EXPECT_NEAR(gainAt(down, f), 300 / f, 0.03 * 300 / f) << f;
  }
  for (double f : {0.0, 3500.0, -1000.0}) {
    EXPECT_LT(gainAt(up, f), 1e-3) << f;
    EXPECT_LT(gainAt(down, f), 1e-3) << f;
  }
}

TEST(shapedFilterTest, gainOfOneIsTheWindowAlone) {
  const cbuff plain = makeSinc2048(-500, 2000), shaped = shapedFilter(plain, -500, 2000, [](double, int32_t) { return 1.0; });
  const buff<double> window = blackmanHarris7(2048);
  for (uint64_t i = 0; i < 2048; i++) ASSERT_LT(std::abs(shaped.data[i] - plain.data[i] * window.data[i]), 1e-12) << i;
}

TEST(shapedFilterTest, asksForTheBinsBetweenTheEdgesWithTheirFrequency) {
  std::vector<std::pair<double, int32_t>> asked;
  shapedFilter(cbuff(16, 1.0), -6000, 3000, [&](double f, int32_t bin) {
    asked.emplace_back(f, bin);
    return 1.0;
  });
  const std::vector<std::pair<double, int32_t>> expected{{0.0, 0}, {-3000.0, 1}, {-6000.0, 2}}; // 3000 itself is outside
  EXPECT_EQ(asked, expected);
}

} // namespace
} // namespace larch::test
