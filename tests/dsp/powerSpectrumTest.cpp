#include "dsp/powerSpectrum.h"
#include "tests/dsp/kernelTesting.h"
#include <gtest/gtest.h>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

using namespace larch;
using namespace larch::testing;

namespace {

constexpr int points = powerSpectrum::points;

// The bin that the frame's rule gives point i, or -1 outside the band.
int binOf(int i, const powerSpectrum::band& b) {
  const double f = i * (b.high - b.low) * 0.00048828125 + b.low;
  if (f < static_cast<double>(b.inLow) || f >= static_cast<double>(b.inHigh)) return -1;
  const int k = static_cast<int>((f - static_cast<double>(b.inLow)) * 2048.0 / b.rate);
  int index = 1024 - k;
  if (k >= 1024) index += 2048;
  return index - 1;
}

powerSpectrum::band bandAround(int32_t centre, int32_t specFreq, int32_t rate, double zoom) {
  const double half = rate / 2.0 / zoom;
  return {specFreq - half, specFreq + half, int64_t{centre} - rate / 2, int64_t{centre} + rate / 2, rate};
}

// Half a last place of the float next to x.
double halfPlace(double x) { return std::ldexp(1.0, std::ilogb(std::max(std::abs(x), 1e-3)) - 24); }

class powerSpectrumTest : public variantTest {
 protected:
  void expectBins(const powerSpectrum::band& b) {
    std::vector<cdouble> bins(points);
    for (int k = 0; k < points; k++) bins[k] = std::polar(std::pow(10.0, k * 0.005), 0.1 * k); // each bin by its level
    powerSpectrum spectrum(GetParam());
    spectrum.setBand(b);
    std::vector<float> frame(points);
    spectrum.paint(bins.data(), frame.data());
    int inside = 0;
    for (int i = 0; i < points; i++) {
      const int bin = binOf(i, b);
      ASSERT_EQ(spectrum.isInside(i), bin >= 0) << i;
      if (bin < 0) continue;
      inside++;
      const double expected = 2 * 0.005 * bin + std::log10(10.0 / 2048 / 2048);
      ASSERT_NEAR(frame[i], expected, 1e-6) << i;
    }
    EXPECT_EQ(spectrum.pointsInside(), inside);
  }
};

} // namespace

TEST_P(powerSpectrumTest, logarithmsAreGoodToTheFloatFromDenormalToLargest) {
  std::mt19937 generator(5);
  std::uniform_real_distribution<double> exponent(-45, 38), mantissa(1, 10);
  std::vector<double> powers{0, 1e-45, 1e-40, 1e-39, 1e-38, 1.17549435e-38, 0.5, 0.70710678, 0.70710679, 1, 1.4142135, 2, 3e38};
  while (powers.size() < 20003) powers.push_back(mantissa(generator) * std::pow(10.0, exponent(generator)));
  for (double scale : {1.0, 10.0 / 2048 / 2048}) {
    std::vector<float> out(powers.size() + 1, 77.0f);
    logPowers(powers.data(), powers.size(), scale, out.data(), GetParam());
    EXPECT_EQ(out.back(), 77.0f);
    for (std::size_t i = 0; i < powers.size(); i++) {
      const auto argument = static_cast<float>(powers[i] * scale + 1e-38);
      if (!std::isfinite(argument)) continue;
      const double exact = std::log10(static_cast<double>(argument));
      ASSERT_NEAR(out[i], exact, 1e-9 + halfPlace(exact)) << powers[i];
      // libm's own result may be two last places off
      ASSERT_NEAR(out[i], std::log10(argument), 1e-9 + 5 * halfPlace(exact)) << powers[i];
    }
  }
}

TEST_P(powerSpectrumTest, everyLengthIsDoneToItsEnd) {
  for (std::size_t count : {0u, 1u, 7u, 8u, 9u, 511u, 512u, 513u}) {
    std::vector<double> powers(count);
    for (std::size_t i = 0; i < count; i++) powers[i] = std::pow(10.0, static_cast<double>(i % 30) - 15);
    std::vector<float> out(count + 1, 77.0f);
    logPowers(powers.data(), count, 1.0, out.data(), GetParam());
    for (std::size_t i = 0; i < count; i++) ASSERT_NEAR(out[i], static_cast<double>(i % 30) - 15, 1e-6) << count << ' ' << i;
    EXPECT_EQ(out[count], 77.0f);
  }
}

TEST_P(powerSpectrumTest, nothingReadsAsTheFloor) {
  const double nothing = 0;
  float out = 0;
  logPowers(&nothing, 1, 1.0, &out, GetParam());
  EXPECT_NEAR(out, -38.0f, 4e-6);
}

TEST_P(powerSpectrumTest, infiniteAndUndefinedPowersGiveThemselves) {
  const double powers[] = {HUGE_VAL, std::nan(""), 1e300, 4e38, 1};
  float out[5];
  logPowers(powers, 5, 1.0, out, GetParam());
  EXPECT_EQ(out[0], HUGE_VALF);
  EXPECT_TRUE(std::isnan(out[1]));
  EXPECT_EQ(out[2], HUGE_VALF);
  EXPECT_EQ(out[3], HUGE_VALF);
  EXPECT_EQ(out[4], 0.0f);
}

TEST_P(powerSpectrumTest, allVariantsGiveTheSameBits) {
  const auto bins = noise(points, 8);
  const auto b = bandAround(7100000, 7100000, 192000, 1);
  powerSpectrum spectrum(GetParam()), baseline(cpuVariant::baseline);
  std::vector<float> frame(points), expected(points);
  spectrum.setBand(b);
  baseline.setBand(b);
  spectrum.paint(bins.data(), frame.data());
  baseline.paint(bins.data(), expected.data());
  EXPECT_EQ(frame, expected);
}

TEST_P(powerSpectrumTest, wholeBandShowsTheMirroredBinsOneBeyondThePlainMirror) {
  const auto b = bandAround(7100000, 7100000, 192000, 1);
  EXPECT_EQ(binOf(0, b), 1023);
  EXPECT_EQ(binOf(1023, b), 0);
  EXPECT_EQ(binOf(1024, b), 2047);
  EXPECT_EQ(binOf(2047, b), 1024);
  for (int32_t rate : {48000, 96000, 192000, 384000, 1536000}) expectBins(bandAround(7100000, 7100000, rate, 1));
}

TEST_P(powerSpectrumTest, frameMovedAgainstTheBandLeavesPointsOutside) {
  for (int32_t offset : {-192000, -96000, -50001, -77, -1, 1, 13, 4711, 96000, 191999, 192000, 400000})
    expectBins(bandAround(7100000, 7100000 + offset, 192000, 1));
}

TEST_P(powerSpectrumTest, everySpanFollowsTheRule) {
  std::mt19937 generator(9);
  std::uniform_int_distribution<int32_t> frequency(0, 60000000), offset(-100000, 100000);
  std::uniform_real_distribution<double> zoom(0.02, 1);
  for (int i = 0; i < 60; i++) {
    const int32_t centre = frequency(generator), rate = 48000 << (i % 6);
    expectBins(bandAround(centre, centre + offset(generator), rate / (1 + i % 3), i % 4 ? zoom(generator) : 1));
  }
}

TEST_P(powerSpectrumTest, bandEndsBeforeItsUpperEnd) {
  const powerSpectrum::band b{0, 2048, 100, 2000, 2048}; // point i stands for i hertz
  expectBins(b);
  powerSpectrum spectrum(GetParam());
  spectrum.setBand(b);
  EXPECT_FALSE(spectrum.isInside(99));
  EXPECT_TRUE(spectrum.isInside(100));
  EXPECT_TRUE(spectrum.isInside(1999));
  EXPECT_FALSE(spectrum.isInside(2000));
}

TEST_P(powerSpectrumTest, newBandReplacesTheOldOne) {
  const auto bins = noise(points, 10);
  powerSpectrum used(GetParam()), fresh(GetParam());
  std::vector<float> frame(points), expected(points);
  used.setBand(bandAround(7100000, 7130000, 192000, 0.5));
  used.paint(bins.data(), frame.data());
  used.setBand(bandAround(3600000, 3600000, 96000, 1));
  fresh.setBand(bandAround(3600000, 3600000, 96000, 1));
  used.paint(bins.data(), frame.data());
  fresh.paint(bins.data(), expected.data());
  EXPECT_EQ(frame, expected);
}

TEST_P(powerSpectrumTest, bandThatIsNoneLeavesAllPointsOutside) {
  powerSpectrum spectrum(GetParam());
  EXPECT_EQ(spectrum.pointsInside(), 0);
  spectrum.setBand({std::nan(""), std::nan(""), 0, 100, 100});
  EXPECT_EQ(spectrum.pointsInside(), 0);
  spectrum.setBand({0, 1000, 500, 400, 100});
  EXPECT_EQ(spectrum.pointsInside(), 0);
  const auto bins = noise(points, 11);
  std::vector<float> frame(points);
  spectrum.paint(bins.data(), frame.data());
  EXPECT_NEAR(frame[0], -38.0f, 4e-6);
}

INSTANTIATE_TEST_SUITE_P(variants, powerSpectrumTest, allVariants(), variantTestName);
