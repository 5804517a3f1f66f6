#include "radio/driveTable.h"
#include <cmath>
#include <gtest/gtest.h>

using namespace larch;

TEST(driveTableTest, theFineRadioDoesItAllByItself) {
  const driveTable table = makeDriveTable(false);
  for (int i = 0; i < 256; i++) {
    EXPECT_EQ(table[static_cast<size_t>(i)].value, i);
    EXPECT_EQ(table[static_cast<size_t>(i)].multiplier, 1.0);
  }
}

// Five digital steps of 0.1 dB to each of the sixteen levels, from the top; level 0 takes all that is left.
TEST(driveTableTest, theCoarseRadioHasSixteenLevelsAndDigitalSteps) {
  const driveTable table = makeDriveTable(true);
  for (int below = 0; below < 255; below++) {
    const int level = below < 75 ? 15 - below / 5 : 0;
    const int step = below < 75 ? below % 5 : below - 75;
    const driveStep& entry = table[static_cast<size_t>(255 - below)];
    ASSERT_EQ(entry.value, level * 16) << below;
    ASSERT_NEAR(entry.multiplier, std::pow(10.0, -0.1 * step / 20), 1e-12) << below;
  }
}

TEST(driveTableTest, driveZeroIsSilenceOnTheCoarseRadio) {
  const driveTable table = makeDriveTable(true);
  EXPECT_EQ(table[0].value, 0);
  EXPECT_EQ(table[0].multiplier, 0.0);
}

TEST(driveTableTest, aDriveOutOfRangeIsTheNearestEnd) {
  const driveTable table = makeDriveTable(false);
  EXPECT_EQ(stepOf(table, -1).value, 0);
  EXPECT_EQ(stepOf(table, 256).value, 255);
  EXPECT_EQ(stepOf(table, 2147483647).value, 255);
  EXPECT_EQ(stepOf(table, 100).value, 100);
}
