#include "sim/fadingSource.h"
#include <gtest/gtest.h>
#include "sim/morseSource.h"
#include "tests/sim/simHost.h"

using namespace larch::sim;
using larch::simtest::samples;

namespace {
std::shared_ptr<fadingSource> fadingCarrier(double depth_dB, double rate_Hz, uint64_t seed = 1) {
  return std::make_shared<fadingSource>(std::make_shared<carrierSource>(7e6, -30, 0.5), depth_dB, rate_Hz, seed);
}
} // namespace

TEST(fadingSourceTest, movesBetweenItsLevelAndItsDepth) {
  for (const double depth : {3.0, 20.0, 40.0}) {
    const auto source = fadingCarrier(depth, 0.5);
    samples z(400000);
    ASSERT_EQ(source->envelope({0, 1e-4, z.size()}, {}, z.data()), envelopeShape::varying);
    double lowest = 2, highest = 0;
    for (const auto& v : z) {
      lowest = std::min(lowest, std::abs(v));
      highest = std::max(highest, std::abs(v));
    }
    EXPECT_NEAR(20 * std::log10(highest), 0, 0.001) << depth;
    EXPECT_NEAR(20 * std::log10(lowest), -depth, 0.02) << depth;
  }
  EXPECT_EQ(fadingCarrier(3, 1)->level_dBFS(), -30);
}

TEST(fadingSourceTest, fadesAsOftenAsItIsTold) {
  const auto source = fadingCarrier(30, 2);
  int fades = 0;
  bool deep = false;
  for (int i = 0; i < 100000; ++i) {
    const double level = std::abs(source->pathGain(i * 1e-3)); // 100 s
    if (level < 0.2 && !deep) ++fades;
    deep = level < 0.2 || (deep && level < 0.5);
  }
  EXPECT_NEAR(fades, 200, 2);
}

TEST(fadingSourceTest, isAFunctionOfTimeAndSeed) {
  const auto one = fadingCarrier(20, 1, 5), same = fadingCarrier(20, 1, 5), other = fadingCarrier(20, 1, 6);
  samples whole(5000), parts(5000), different(5000);
  one->envelope({123.4, 1e-4, whole.size()}, {}, whole.data());
  for (size_t at = 0; at < parts.size(); at += 625)
    same->envelope({123.4 + 1e-4 * static_cast<double>(at), 1e-4, 625}, {}, parts.data() + at);
  other->envelope({123.4, 1e-4, different.size()}, {}, different.data());
  double apart = 0;
  for (size_t n = 0; n < whole.size(); ++n) {
    ASSERT_LT(std::abs(whole[n] - parts[n]), 1e-9) << n;
    const auto exact = one->pathGain(123.4 + 1e-4 * static_cast<double>(n)) * std::polar(1.0, 0.5);
    ASSERT_LT(std::abs(whole[n] - exact), 3e-5) << n;
    apart = std::max(apart, std::abs(whole[n] - different[n]));
  }
  EXPECT_GT(apart, 0.1);
}

TEST(fadingSourceTest, leavesTheRestOfTheSignalAlone) {
  const auto morse = std::make_shared<morseSource>(7e6, -20, morseSource::sending{"T", 12, 0, 1, 10});
  const fadingSource source(morse, 10, 1, 1);
  std::complex<double> v[4], plain[4];
  EXPECT_EQ(source.envelope({0.8, 1e-3, 4}, {}, v), envelopeShape::silent); // in the pause
  ASSERT_EQ(source.envelope({0.005, 1e-3, 4}, {}, v), envelopeShape::varying);
  ASSERT_EQ(morse->envelope({0.005, 1e-3, 4}, {}, plain), envelopeShape::varying);
  for (int n = 0; n < 4; ++n) EXPECT_LT(std::abs(v[n] - plain[n] * source.pathGain(0.005 + 1e-3 * n)), 1e-4);
  EXPECT_EQ(source.occupied().high_Hz, morse->occupied().high_Hz);
  EXPECT_EQ(source.fitsItself(), morse->fitsItself());
  EXPECT_EQ(source.describe(), morse->describe() + " fading 10 dB 1 Hz");
}
