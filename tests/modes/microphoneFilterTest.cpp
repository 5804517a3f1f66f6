#include "modes/microphoneFilter.h"
#include "audio/Wireless.h"
#include "dsp/filterDesign.h"
#include "tests/modes/microphoneFilterGolden.h"
#include "tests/runtime/testGroup.h"
#include <gtest/gtest.h>

namespace larch::test {
namespace {

constexpr double pi = 3.141592653589793;

buff<float> flat(float gain) { return buff<float>(1024, gain); }

// Gain for a signal at displayed frequency f.
double gainAt(const cbuff& taps, double f) {
  std::complex<double> sum = 0;
  for (uint64_t i = 0; i < taps.count; i++) sum += taps.data[i] * std::polar(1.0, 2 * pi * f / 48000 * static_cast<double>(i));
  return std::abs(sum);
}

TEST(microphoneFilterTest, tapsEqualTheFormulas) {
  buff<float> curve(1024);
  for (int k = 0; k < 1024; k++) curve.data[k] = static_cast<float>(0.25 + (k * 37 % 101) / 50.0);
  for (const goldenTap& g : goldenTaps) {
    const cbuff taps = equalisedFilter(g.low, g.high, curve);
    ASSERT_EQ(taps.count, 2048u);
    // the curve is single precision
    EXPECT_NEAR(taps.data[g.index].real(), g.re, 1e-8) << g.low << " " << g.index;
    EXPECT_NEAR(taps.data[g.index].imag(), g.im, 1e-8) << g.low << " " << g.index;
  }
}

TEST(microphoneFilterTest, flatCurveIsTheWindowedBandpass) {
  for (auto [low, high] : {std::pair{300.0, 2800.0}, {-2800.0, -300.0}, {3100.0, 50.0}, {-500.0, 500.0}}) {
    const cbuff equalised = equalisedFilter(low, high, flat(1.0f)), plain = makeBandpass(low, high, 48000, 2048, 2048);
    for (uint64_t i = 0; i < 2048; i++) ASSERT_LT(std::abs(equalised.data[i] - plain.data[i]), 1e-12) << low << " " << i;
  }
}

TEST(microphoneFilterTest, edgesTheWrongWayRoundHaveNoBinForTheCurve) {
  const cbuff loud = equalisedFilter(3100, 50, flat(100.0f)), plain = makeBandpass(3100, 50, 48000, 2048, 2048);
  for (uint64_t i = 0; i < 2048; i++) ASSERT_LT(std::abs(loud.data[i] - plain.data[i]), 1e-12);
}

TEST(microphoneFilterTest, curveShapesBothSidebandsAlike) {
  buff<float> curve(1024);
  for (int k = 0; k < 1024; k++) curve.data[k] = k < 64 ? 1.0f : 0.25f; // a step at 1500 Hz
  for (double side : {1.0, -1.0}) {
    const cbuff taps = side > 0 ? equalisedFilter(300, 2800, curve) : equalisedFilter(-2800, -300, curve);
    EXPECT_NEAR(gainAt(taps, side * 800), 1.0, 0.01);
    EXPECT_NEAR(gainAt(taps, side * 2200), 0.25, 0.01);
    EXPECT_LT(gainAt(taps, -side * 800), 1e-3);
  }
}

TEST(microphoneFilterTest, binZeroUsesTheCurvesFirstValue) {
  buff<float> curve = flat(1.0f);
  curve.data[0] = 3.0f;
  // bins 0 and 2047 (23.4 Hz) share it
  const cbuff taps = equalisedFilter(-3000, 3000, curve), plain = makeBandpass(-3000, 3000, 48000, 2048, 2048);
  EXPECT_GT(gainAt(taps, 0), 1.5 * gainAt(plain, 0));
}

TEST(microphoneFilterTest, withoutAStationTheEqualiserIsFlat) {
  ASSERT_EQ(Wireless::current(), nullptr);
  const cbuff equalised = microphoneFilter(300, 2800, true), plain = microphoneFilter(300, 2800, false);
  for (uint64_t i = 0; i < 2048; i++) ASSERT_LT(std::abs(equalised.data[i] - plain.data[i]), 1e-12);
}

TEST(microphoneFilterTest, stationsCurveIsUsedWhenWanted) {
  testGroup env;
  const auto wireless = keptByCore(Wireless::create(env.group));
  wireless->Init();
  for (const auto& row : wireless->DefaultMicEQ.items) {
    keptByCore(row);
    row->outp.set(0.5);
  }
  EXPECT_NEAR(gainAt(microphoneFilter(300, 2800, true), 1500), 0.5, 1e-3);
  EXPECT_NEAR(gainAt(microphoneFilter(300, 2800, false), 1500), 1.0, 1e-3);
}

} // namespace
} // namespace larch::test
