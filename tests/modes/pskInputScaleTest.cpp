#include "modes/pskInputScale.h"
#include <gtest/gtest.h>

using namespace larch;

TEST(pskInputScaleTest, aPeakIsFullScaleAtOnce) {
  pskInputScale s;
  EXPECT_DOUBLE_EQ(s.scaled(7), 30000);
  EXPECT_DOUBLE_EQ(s.scaled(-3.5), -15000 / 0.999);
  EXPECT_DOUBLE_EQ(s.scaled(-8), -30000);
}

TEST(pskInputScaleTest, thePeakFallsByAThousandthASample) {
  pskInputScale s;
  for (int n = 0; n < 1000; n++) s.scaled(0);
  EXPECT_NEAR(s.inputPeak, std::pow(0.999, 1000), 1e-12);
  EXPECT_NEAR(s.scaled(0.1), 3000 / std::pow(0.999, 1001), 1e-9);
}

TEST(pskInputScaleTest, silenceForHoursGivesSilenceAndLosesNoSignal) {
  pskInputScale s;
  for (int n = 0; n < 2'000'000; n++) ASSERT_EQ(s.scaled(0), 0) << n;
  EXPECT_GT(s.inputPeak, 0);
  EXPECT_DOUBLE_EQ(s.scaled(1e-7), 30000);
}

TEST(pskInputScaleTest, whatIsNoSignalCountsAsSilence) {
  pskInputScale s;
  for (const double bad : {double{NAN}, double{INFINITY}, -double{INFINITY}, 1e101, -1e308}) EXPECT_EQ(s.scaled(bad), 0);
  EXPECT_NEAR(s.inputPeak, 1, 0.01);
}
