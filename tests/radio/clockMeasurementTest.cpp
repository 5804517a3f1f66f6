#include "radio/clockMeasurement.h"
#include <cmath>
#include <gtest/gtest.h>

using namespace larch;

namespace {

constexpr double packet = 126.0 / 48000; // seconds of one receiver's stream
constexpr int packetsARatio = 2;         // 1/300 s is 1.27 packets
constexpr int64_t minute = 600'000'000;

// Feeds packets with a radio clock that is `ratio` times too slow against ours until `full`.
void fill(clockMeasurement& clock, double ratio) {
  for (int64_t i = 0; i < 3000 + int64_t{packetsARatio} * 2 * movingMean::length; i++) clock.add(packet * ratio, packet);
}

} // namespace

TEST(movingMeanTest, startsWithOneEntryOfOne) {
  movingMean m;
  EXPECT_EQ(m.mean(), 1.0);
  m.add(3.0);
  EXPECT_EQ(m.mean(), 2.0);
  EXPECT_FALSE(m.full());
}

TEST(movingMeanTest, isTheMeanOfTheLastValues) {
  movingMean m;
  for (int i = 0; i < movingMean::length - 1; i++) {
    EXPECT_FALSE(m.full());
    m.add(0.0);
  }
  EXPECT_TRUE(m.full());
  EXPECT_DOUBLE_EQ(m.mean(), 1.0 / movingMean::length);
  m.add(2.0); // the entry of 1.0 leaves
  EXPECT_DOUBLE_EQ(m.mean(), 2.0 / movingMean::length);
  for (int i = 0; i < movingMean::length; i++) m.add(7.0);
  EXPECT_NEAR(m.mean(), 7.0, 1e-9);
}

TEST(clockMeasurementTest, measuresTheRatioOfTheClocks) {
  for (double ppm : {-5.0, 0.0, 7.5}) {
    clockMeasurement clock;
    fill(clock, 1 + ppm * 1e-6);
    ASSERT_TRUE(clock.full());
    EXPECT_NEAR(clock.mean(), 1 + ppm * 1e-6, 1e-9) << ppm;
  }
}

TEST(clockMeasurementTest, theFirstPacketsAreIgnored) {
  clockMeasurement clock;
  for (int i = 0; i < clockMeasurement::ignoredPackets; i++) clock.add(1e6, packet);
  for (int64_t i = 0; i < int64_t{packetsARatio} * 2 * movingMean::length; i++) clock.add(packet, packet);
  ASSERT_TRUE(clock.full());
  EXPECT_NEAR(clock.mean(), 1.0, 1e-9);
}

TEST(clockMeasurementTest, isFullAfterTwoWindowsOfTenMinutes) {
  clockMeasurement clock;
  int64_t packets = 0;
  while (!clock.full()) {
    clock.add(packet, packet);
    packets++;
  }
  // the first ring lacks one entry, and so does the second, which gets its first when the first is full
  EXPECT_EQ(packets, 3000 + packetsARatio * (movingMean::length - 1 + movingMean::length - 2));
}

TEST(clockMeasurementTest, correctsAtMostOnceInAnEvenMinute) {
  clockMeasurement clock;
  EXPECT_FALSE(clock.correction(0).has_value()) << "not full";
  fill(clock, 1.000004);
  const auto first = clock.correction(10 * minute);
  ASSERT_TRUE(first.has_value());
  EXPECT_NEAR(*first, 1.000004, 1e-9);
  EXPECT_FALSE(clock.correction(10 * minute + 1).has_value());
  EXPECT_FALSE(clock.correction(12 * minute - 1).has_value());
  EXPECT_TRUE(clock.correction(12 * minute).has_value());
  EXPECT_FALSE(clock.correction(13 * minute).has_value());
  EXPECT_TRUE(clock.correction(70 * minute).has_value());
  EXPECT_FALSE(clock.correction((60 + 71) * minute).has_value()) << "the same minute an hour later";
}

TEST(clockMeasurementTest, aClockFartherThanTenPpmIsNotBelieved) {
  for (double ratio : {1.000011, 0.999989}) {
    clockMeasurement clock;
    fill(clock, ratio);
    ASSERT_TRUE(clock.full());
    EXPECT_FALSE(clock.correction(10 * minute).has_value()) << ratio;
  }
}

TEST(clockMeasurementTest, restartsFromNothing) {
  clockMeasurement clock;
  fill(clock, 1.000008);
  clock.restart();
  EXPECT_FALSE(clock.full());
  EXPECT_FALSE(clock.correction(10 * minute).has_value());
  for (int i = 0; i < 3000; i++) clock.add(1e6, packet);
  while (!clock.full()) clock.add(packet, packet);
  EXPECT_NEAR(clock.mean(), 1.0, 1e-9);
}

TEST(clockMeasurementTest, shortPacketsAddUpToAThreeHundredthOfASecond) {
  clockMeasurement clock;
  constexpr double tiny = 1.0 / 3000;
  for (int i = 0; i < 3000; i++) clock.add(tiny, tiny);
  int64_t packets = 0;
  for (; !clock.full(); packets++) clock.add(tiny, tiny);
  const int64_t ratios = movingMean::length - 1 + movingMean::length - 2;
  EXPECT_GE(packets, ratios * 10);
  EXPECT_LE(packets, ratios * 11) << "the sum may fall just short after ten";
}
