#include "dsp/filterDesign.h"
#include <cmath>
#include <gtest/gtest.h>
#include <numbers>

namespace larch {
namespace {

using sample = std::complex<double>;
using std::numbers::pi;
constexpr int32_t rate = 48000;

sample response(const cbuff& h, double frequency) { // to the baseband signal e^(+j 2 pi f t)
  sample sum = 0;
  for (uint64_t n = 0; n < h.count; n++) sum += h.data[n] * std::polar(1.0, -2 * pi * frequency / rate * static_cast<double>(n));
  return sum;
}
double magnitude_dB(const cbuff& h, double frequency) { return 20 * std::log10(std::abs(response(h, frequency)) + 1e-300); }

// One tap as an integral: the mean over the band of e^(-j 2 pi f t), times the band's share of the rate.
sample idealTap(double low, double high, double t) {
  const double width = (high - low) / rate, middle = (high + low) / 2 / rate, x = pi * width * t;
  return std::polar(1.0, -2 * pi * middle * t) * (width * (x == 0 ? 1.0 : std::sin(x) / x));
}

TEST(blackmanHarris7Test, isSymmetricPositiveAndAtMostOne) {
  for (int32_t n : {0, 1, 7, 511, 512, 513}) {
    const auto w = blackmanHarris7(n);
    ASSERT_EQ(w.count, static_cast<uint64_t>(n));
    double sum = 0;
    for (int32_t i = 0; i < n; i++) {
      ASSERT_NEAR(w.data[i], w.data[n - 1 - i], 1e-14);
      ASSERT_GT(w.data[i], 0.0);
      ASSERT_LE(w.data[i], 1.0 + 1e-14);
      sum += w.data[i];
    }
    if (n % 2) {
      EXPECT_NEAR(w.data[n / 2], 1.0, 5e-14) << "the terms' magnitudes sum to 1";
    }
    if (n > 7) {
      EXPECT_NEAR(sum / n, 0.27105140069342, 1e-13) << "full turns of the cosines cancel";
    }
  }
}

TEST(blackmanHarris7Test, hasItsPlacesBetweenTheIntegers) {
  const auto w = blackmanHarris7(4); // x: 45, 135, 225, 315 degrees
  const double c = std::sqrt(0.5);
  const double expected = 0.27105140069342 - 0.43329793923448 * c + 0.06592544638803 * c - 0.01081174209837 +
                          0.00077658482522 * c; // cos 3x: -c, cos 4x: -1, cos 5x: -c, cos 2x and 6x: 0
  EXPECT_NEAR(w.data[0], expected, 1e-15);
}

TEST(blackmanHarris7Test, sidelobesAreOneHundredEightyDecibelsDown) {
  constexpr int32_t n = 256;
  const auto w = blackmanHarris7(n);
  double worst = 0;
  for (int k = 0; k < 2000; k++) { // bins 8 to 128 in small steps
    const double bin = 8 + 120.0 * k / 2000;
    sample sum = 0;
    for (int i = 0; i < n; i++) sum += w.data[i] * std::polar(1.0, -2 * pi * bin * i / n);
    worst = std::max(worst, std::abs(sum) / (0.27105140069342 * n));
  }
  EXPECT_LT(20 * std::log10(worst), -179.0);
  EXPECT_GT(20 * std::log10(worst), -190.0);
}

TEST(makeBandpassTest, tapsAreTheBandsIntegralTimesTheWindow) {
  for (int32_t taps : {1, 2, 7, 64, 511, 512, 513, 1536}) {
    const auto w = blackmanHarris7(taps);
    for (auto [low, high] : {std::pair{300.0, 3000.0}, {-2700.0, 150.0}, {3100.0, 50.0}}) {
      const auto h = makeBandpass(low, high, rate, taps, taps + 5);
      ASSERT_EQ(h.count, static_cast<uint64_t>(taps) + 5);
      for (int32_t i = 0; i < taps; i++)
        ASSERT_LE(std::abs(h.data[i] - w.data[i] * idealTap(low, high, i - (taps - 1) / 2.0)), 2e-15) << taps << " " << i;
      for (int32_t i = taps; i < taps + 5; i++) ASSERT_EQ(h.data[i], 0.0);
    }
  }
}

TEST(makeBandpassTest, symmetricBandHasRealTapsAndUnitGain) {
  const auto h = makeBandpass(-3000, 3000, rate, 1536, 1536);
  for (uint64_t i = 0; i < h.count; i++) ASSERT_EQ(h.data[i].imag(), 0.0) << i;
  for (double f : {0.0, 10.0, -500.0}) EXPECT_NEAR(magnitude_dB(h, f), 0.0, 1e-6) << f;
}

TEST(makeBandpassTest, passesTheMirrorOfItsEdges) {
  const auto h = makeBandpass(300, 3000, rate, 1536, 1536);
  EXPECT_NEAR(magnitude_dB(h, -1500), 0.0, 1e-6);
  EXPECT_NEAR(magnitude_dB(h, -2800), 0.0, 0.01);
  EXPECT_LT(magnitude_dB(h, 1500), -170.0);
  EXPECT_LT(magnitude_dB(h, 0), -120.0);
  EXPECT_LT(magnitude_dB(h, -3300), -120.0);
  EXPECT_NEAR(magnitude_dB(h, -3000), -6.02, 0.01) << "half at the edge";
}

TEST(makeBandpassTest, edgesInReverseGiveTheOppositeSign) {
  const auto up = makeBandpass(50, 3100, rate, 1537, 1537), down = makeBandpass(3100, 50, rate, 1537, 1537);
  for (uint64_t i = 0; i < up.count; i++) ASSERT_EQ(down.data[i], -up.data[i]) << i;
}

TEST(makeBandpassTest, emptyBandIsNothing) {
  const auto h = makeBandpass(700, 700, rate, 513, 513);
  for (uint64_t i = 0; i < h.count; i++) ASSERT_EQ(std::abs(h.data[i]), 0.0);
}

TEST(makeSinc2048Test, isTheBandWithoutWindow) {
  const auto h = makeSinc2048(150, 2900);
  ASSERT_EQ(h.count, 2048u);
  for (int i = 0; i < 2048; i++) ASSERT_LE(std::abs(h.data[i] - idealTap(150, 2900, i - 1023.5)), 1e-15) << i;
}

TEST(minimumPhaseTest, movesZerosIntoTheUnitCircle) {
  const cbuff h(3);
  for (auto [second, first, after] : {std::tuple{sample(2.0), sample(2.0), sample(1.0)}, // 1 + 2/z to 2 + 1/z
                                      {sample(0, 2.0), sample(2.0), sample(0, 1.0)},     // 1 + 2j/z to 2 + j/z
                                      {sample(0.5), sample(1.0), sample(0.5)}}) {        // already least
    h.data[0] = 1.0;
    h.data[1] = second;
    h.data[2] = 0.0;
    const auto least = minimumPhase(h);
    ASSERT_EQ(least.count, 3u);
    EXPECT_LE(std::abs(least.data[0] - first), 1e-12);
    EXPECT_LE(std::abs(least.data[1] - after), 1e-12);
    EXPECT_LE(std::abs(least.data[2]), 1e-12);
  }
}

TEST(minimumPhaseTest, keepsTheMagnitudeAndComesEarlier) {
  const auto h = makeBandpass(300, 3000, rate, 1536, 1536), least = minimumPhase(h);
  ASSERT_EQ(least.count, h.count);
  for (double f = -6000; f <= 6000; f += 97) EXPECT_NEAR(std::abs(response(least, f)), std::abs(response(h, f)), 1e-4) << f;
  auto centre = [](const cbuff& x) {
    double weight = 0, sum = 0;
    for (uint64_t i = 0; i < x.count; i++) {
      weight += std::norm(x.data[i]);
      sum += std::norm(x.data[i]) * static_cast<double>(i);
    }
    return sum / weight;
  };
  EXPECT_NEAR(centre(h), 767.5, 1e-6);
  EXPECT_LT(centre(least), 200.0);
}

TEST(minimumPhaseTest, filterOfZerosStaysFinite) {
  const auto least = minimumPhase(cbuff(512, 0.0));
  for (uint64_t i = 0; i < least.count; i++) ASSERT_LE(std::abs(least.data[i]), 1e-200);
  EXPECT_EQ(minimumPhase(cbuff()).count, 0u);
}

} // namespace
} // namespace larch
