#include "audio/sampleClock.h"
#include "audio/fillWindow.h"
#include <gtest/gtest.h>
#include <random>
#include <vector>

using namespace larch;

namespace {

uint16_t expectedClock(int64_t time_ns) {
  return static_cast<uint16_t>(static_cast<unsigned __int128>(time_ns) * 48000 / 1000000000);
}

} // namespace

TEST(sampleClockTest, countsTicksOf48000HzInSixteenBits) {
  EXPECT_EQ(sampleClockAt(0), 0);
  EXPECT_EQ(sampleClockAt(20833), 0); // a tick lasts 20833.3 ns
  EXPECT_EQ(sampleClockAt(20834), 1);
  EXPECT_EQ(sampleClockAt(1'000'000'000), 48000);
  EXPECT_EQ(sampleClockAt(2'000'000'000), 96000 - 65536);
}

TEST(sampleClockTest, staysExactAfterYearsOfUptime) {
  std::mt19937_64 random(7);
  for (int i = 0; i < 1000; i++) {
    const auto t = static_cast<int64_t>(random() % 300'000'000'000'000'000); // nine years
    ASSERT_EQ(sampleClockAt(t), expectedClock(t)) << t;
  }
}

TEST(sampleClockTest, positionWordHoldsClockAboveIndex) {
  const ringPosition p{0x1234, 0xabcd};
  EXPECT_EQ(p.word(), 0x1234abcdu);
  const ringPosition q = ringPosition::of(0xfffe0001u);
  EXPECT_EQ(q.clock, 0xfffe);
  EXPECT_EQ(q.index, 1);
}

TEST(fillWindowTest, meanIsOfWhatWasPushedUntilTheWindowIsFull) {
  fillWindow w;
  EXPECT_EQ(w.mean(), 0.0);
  w.push(10);
  w.push(20);
  EXPECT_DOUBLE_EQ(w.mean(), 15.0);
}

TEST(fillWindowTest, forgetsAllButTheLastThousand) {
  fillWindow w;
  std::vector<double> all;
  for (int i = 0; i < 2500; i++) {
    all.push_back((i * 37) % 1009);
    w.push(all.back());
  }
  double sum = 0;
  for (size_t i = all.size() - 1000; i < all.size(); i++) sum += all[i];
  EXPECT_NEAR(w.mean(), sum / 1000, 1e-9);
}
