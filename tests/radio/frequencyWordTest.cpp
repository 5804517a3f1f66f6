#include "radio/frequencyWord.h"
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>

using namespace larch;

constexpr int32_t clock_Hz = 73728000, half = clock_Hz / 2;
constexpr double infinity = std::numeric_limits<double>::infinity();

TEST(frequencyWordTest, belowHalfTheClockItIsTheFrequency) {
  EXPECT_EQ(frequencyWord(14095600, 1.0, clock_Hz), 14095600u);
  EXPECT_EQ(frequencyWord(0, 1.0, clock_Hz), 0u);
  EXPECT_EQ(frequencyWord(half - 1, 1.0, clock_Hz), uint32_t{half - 1});
}

TEST(frequencyWordTest, aboveHalfTheClockItIsTheAlias) {
  EXPECT_EQ(frequencyWord(40000000, 1.0, clock_Hz), 33728000u);
  EXPECT_EQ(frequencyWord(half, 1.0, clock_Hz), uint32_t{half});
  EXPECT_EQ(frequencyWord(2 * half, 1.0, clock_Hz), 0u);
  EXPECT_EQ(frequencyWord(2 * half + 1000, 1.0, clock_Hz), 1000u);
}

TEST(frequencyWordTest, theCalibrationIsAFactor) {
  EXPECT_EQ(frequencyWord(14000000, 1.00001, clock_Hz), 14000140u);
  EXPECT_EQ(frequencyWord(10000000, 0.99999, clock_Hz), 9999900u);
}

TEST(frequencyWordTest, roundsHalfAwayFromZero) {
  EXPECT_EQ(frequencyWord(5, 0.5, clock_Hz), 3u); // 2.5
  EXPECT_EQ(frequencyWord(7, 0.5, clock_Hz), 4u); // 3.5
  EXPECT_EQ(frequencyWord(5, 0.4999, clock_Hz), 2u);
}

// The word's tone and the frequency's are the same after sampling, up to the sign in odd zones.
TEST(frequencyWordTest, theWordIsAnAliasInTheFirstZone) {
  std::mt19937 random(3);
  for (int i = 0; i < 10000; i++) {
    const auto f = static_cast<int32_t>(random() & 0x7fffffff);
    const int64_t word = frequencyWord(f, 1.0, clock_Hz);
    ASSERT_LE(word, half);
    const int64_t aliased = inOddZone(f, clock_Hz) ? -word : word;
    ASSERT_EQ((f - aliased) % clock_Hz, 0) << f;
  }
}

TEST(frequencyWordTest, aReceiverAboveHalfTheClockIsInAnOddZone) {
  EXPECT_TRUE(inOddZone(40000000, clock_Hz));
  EXPECT_FALSE(inOddZone(30000000, clock_Hz));
  EXPECT_TRUE(inOddZone(half, clock_Hz));
  EXPECT_FALSE(inOddZone(2 * half, clock_Hz));
}

TEST(frequencyWordTest, clocksAndFactorsThatGiveNothing) {
  for (int32_t clock : {0, 1, -1, -73728000, std::numeric_limits<int32_t>::min()}) {
    EXPECT_EQ(frequencyWord(14000000, 1.0, clock), 0u) << clock;
    EXPECT_FALSE(inOddZone(14000000, clock));
  }
  for (double factor : {infinity, -infinity, std::nan(""), 1e300}) EXPECT_EQ(frequencyWord(14000000, factor, clock_Hz), 0u);
}

TEST(frequencyWordTest, negativeFrequenciesKeepTheirSign) {
  EXPECT_EQ(frequencyWord(-1000, 1.0, clock_Hz), static_cast<uint32_t>(-1000));
  EXPECT_EQ(frequencyWord(std::numeric_limits<int32_t>::min(), 1.0, 2), 0u);
}
