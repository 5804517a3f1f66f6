#include "modes/pskSignalQuality.h"
#include <cmath>
#include <gtest/gtest.h>
#include <numbers>

using namespace larch;

namespace {

constexpr double pi = std::numbers::pi, strong = 1000, reversal = pi / 2, none = 3 * pi / 2;

void symbols(pskSignalQuality& q, int count, double angle, int32_t detectMode = detectBpsk, double agcLevel = strong) {
  for (int k = 0; k < count; k++) q.calcQuality(angle, detectMode, agcLevel);
}

} // namespace

TEST(pskSignalQualityTest, reversalsOpenTheSquelch) {
  pskSignalQuality q;
  symbols(q, 22, reversal);
  EXPECT_EQ(q.squelchLevel, 25.0);
  EXPECT_EQ(q.quality, 75);
  EXPECT_TRUE(q.squelchOpen);
}

TEST(pskSignalQualityTest, aCarrierClosesTheBpskSquelchAfterTwentyOneSymbols) {
  pskSignalQuality q;
  q.squelchLevel = 10;
  symbols(q, 21, none);
  EXPECT_TRUE(q.squelchOpen);
  EXPECT_EQ(q.badCount, 21);
  symbols(q, 1, none);
  EXPECT_EQ(q.squelchLevel, 100.0);
  EXPECT_FALSE(q.squelchOpen);
}

TEST(pskSignalQualityTest, aCarrierLeavesTheQpskSquelchOpen) {
  pskSignalQuality q;
  q.squelchLevel = 10;
  symbols(q, 200, none, detectQpsk);
  EXPECT_TRUE(q.squelchOpen);
}

TEST(pskSignalQualityTest, withoutASignalTheSquelchIsClosedWhateverThePhaseIs) {
  pskSignalQuality q;
  q.squelchLevel = 1;
  for (const double angle : {reversal, none, pi, 0.1}) {
    symbols(q, 1, angle, detectBpsk, 10.0);
    EXPECT_EQ(q.quality, 0);
    EXPECT_FALSE(q.squelchOpen);
  }
  q.squelchThreshold = 0; // even where no quality is asked for
  symbols(q, 1, reversal, detectBpsk, 10.0);
  EXPECT_FALSE(q.squelchOpen);
  symbols(q, 1, reversal, detectBpsk, 10.001);
  EXPECT_TRUE(q.squelchOpen);
}

TEST(pskSignalQualityTest, theSquelchOpensAtItsThreshold) {
  pskSignalQuality q;
  q.squelchLevel = 50.9 * 75 / 74; // the next average is 50.9
  symbols(q, 1, reversal);
  EXPECT_EQ(q.quality, 50);
  EXPECT_TRUE(q.squelchOpen);
  q.squelchThreshold = 51;
  symbols(q, 1, reversal + 50.2 / 150);
  EXPECT_EQ(q.quality, 50);
  EXPECT_FALSE(q.squelchOpen);
}

TEST(pskSignalQualityTest, theAverageFallsTwiceAsFastAsItRises) {
  pskSignalQuality q;
  q.squelchLevel = 60;
  symbols(q, 1, reversal + 0.2); // w = 30
  EXPECT_NEAR(q.squelchLevel, 60 * 74 / 75.0 + 30 / 75.0, 1e-12);
  q.squelchLevel = 10;
  symbols(q, 1, none - 0.2);
  EXPECT_NEAR(q.squelchLevel, 10 * 149 / 150.0 + 30 / 150.0, 1e-12);
  q.squelchLevel = 60;
  symbols(q, 1, none - 0.1, detectQpsk); // w = 28
  EXPECT_NEAR(q.squelchLevel, 60 * 74 / 75.0 + 28 / 75.0, 1e-12);
}

TEST(pskSignalQualityTest, quarterTurnsOfQpskCountForNothing) {
  pskSignalQuality q;
  symbols(q, 6, reversal + 0.3, detectQpsk);
  const double level = q.squelchLevel, error = q.phaseError;
  EXPECT_NE(error, 0);
  for (const double angle : {0.0, pi, 2 * pi, pi / 4 - 0.01, 3 * pi / 4 + 0.01, 5 * pi / 4 - 0.01, 7 * pi / 4 + 0.01})
    symbols(q, 1, angle, detectQpsk);
  EXPECT_EQ(q.squelchLevel, level);
  EXPECT_EQ(q.phaseError, error); // stays in force
  EXPECT_EQ(q.goodCount, 6);
}

TEST(pskSignalQualityTest, onlyARunOfFiveErrorsOfOneSignSteers) {
  pskSignalQuality q;
  symbols(q, 4, reversal + 0.2);
  EXPECT_EQ(q.phaseError, 0);
  symbols(q, 1, none + 0.2);
  EXPECT_NEAR(q.phaseError, 0.2, 1e-12);
  symbols(q, 1, reversal - 0.2);
  EXPECT_EQ(q.phaseError, 0);
  EXPECT_EQ(q.positiveRun, 0);
  EXPECT_EQ(q.negativeRun, 1);
  symbols(q, 4, reversal - 0.2);
  EXPECT_NEAR(q.phaseError, -0.2, 1e-12);
}

TEST(pskSignalQualityTest, thePhaseErrorIsLimited) {
  pskSignalQuality q;
  symbols(q, 5, reversal + 1.4);
  EXPECT_EQ(q.phaseError, 1.0);
  symbols(q, 5, none - 1.4);
  EXPECT_EQ(q.phaseError, -1.0);
  q = {};
  symbols(q, 5, reversal + 0.7, detectQpsk);
  EXPECT_EQ(q.phaseError, 0.6);
}

TEST(pskSignalQualityTest, reversedQpskTurnsTheSign) {
  pskSignalQuality q;
  symbols(q, 5, reversal + 0.2, detectReversedQpsk);
  EXPECT_NEAR(q.phaseError, -0.2, 1e-12);
  EXPECT_EQ(q.negativeRun, 5);
}

TEST(pskSignalQualityTest, intermodulationCanBeMeasuredAfterThreeReversals) {
  pskSignalQuality q;
  symbols(q, 2, reversal);
  EXPECT_FALSE(q.imdValid);
  symbols(q, 1, reversal);
  EXPECT_TRUE(q.imdValid);
  symbols(q, 1, none);
  EXPECT_FALSE(q.imdValid);
}

TEST(pskSignalQualityTest, theBorderOfTheSidesBelongsToTheReversal) {
  pskSignalQuality q;
  symbols(q, 1, pi);
  EXPECT_EQ(q.goodCount, 1);
  symbols(q, 1, std::nextafter(pi, 4));
  EXPECT_EQ(q.badCount, 1);
  symbols(q, 1, 2 * pi);
  EXPECT_EQ(q.badCount, 2);
  symbols(q, 1, 0);
  EXPECT_EQ(q.goodCount, 1);
}

TEST(pskSignalQualityTest, silenceForYearsOverflowsNothing) {
  pskSignalQuality q;
  q.positiveRun = 2147483647;
  symbols(q, 2, pi);
  EXPECT_EQ(q.positiveRun, 2147483647);
  EXPECT_EQ(q.phaseError, 1.0);
}

TEST(pskSignalQualityTest, resetForgetsTheAverageOnly) {
  pskSignalQuality q;
  symbols(q, 30, reversal);
  q.reset();
  EXPECT_EQ(q.squelchLevel, 90.0);
  EXPECT_EQ(q.quality, 10);
  EXPECT_EQ(q.goodCount, 21);
}
