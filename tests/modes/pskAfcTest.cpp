#include "modes/pskAfc.h"
#include <climits>
#include <cmath>
#include <gtest/gtest.h>
#include <numbers>

using namespace larch;

namespace {

constexpr double twoPi = 2 * std::numbers::pi;
double radians(double hertz) { return twoPi * hertz / 8000; }

// Feeds a tone that turns by `turn` radians a step. The mixer conjugates: a signal above the oscillator turns backwards.
void feed(pskAfc& afc, double turn, int steps) {
  for (int n = 0; n < steps; n++) afc.step({std::cos(turn * n), -std::sin(turn * n)});
}

// Acquisition under way for good.
pskAfc acquiring() {
  pskAfc afc;
  afc.afcAcquire = true;
  return afc;
}

} // namespace

TEST(pskAfcTest, startsAtFifteenHundredHertzWithFiftyEachWay) {
  const pskAfc afc;
  EXPECT_EQ(afc.rxFrequency, 1500);
  EXPECT_DOUBLE_EQ(afc.nominalIncrement, radians(1500));
  EXPECT_DOUBLE_EQ(afc.afcHigh, radians(1550));
  EXPECT_DOUBLE_EQ(afc.afcLow, radians(1450));
  EXPECT_EQ(afc.freqError, 0);
}

TEST(pskAfcTest, retuneSetsTheRangeAndClearsTheErrors) {
  pskAfc afc;
  afc.afcFiltered = 1;
  afc.discriminator = 1;
  EXPECT_TRUE(afc.setRxFrequency(1000));
  EXPECT_EQ(afc.afcFiltered, 0);
  EXPECT_EQ(afc.discriminator, 0);
  EXPECT_EQ(afc.acquireCount, 10);
  EXPECT_DOUBLE_EQ(afc.nominalIncrement, radians(1000));
  EXPECT_DOUBLE_EQ(afc.afcHigh, radians(1050));
  EXPECT_DOUBLE_EQ(afc.afcLow, radians(950));
  afc.fastAfc = true;
  afc.setRxFrequency(2000);
  EXPECT_EQ(afc.acquireCount, 2);
}

TEST(pskAfcTest, theSameFrequencyRestartsNothing) {
  pskAfc afc;
  afc.afcFiltered = 1;
  EXPECT_FALSE(afc.setRxFrequency(1500));
  EXPECT_EQ(afc.acquireCount, 0);
  EXPECT_EQ(afc.afcFiltered, 1);
}

TEST(pskAfcTest, theLowLimitIsNeverNegative) {
  pskAfc afc;
  afc.setRxFrequency(30);
  EXPECT_EQ(afc.afcLow, 0);
  EXPECT_DOUBLE_EQ(afc.afcHigh, radians(80));
  afc.setRxFrequency(0);
  for (int block = 0; block < 10; block++) afc.beginBlock(); // the end of acquisition sets the limits anew
  EXPECT_EQ(afc.afcLow, 0);
}

TEST(pskAfcTest, acquisitionLastsTenBlocksAndItsEndCentresTheRange) {
  pskAfc afc;
  afc.setRxFrequency(1000);
  for (int block = 0; block < 9; block++) {
    afc.beginBlock();
    EXPECT_TRUE(afc.afcAcquire) << block;
  }
  afc.nominalIncrement = radians(1020);
  EXPECT_DOUBLE_EQ(afc.afcHigh, radians(1050));
  afc.beginBlock();
  EXPECT_FALSE(afc.afcAcquire);
  EXPECT_EQ(afc.acquireCount, 0);
  EXPECT_DOUBLE_EQ(afc.afcHigh, radians(1070));
  EXPECT_DOUBLE_EQ(afc.afcLow, radians(970));
  afc.nominalIncrement = radians(1040);
  afc.beginBlock(); // over: the range stays
  EXPECT_DOUBLE_EQ(afc.afcHigh, radians(1070));
}

TEST(pskAfcTest, turnedOffItHoldsTheFrequency) {
  pskAfc afc = acquiring();
  afc.afcOn = 0;
  afc.freqError = afc.discriminator = afc.afcFiltered = 1;
  feed(afc, 0.1, 10);
  EXPECT_EQ(afc.freqError, 0);
  EXPECT_EQ(afc.discriminator, 0);
  EXPECT_EQ(afc.afcFiltered, 0);
  EXPECT_DOUBLE_EQ(afc.nominalIncrement, radians(1500));
}

// A tone of amplitude 1 that turns by w makes 2 sin(w), and 0.25 / 0.005 of it in the long run.
TEST(pskAfcTest, discriminatorHasTheSignAndSizeOfTheFrequency) {
  for (const double w : {0.01, -0.01, 0.1, -0.1}) {
    pskAfc afc = acquiring();
    afc.afcHigh = 4; // out of reach
    afc.afcLow = 0;
    feed(afc, w, 4000);
    EXPECT_NEAR(afc.discriminator, 50 * 2 * std::sin(w), 1e-3) << w;
    EXPECT_NEAR(afc.freqError, 0.0004 * afc.discriminator, 1e-12) << w;
  }
}

TEST(pskAfcTest, aStepOfTheDiscriminatorIsLimited) {
  pskAfc afc = acquiring();
  feed(afc, 0.5, 4000); // 2 sin(0.5) = 0.96
  EXPECT_NEAR(afc.discriminator, 50 * 0.3, 1e-3);
}

TEST(pskAfcTest, acquisitionMovesTheFrequencyByThreeMillionthsOfTheDiscriminator) {
  pskAfc afc = acquiring();
  feed(afc, 0.02, 3000);
  const double before = afc.nominalIncrement, d = afc.discriminator;
  ASSERT_GT(d, 0.3);
  feed(afc, 0.02, 1); // a jump of phase; what it adds is at most 0.3 * 0.25
  EXPECT_NEAR(afc.nominalIncrement - before, d * 3e-6, 0.08 * 3e-6);
}

TEST(pskAfcTest, aSmallDiscriminatorLeavesTheNominalFrequency) {
  pskAfc afc = acquiring();
  feed(afc, 0.002, 5000); // 50 * 0.004 = 0.2
  EXPECT_DOUBLE_EQ(afc.nominalIncrement, radians(1500));
  EXPECT_NEAR(afc.freqError, 0.2 * 0.0004, 1e-6);
}

TEST(pskAfcTest, afterAcquisitionThePhaseErrorSteersWhenBothAgree) {
  pskAfc afc;
  feed(afc, 0.002, 2000);
  afc.afcFiltered = 0.2;
  afc.step({1, 0});
  EXPECT_DOUBLE_EQ(afc.freqError, 0.2 * 0.001);
  EXPECT_DOUBLE_EQ(afc.nominalIncrement, radians(1500));
  afc.afcFiltered = 1;
  afc.step({1, 0});
  EXPECT_DOUBLE_EQ(afc.freqError, 0.001);
  EXPECT_DOUBLE_EQ(afc.nominalIncrement, radians(1500) + 1.5e-6);
  afc.afcFiltered = -1;
  afc.step({1, 0});
  EXPECT_EQ(afc.freqError, 0);
}

TEST(pskAfcTest, theFastFormIsSteeredByALargeDiscriminator) {
  pskAfc afc;
  afc.fastAfc = true;
  feed(afc, 0.5, 6000); // 0.3 / 6 / 0.0033.. = 15
  EXPECT_NEAR(afc.discriminator, 15, 1e-3);
  EXPECT_DOUBLE_EQ(afc.nominalIncrement, afc.afcHigh); // 15 * 1.5e-5 a step soon reach the limit
  for (const double before : {10.0, -10.0, 6.021, 6.02}) {
    afc = {};
    afc.fastAfc = true;
    afc.discriminator = before;
    afc.step({0, 0});
    const double d = before * (1 - 1 / 300.0), steered = std::abs(d) > 6 ? d : 0; // 6.02 comes to less than 6, 6.021 to more
    EXPECT_NEAR(afc.freqError, steered * 0.002, 1e-12) << before;
    EXPECT_NEAR(afc.nominalIncrement, radians(1500) + steered * 1.5e-5, 1e-12) << before;
  }
  afc = {};
  afc.fastAfc = true;
  afc.discriminator = 1;
  afc.afcFiltered = 1;
  afc.step({0, 0});
  EXPECT_DOUBLE_EQ(afc.freqError, 0.008);
  EXPECT_DOUBLE_EQ(afc.nominalIncrement, radians(1500) + 3e-5);
}

TEST(pskAfcTest, stopsAtItsLimits) {
  for (const int side : {1, -1}) {
    pskAfc afc = acquiring();
    feed(afc, side * 0.5, 20000);
    EXPECT_DOUBLE_EQ(afc.nominalIncrement, side > 0 ? afc.afcHigh : afc.afcLow);
    EXPECT_EQ(afc.freqError, 0);
    afc.endBlock();
    EXPECT_EQ(afc.rxFrequency, 1500 + side * 50);
  }
}

TEST(pskAfcTest, phaseErrorIsFilteredWithAGainOfFive) {
  pskAfc afc;
  afc.addPhaseError(1);
  EXPECT_DOUBLE_EQ(afc.afcFiltered, 0.05);
  for (int k = 0; k < 3000; k++) afc.addPhaseError(0.4);
  EXPECT_NEAR(afc.afcFiltered, 2.0, 1e-9);
}

TEST(pskAfcTest, reportsTheFrequencyRoundedWithItsCorrection) {
  pskAfc afc;
  afc.nominalIncrement = radians(1499.2);
  afc.freqError = radians(0.4);
  afc.endBlock();
  EXPECT_EQ(afc.rxFrequency, 1500);
  afc.freqError = radians(0.2);
  afc.endBlock();
  EXPECT_EQ(afc.rxFrequency, 1499);
}

TEST(pskAfcTest, enduresEveryFrequency) {
  for (const int32_t hertz : {INT_MIN, INT_MIN + 1, -8000, -1, 0, 4000, 8001, INT_MAX - 1, INT_MAX}) {
    pskAfc afc;
    afc.setRxFrequency(hertz);
    for (int block = 0; block < 30; block++) {
      afc.beginBlock();
      feed(afc, 0.3, 32);
      afc.endBlock();
    }
    EXPECT_TRUE(std::isfinite(afc.increment())) << hertz;
  }
}
