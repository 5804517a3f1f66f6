#include "sim/powerSpectrum.h"
#include <random>
#include <gtest/gtest.h>

using namespace larch::sim;

namespace {
std::vector<std::complex<float>> tones(const std::vector<double>& frequencies, size_t count, double amplitude = 1) {
  std::mt19937 random(7);
  std::vector<double> phases;
  for (size_t i = 0; i < frequencies.size(); ++i) phases.push_back(static_cast<double>(random() % 1000) / 500 * M_PI);
  std::vector<std::complex<float>> z(count);
  for (size_t n = 0; n < count; ++n)
    for (size_t i = 0; i < frequencies.size(); ++i)
      z[n] += std::complex<float>(std::polar(amplitude, 2 * M_PI * frequencies[i] * static_cast<double>(n) + phases[i]));
  return z;
}
constexpr double bin = 1.0 / powerSpectrum::length;
} // namespace

TEST(powerSpectrumTest, transformIsTheSum) {
  std::mt19937 random(1);
  for (const size_t count : {1u, 2u, 8u, 256u}) {
    std::vector<std::complex<double>> z(count);
    for (auto& v : z) v = {static_cast<double>(random() % 1000), static_cast<double>(random() % 1000)};
    auto y = z;
    transform(y);
    for (size_t k = 0; k < count; ++k) {
      std::complex<double> sum = 0;
      for (size_t n = 0; n < count; ++n)
        sum += z[n] * std::polar(1.0, -2 * M_PI * static_cast<double>(k * n % count) / static_cast<double>(count));
      ASSERT_LT(std::abs(y[k] - sum), 1e-7 * static_cast<double>(count)) << count << " " << k;
    }
  }
}

TEST(powerSpectrumTest, aCarrierIsAsWideAsTheResolution) {
  // on a bin the window gives it and its neighbours 2/3 and 1/6 of the power each; 0.5 % are 0.03 of an outer one
  for (const double k : {0.0, 1.0, -100.0, 2000.0}) {
    powerSpectrum s;
    s.add(tones({k * bin}, 20000));
    EXPECT_NEAR(s.occupied().low, (k - 1.5 + 0.03) * bin, 1e-3 * bin);
    EXPECT_NEAR(s.occupied().high, (k + 1.5 - 0.03) * bin, 1e-3 * bin);
  }
  EXPECT_NEAR(2.94 * bin * 48000, 34.5, 0.05); // what the header promises
  powerSpectrum between;
  between.add(tones({0.1 + 0.5 * bin}, 20000));
  EXPECT_LT(between.occupied().high - between.occupied().low, 4 * bin);
}

TEST(powerSpectrumTest, bandHoldsItsShareOfManyTones) {
  std::vector<double> hundred; // 100 tones 10 bins apart
  for (int i = 0; i < 100; ++i) hundred.push_back((10 * i - 300) * bin);
  powerSpectrum s;
  s.add(tones(hundred, 100000, 0.05));
  EXPECT_NEAR(s.occupied(0.9).low, (50 - 300) * bin, 10 * bin); // five of them lie below
  EXPECT_NEAR(s.occupied(0.9).high, (940 - 300) * bin, 10 * bin);
  EXPECT_NEAR(s.occupied().low, -300 * bin, 2 * bin);
  EXPECT_NEAR(s.occupied().high, (990 - 300) * bin, 2 * bin);
}

// Width of the band around 0 with 99 % of the power of a pulse of so many samples: from |sin(pi f N) / sin(pi f)|^2.
static double pulseWidth(size_t length) {
  const auto N = static_cast<double>(length), total = N / 2; // over 0 to 0.5
  const double step = 1e-3 / N;
  double power = N * N * step / 2, f = step;
  for (; power < 0.99 * total; f += step) power += step * std::pow(std::sin(M_PI * f * N) / std::sin(M_PI * f), 2);
  return 2 * f;
}

TEST(powerSpectrumTest, aPulseAfterSilenceIsSeenWhole) {
  for (const size_t length : {63u, 126u}) { // much longer ones are tapered by the windows
    const double width = pulseWidth(length);
    for (const size_t before : {0u, 1000u, 2048u, 3000u, 5000u}) {
      powerSpectrum s(true);
      s.add(std::vector<std::complex<float>>(before));
      s.add(std::vector<std::complex<float>>(length, 1));
      s.addSilence();
      EXPECT_NEAR(s.occupied().high - s.occupied().low, width, 0.03 * width) << length << " " << before;
    }
  }
}

TEST(powerSpectrumTest, nothingHasNoBand) {
  powerSpectrum s;
  EXPECT_EQ(s.occupied().high, 0);
  s.add(std::vector<std::complex<float>>(20000));
  EXPECT_EQ(s.occupied().low, 0);
  EXPECT_EQ(s.occupied().high, 0);
}
