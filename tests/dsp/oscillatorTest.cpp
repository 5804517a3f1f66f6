#include "dsp/oscillator.h"
#include <gtest/gtest.h>
#include <limits>

using namespace larch;

namespace {

constexpr double rate = 48000;

// The n-th sample of a steady frequency, counted from 1.
std::complex<double> expected(double frequency, int n) {
  return std::polar(1.0, -2 * 3.141592653589793 * std::fmod(frequency * n, rate) / rate);
}

} // namespace

TEST(oscillatorTest, turnsClockwiseFromItsSecondPhaseOn) {
  for (double frequency : {650.0, -650.0, 67.0, 23999.0, 12000.0}) {
    oscillator o(rate, frequency);
    for (int n = 1; n <= 5000; n++) {
      const auto p = o.next();
      ASSERT_NEAR(p.real(), expected(frequency, n).real(), 1e-11) << frequency << " " << n;
      ASSERT_NEAR(p.imag(), expected(frequency, n).imag(), 1e-11) << frequency << " " << n;
    }
  }
}

TEST(oscillatorTest, stepsByTheExactAngle) {
  const oscillator o(rate, 650);
  EXPECT_EQ(o.step(), std::complex<double>(std::cos(0.08508480103472356), -std::sin(0.08508480103472356)));
}

TEST(oscillatorTest, aNewFrequencyGoesOnFromThePhaseReached) {
  oscillator o(rate, 1000);
  std::complex<double> last;
  for (int i = 0; i < 7; i++) last = o.next();
  o.setFrequency(-2000);
  const auto next = o.next();
  EXPECT_NEAR(std::arg(next / last), 2 * 3.141592653589793 * 2000 / rate, 1e-12);
  o.setAngle(0.5);
  EXPECT_NEAR(std::arg(o.next() / next), -0.5, 1e-12);
}

TEST(oscillatorTest, standsStillWithoutAFrequency) {
  oscillator o(rate);
  for (int i = 0; i < 100; i++) EXPECT_EQ(o.next(), std::complex<double>(1.0));
}

TEST(oscillatorTest, magnitudeHoldsForDays) {
  oscillator o(rate, 649.9);
  for (int chunk = 0; chunk < 20000; chunk++) {
    for (int i = 0; i < 100; i++) o.next();
    o.normalise();
  }
  EXPECT_NEAR(std::abs(o.next()), 1.0, 1e-14);
}

TEST(oscillatorTest, normalisingKeepsThePhase) {
  oscillator o(rate, 1234.5), same(rate, 1234.5);
  for (int n = 1; n <= 3000; n++) {
    const auto p = o.next(), q = same.next();
    ASSERT_NEAR(std::abs(p - q), 0, 1e-12) << n;
    if (n % 126 == 0) o.normalise();
  }
}

TEST(oscillatorTest, whatIsNoFrequencyStandsStillAndIsForgotten) {
  constexpr double inf = std::numeric_limits<double>::infinity();
  oscillator o(rate, 650);
  const auto before = o.next();
  for (double bad : {std::nan(""), inf, -inf}) {
    o.setFrequency(bad);
    EXPECT_EQ(o.next(), before) << bad;
  }
  o.setFrequency(1e300); // somewhere
  EXPECT_NEAR(std::abs(o.next()), 1.0, 1e-12);
  o.setFrequency(650);
  const auto p = o.next();
  EXPECT_NEAR(std::arg(o.next() / p), -0.08508480103472356, 1e-12);
}
