#include "dsp/transform.h"
#include <gtest/gtest.h>
#include <fftw3.h>
#include <cmath>
#include <random>
#include <vector>

using namespace larch;
using cdouble = std::complex<double>;

namespace {

std::vector<cdouble> noise(std::size_t count, unsigned seed = 1) {
  std::mt19937 generator(seed);
  std::uniform_real_distribution<double> uniform(-1, 1);
  std::vector<cdouble> result(count);
  for (cdouble& x : result) {
    const double re = uniform(generator);
    x = {re, uniform(generator)};
  }
  return result;
}

std::vector<cdouble> oracle(std::vector<cdouble> x, int sign) {
  std::vector<cdouble> y(x.size());
  auto* in = reinterpret_cast<fftw_complex*>(x.data());
  auto* out = reinterpret_cast<fftw_complex*>(y.data());
  fftw_plan plan = fftw_plan_dft_1d(static_cast<int>(x.size()), in, out, sign, FFTW_ESTIMATE);
  fftw_execute(plan);
  fftw_destroy_plan(plan);
  return y;
}

std::vector<cdouble> naiveDft(const std::vector<cdouble>& x, int sign) {
  std::vector<cdouble> y(x.size());
  for (std::size_t k = 0; k < x.size(); k++)
    for (std::size_t n = 0; n < x.size(); n++)
      y[k] += x[n] * std::polar(1.0, sign * 2 * M_PI * static_cast<double>(k * n % x.size()) / static_cast<double>(x.size()));
  return y;
}

double worst(const cdouble* a, const std::vector<cdouble>& b) {
  double result = 0;
  for (std::size_t i = 0; i < b.size(); i++) result = std::max(result, std::abs(a[i] - b[i]));
  return result;
}

cbuff toBuff(const std::vector<cdouble>& x) {
  cbuff result(x.size());
  std::copy(x.begin(), x.end(), result.data);
  return result;
}

} // namespace

TEST(transformTest, agreesWithTheOracleInBothDirections) {
  for (uint32_t n = 1; n <= 65536; n *= 2) {
    const auto x = noise(n, n);
    const cbuff in = toBuff(x), out(n);
    EXPECT_LT(worst(fftForward(in, out).data, oracle(x, FFTW_FORWARD)), 1e-14 * n) << n;
    EXPECT_LT(worst(fftInverse(in, out).data, oracle(x, FFTW_BACKWARD)), 1e-14 * n) << n;
    EXPECT_EQ(worst(in.data, x), 0) << n;
  }
}

TEST(transformTest, agreesWithTheSumsOfTheDefinition) {
  const auto x = noise(128);
  const cbuff in = toBuff(x), out(128);
  EXPECT_LT(worst(fftForward(in, out).data, naiveDft(x, -1)), 1e-12);
  EXPECT_LT(worst(fftInverse(in, out).data, naiveDft(x, 1)), 1e-12);
}

TEST(transformTest, worksInPlace) {
  for (uint32_t n = 1; n <= 32768; n *= 2) {
    const auto x = noise(n);
    const cbuff forward = toBuff(x), inverse = toBuff(x);
    fftForward(forward, forward);
    fftInverse(inverse, inverse);
    EXPECT_LT(worst(forward.data, oracle(x, FFTW_FORWARD)), 1e-14 * n) << n;
    EXPECT_LT(worst(inverse.data, oracle(x, FFTW_BACKWARD)), 1e-14 * n) << n;
  }
}

TEST(transformTest, forwardThenInverseMultipliesByTheLength) {
  auto x = noise(1024);
  const cbuff block = toBuff(x);
  fftInverse(fftForward(block, block), block);
  for (cdouble& v : x) v *= 1024;
  EXPECT_LT(worst(block.data, x), 1e-9);
}

TEST(transformTest, otherLengthsHandleOnlyThePowerOfTwoBelow) {
  for (uint32_t count : {3u, 7u, 511u, 513u, 1000u, 1537u}) {
    uint32_t n = 1;
    while (2 * n <= count) n *= 2;
    const auto x = noise(count);
    const cbuff in = toBuff(x), out(count, cdouble(77, 78));
    const std::vector<cdouble> used(x.begin(), x.begin() + n);
    EXPECT_LT(worst(fftForward(in, out).data, oracle(used, FFTW_FORWARD)), 1e-14 * n) << count;
    for (uint32_t i = n; i < count; i++) EXPECT_EQ(out.data[i], cdouble(77, 78)) << count;
    EXPECT_LT(worst(fftInverse(in, out).data, oracle(used, FFTW_BACKWARD)), 1e-14 * n) << count;
    for (uint32_t i = n; i < count; i++) EXPECT_EQ(out.data[i], cdouble(77, 78)) << count;
  }
}

TEST(transformTest, emptyBlockIsLeftAlone) {
  const cbuff nothing;
  EXPECT_EQ(fftForward(nothing, nothing).count, 0u);
  EXPECT_EQ(fftInverse(nothing, nothing).count, 0u);
  EXPECT_EQ(fftForwardReal(buff<double>(), nothing).count, 0u);
}

TEST(transformTest, returnsAViewOfTheOutput) {
  const cbuff in(64, 1.0), out(64);
  EXPECT_EQ(fftForward(in, out).data, out.data);
  EXPECT_EQ(fftInverse(in, out).owner, out.owner);
}

TEST(transformTest, realFormGivesBinsUpToHalfTheLengthAndNoMore) {
  for (uint32_t n = 1; n <= 32768; n *= 2) {
    const auto x = noise(n);
    buff<double> in(n);
    std::vector<cdouble> real(n);
    for (uint32_t i = 0; i < n; i++) real[i] = in.data[i] = x[i].real();
    const cbuff out(n + 1, cdouble(77, 78));
    auto expected = oracle(real, FFTW_FORWARD);
    expected.resize(n / 2 + 1);
    EXPECT_LT(worst(fftForwardReal(in, out).data, expected), 1e-14 * n) << n;
    for (uint32_t i = n / 2 + 1; i <= n; i++) EXPECT_EQ(out.data[i], cdouble(77, 78)) << n << ' ' << i;
  }
}

TEST(transformTest, realFormOfOtherLengthsUsesThePowerOfTwoBelow) {
  buff<double> in(1000);
  std::vector<cdouble> real(512);
  for (uint32_t i = 0; i < 1000; i++) in.data[i] = std::sin(0.37 * i * i);
  for (uint32_t i = 0; i < 512; i++) real[i] = in.data[i];
  const cbuff out(1000);
  auto expected = oracle(real, FFTW_FORWARD);
  expected.resize(257);
  EXPECT_LT(worst(fftForwardReal(in, out).data, expected), 1e-11);
}
