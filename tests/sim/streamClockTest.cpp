#include <gtest/gtest.h>
#include "sim/streamClock.h"

using namespace larch::sim;

TEST(streamClockTest, aFastClockHasMoreDueInTheSameTime) {
  for (const double error : {-200.0, 0.0, 200.0}) {
    streamClock clock(error);
    clock.setRate(384000);
    uint64_t sent = 0;
    for (int ms = 1; ms <= 600000; ++ms) { // ten minutes
      const uint64_t due = clock.groupsDue(ms / 1000.0, 126);
      clock.take(due * 126);
      sent += due;
    }
    const double wanted = 600 * 384000 * (1 + error * 1e-6) / 126;
    EXPECT_NEAR(static_cast<double>(sent), wanted, 1) << error;
    EXPECT_NEAR(clock.radioTime_s(), 600 * (1 + error * 1e-6), 1e-3);
    EXPECT_NEAR(clock.trueTime_s(), 600, 1e-3);
  }
}

TEST(streamClockTest, timeIsContinuousOverChangesOfRateAndError) {
  streamClock clock;
  clock.take(48000);
  clock.setRate(192000);
  EXPECT_DOUBLE_EQ(clock.trueTime_s(), 1);
  clock.take(96000);
  EXPECT_DOUBLE_EQ(clock.trueTime_s(), 1.5);
  clock.setError(-500000); // half the speed
  EXPECT_DOUBLE_EQ(clock.trueTime_s(), 1.5);
  clock.take(96000);
  EXPECT_DOUBLE_EQ(clock.trueTime_s(), 2.5);
  EXPECT_DOUBLE_EQ(clock.radioTime_s(), 2);
}

TEST(streamClockTest, nothingIsDueBeforeItsSamplesAreComplete) {
  streamClock clock;
  EXPECT_EQ(clock.groupsDue(0, 126), 0u);
  EXPECT_EQ(clock.groupsDue(125.9 / 48000, 126), 0u);
  EXPECT_EQ(clock.groupsDue(126.0 / 48000, 126), 1u);
  EXPECT_EQ(clock.groupsDue(10 * 126.0 / 48000, 126), 10u);
  EXPECT_EQ(clock.groupsDue(-5, 126), 0u);
}

TEST(streamClockTest, skippingGivesUpTimeButNeverGoesBack) {
  streamClock clock;
  clock.skipTo(2);
  EXPECT_EQ(clock.groupsDue(2, 126), 0u);
  EXPECT_DOUBLE_EQ(clock.radioTime_s(), 2);
  clock.skipTo(1);
  EXPECT_DOUBLE_EQ(clock.trueTime_s(), 2);
}
