#include "modes/pskScanner.h"
#include "modes/pskPi.h"
#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <random>
#include <vector>

using namespace larch;

namespace {

constexpr int N = pskScanner::blockLength;
constexpr double binWidth = 15.625;
const double pi = std::acos(-1.0);

std::vector<double> tone(double frequency, double amplitude, double noise, uint32_t seed, int blocks = 3) {
  std::mt19937 random(seed);
  std::normal_distribution<double> normal(0, noise);
  std::vector<double> x;
  for (int n = 0; n < blocks * N; n++) x.push_back(amplitude * std::cos(2 * pi * frequency / 8000 * n) + normal(random));
  return x;
}

std::vector<pskPeak> scanned(pskScanner& scanner, const std::vector<double>& x) {
  std::vector<pskPeak> found;
  for (size_t at = 0; at + N <= x.size(); at += N) {
    const auto peaks = scanner.process(x.data() + at);
    found.assign(peaks.begin(), peaks.end());
  }
  return found;
}

// The same by a plain transform, in another order of things.
std::vector<pskPeak> expected(const std::vector<double>& x) {
  std::vector<double> log(N / 2 + 1, 0.0);
  for (int block = 0; block < 3; block++)
    for (int k = 0; k <= N / 2; k++) {
      double re = 0, im = 0;
      for (int n = 0; n < N; n++) {
        const double a = (n + 0.5) * 2 * 3.1415927 / 512;
        const double w = 0.35875 - 0.48829 * std::cos(a) + 0.14128 * std::cos(2 * a) - 0.01168 * std::cos(3 * a);
        const double v = w * x[static_cast<size_t>(block * N + n)];
        re += v * std::cos(2 * pi * ((k * n) % N) / N);
        im -= v * std::sin(2 * pi * ((k * n) % N) / N);
      }
      log[static_cast<size_t>(k)] += std::log10(re * re + im * im + 1e-180);
    }
  const auto S = [&](int k) {
    return log[static_cast<size_t>(k - 2)] + log[static_cast<size_t>(k - 1)] + log[static_cast<size_t>(k)] +
           log[static_cast<size_t>(k + 1)] + log[static_cast<size_t>(k + 2)];
  };
  std::vector<pskPeak> peaks;
  for (int k = 3; k <= 252; k++) {
    if (S(k) <= S(k - 1) || S(k) <= S(k + 1)) continue;
    const double d = 2 * S(k) - S(k - 1) - S(k + 1);
    peaks.push_back({static_cast<int32_t>((S(k + 1) - S(k - 1)) / (2 * d) * binWidth + (k + 0.5) * binWidth), S(k)});
  }
  std::sort(peaks.begin(), peaks.end(), [](auto a, auto b) { return a.power > b.power; });
  return peaks;
}

} // namespace

TEST(pskScannerTest, findsTheSamePeaksAsAPlainTransform) {
  for (uint32_t seed = 1; seed <= 3; seed++) {
    const auto x = tone(700.0 + 333 * seed, 10000, 3000, seed);
    pskScanner scanner;
    const auto found = scanned(scanner, x), wanted = expected(x);
    ASSERT_EQ(found.size(), wanted.size());
    for (size_t i = 0; i < found.size(); i++) {
      EXPECT_EQ(found[i].frequency, wanted[i].frequency) << i;
      EXPECT_NEAR(found[i].power, wanted[i].power, 1e-8) << i;
    }
  }
}

TEST(pskScannerTest, strongestPeakIsTheSignalHalfABinAbove) {
  for (const double f : {203.125, 1000.0, 1507.8125, 2500.0, 3000.0}) {
    pskScanner scanner;
    const auto peaks = scanned(scanner, tone(f, 10000, 10, 1));
    ASSERT_FALSE(peaks.empty());
    EXPECT_NEAR(peaks[0].frequency, f + binWidth / 2, 8) << f;
  }
}

TEST(pskScannerTest, answersWithEveryThirdBlockAndForgetsTheOnesBefore) {
  pskScanner scanner;
  const auto first = tone(1000, 10000, 10, 1), second = tone(2000, 10000, 10, 2);
  EXPECT_TRUE(scanner.process(first.data()).empty());
  EXPECT_TRUE(scanner.process(first.data() + N).empty());
  EXPECT_FALSE(scanner.process(first.data() + 2 * N).empty());
  const auto peaks = scanned(scanner, second);
  ASSERT_FALSE(peaks.empty());
  EXPECT_NEAR(peaks[0].frequency, 2000, 16);
  pskScanner fresh;
  EXPECT_EQ(peaks[0].power, scanned(fresh, second)[0].power);
  for (size_t i = 1; i < peaks.size(); i++) EXPECT_LE(peaks[i].power, peaks[i - 1].power);
}

TEST(pskScannerTest, hearsNothingInSilence) {
  pskScanner scanner;
  EXPECT_TRUE(scanned(scanner, std::vector<double>(3 * N, 0.0)).empty());
}

TEST(pskScannerTest, enduresWhatIsNoSignalAndForgetsIt) {
  for (const double bad : {double{NAN}, double{INFINITY}, 1e308, 5e-324}) {
    pskScanner scanner;
    auto x = tone(1000, 10000, 10, 1);
    x[700] = bad;
    for (const pskPeak& p : scanned(scanner, x)) {
      EXPECT_GT(p.frequency, 0);
      EXPECT_LT(p.frequency, 4000);
    }
    const auto peaks = scanned(scanner, tone(1000, 10000, 10, 1));
    ASSERT_FALSE(peaks.empty());
    EXPECT_NEAR(peaks[0].frequency, 1000, 16);
  }
}
