#include "radio/rfGainControl.h"
#include <gtest/gtest.h>
#include <limits>

using namespace larch;

namespace {

rfGainControl with(int overloaded, int clean) {
  rfGainControl control;
  for (int i = 0; i < overloaded; i++) control.frame(true);
  for (int i = 0; i < clean; i++) control.frame(false);
  return control;
}

} // namespace

TEST(rfGainControlTest, isDueAfterAboutASecondOfFrames) {
  EXPECT_FALSE(with(0, 1000).due(1, 48000));
  EXPECT_TRUE(with(0, 1001).due(1, 48000));
  EXPECT_TRUE(with(1001, 0).due(1, 48000));
  EXPECT_FALSE(with(1, 1999).due(2, 48000));
  EXPECT_TRUE(with(1, 2000).due(2, 48000));
  EXPECT_FALSE(with(0, 8000).due(1, 384000));
  EXPECT_TRUE(with(0, 8001).due(1, 384000));
  EXPECT_FALSE(with(0, 100000).due(1, std::numeric_limits<int32_t>::max()));
}

TEST(rfGainControlTest, isNeverDueWithoutARate) {
  for (int32_t rate : {0, -1, -48000, std::numeric_limits<int32_t>::min()}) EXPECT_FALSE(with(0, 1000).due(1, rate));
}

TEST(rfGainControlTest, muchOverloadLowersTheGainDownToItsLeast) {
  EXPECT_EQ(with(2, 98).nextGain(24, -12, 1.0), 18);
  EXPECT_EQ(with(2, 98).nextGain(-6, -12, 0.0), -12);
  EXPECT_EQ(with(2, 98).nextGain(-12, -12, 0.0), -12);
  EXPECT_EQ(with(100, 0).nextGain(48, -12, 1.0), 24) << "from 30 at the most";
}

TEST(rfGainControlTest, littleOverloadAndASmallPeakRaiseTheGainUpToThirty) {
  EXPECT_EQ(with(1, 999).nextGain(18, -12, 0.32), 24);
  EXPECT_EQ(with(0, 1000).nextGain(24, -12, 0.32), 30);
  EXPECT_EQ(with(0, 1000).nextGain(30, -12, 0.0), 30);
  EXPECT_EQ(with(0, 1000).nextGain(48, -12, 0.0), 30);
}

TEST(rfGainControlTest, betweenTheThresholdsTheGainOnlyGoesToItsStep) {
  EXPECT_EQ(with(10, 990).nextGain(24, -12, 0.1), 24) << "exactly one in a hundred isn't too much";
  EXPECT_EQ(with(2, 998).nextGain(24, -12, 0.1), 24) << "exactly two in a thousand isn't little";
  EXPECT_EQ(with(0, 1000).nextGain(24, -12, 0.33), 24);
  EXPECT_EQ(with(5, 995).nextGain(23, -12, 0.1), 18);
  EXPECT_EQ(with(5, 995).nextGain(-7, -12, 0.1), -6) << "towards zero";
  EXPECT_EQ(with(5, 995).nextGain(40, -12, 0.1), 30);
}

TEST(rfGainControlTest, startsAnewAfterEachDecision) {
  rfGainControl control = with(500, 501);
  control.restart();
  EXPECT_FALSE(control.due(1, 48000));
  for (int i = 0; i < 1001; i++) control.frame(false);
  EXPECT_EQ(control.nextGain(12, -12, 0.0), 18);
}

TEST(rfGainControlTest, extremeGainsDoNotOverflow) {
  constexpr int32_t least = std::numeric_limits<int32_t>::min();
  EXPECT_EQ(with(1, 0).nextGain(least, least, 0.0), least);
  EXPECT_EQ(with(0, 1).nextGain(std::numeric_limits<int32_t>::max(), least, 0.0), 30);
}
