// The sliding sum of one tone against sums taken anew.
#include "modes/rttyToneSum.h"
#include "sim/randomSource.h"
#include "tests/modes/rttyTesting.h"
#include <gtest/gtest.h>
#include <limits>

namespace larch::test {
namespace {

constexpr double rate = 6000;

cdouble tone(double above, int n) { return std::polar(1.0, -2 * M_PI * above / rate * n); }

TEST(rttyToneSumTest, aToneAboveTheCentreFillsItsSum) {
  rttyToneSum sum;
  sum.setFrequency(1500);
  for (int n = 0; n < 1000; n++) {
    sum.take(tone(1500, n));
    ASSERT_NEAR(sum.level(), std::min(n + 1, 132), 1e-3) << n; // the short pi turns 3e-5 rad a second away
  }
}

TEST(rttyToneSumTest, theOtherSideIsDeaf) {
  rttyToneSum sum;
  sum.setFrequency(1500);
  for (int n = 0; n < 1000; n++) sum.take(tone(-1500, n));
  EXPECT_LT(sum.level(), 1e-2);
}

TEST(rttyToneSumTest, aNeighbourIsHeardAsALongSumHearsIt) {
  for (const double off : {10.0, 45.0, 100.0, 170.0}) {
    rttyToneSum sum;
    sum.setFrequency(1000);
    for (int n = 0; n < 500; n++) sum.take(tone(1000 + off, n));
    EXPECT_NEAR(sum.level(), std::abs(std::sin(M_PI * off * 132 / rate) / std::sin(M_PI * off / rate)), 0.01) << off;
  }
}

TEST(rttyToneSumTest, itIsTheSumOfTheLastBit) {
  sim::randomSource random(1);
  std::vector<cdouble> samples(5000);
  random.addNoise(samples.data(), samples.size(), 1);
  rttyToneSum sum;
  sum.setFrequency(-700);
  for (int n = 0; n < static_cast<int>(samples.size()); n++) {
    if (n % 64 == 0) sum.normalise();
    sum.take(samples[static_cast<size_t>(n)]);
    if (n % 97) continue;
    cdouble direct = 0; // with the short pi throughout
    for (int k = std::max(n - 131, 0); k <= n; k++)
      direct += samples[static_cast<size_t>(k)] * std::polar(1.0, 2 * -700 * 3.1415927 / rate * k);
    ASSERT_NEAR(sum.level(), std::abs(direct), 1e-8) << n;
  }
}

TEST(rttyToneSumTest, aBadSampleIsForgottenInTwoBits) {
  constexpr double bad[] = {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(), 1e300, -1e308};
  for (const double value : bad)
    for (int at = 0; at < 132; at += 13) {
      rttyToneSum sum;
      sum.setFrequency(0);
      for (int n = 0; n < at; n++) sum.take(1.0);
      sum.take({value, value});
      for (int n = 0; n < 263; n++) sum.take(1.0);
      ASSERT_NEAR(sum.level(), 132, 1e-9) << value << " " << at;
    }
}

TEST(rttyToneSumTest, noFrequencyBreaksIt) {
  for (const double f : {2147483647.0 + 170, -2147483648.0, 0.0, -170.0}) {
    rttyToneSum sum;
    sum.setFrequency(f);
    for (int n = 0; n < 1000; n++) sum.take(1.0);
    sum.normalise();
    EXPECT_LE(sum.level(), 132.001) << f;
  }
}

} // namespace
} // namespace larch::test
