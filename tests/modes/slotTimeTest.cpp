// When slots begin and what their files are called, against the calendar of the C library and against counting.
#include "modes/slotTime.h"
#include <ctime>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <vector>

namespace larch::test {
namespace {

constexpr int64_t second_ns = 1'000'000'000, hourInHalves = 7200;

std::string calendarText(int64_t halfSecond, const char* format) {
  const time_t t = halfSecond / 2;
  tm parts;
  gmtime_r(&t, &parts);
  char text[64];
  return {text, strftime(text, sizeof text, format, &parts)};
}

TEST(slotTimeTest, aMomentLiesInItsHalfSecond) {
  EXPECT_EQ(halfSecondOf(0), 0);
  EXPECT_EQ(halfSecondOf(second_ns / 2 - 1), 0);
  EXPECT_EQ(halfSecondOf(second_ns / 2), 1);
  EXPECT_EQ(halfSecondOf(1'795'000'000 * second_ns + second_ns - 1), 2 * 1'795'000'000LL + 1);
  EXPECT_EQ(halfSecondOf(-1), -1); // a clock that was never set
}

TEST(slotTimeTest, fifteenSecondsBeginFourTimesAMinute) {
  for (int half = 0; half < hourInHalves; half++) {
    const bool wanted =
        half % 2 == 0 && (half / 2 % 60 == 0 || half / 2 % 60 == 15 || half / 2 % 60 == 30 || half / 2 % 60 == 45);
    ASSERT_EQ(beginsSlotAt(half, 15000), wanted) << half;
  }
}

TEST(slotTimeTest, twoMinutesBeginWithTheEvenMinutes) {
  for (int half = 0; half < hourInHalves; half++) ASSERT_EQ(beginsSlotAt(half, 120000), half % 240 == 0) << half;
}

// Every period from half a second to an hour, at and around each of its slots, by counting from the top of the hour.
TEST(slotTimeTest, everyPeriodCountsFromTheTopOfTheHour) {
  for (const int64_t hour : {int64_t{0}, int64_t{498'694}}) {
    for (int32_t period = 1; period <= hourInHalves; period++) {
      for (int32_t slot = 0; slot < hourInHalves; slot += period) {
        const int64_t at = hour * hourInHalves + slot;
        ASSERT_TRUE(beginsSlotAt(at, 500 * period)) << period << " " << slot;
        ASSERT_TRUE(beginsSlotAt(at, 500 * period + 499)) << period << " " << slot;
        if (period > 1 && slot + 1 < hourInHalves) {
          ASSERT_FALSE(beginsSlotAt(at + 1, 500 * period)) << period << " " << slot;
        }
        if (period > 1 && slot > 0) {
          ASSERT_FALSE(beginsSlotAt(at - 1, 500 * period)) << period << " " << slot;
        }
      }
    }
  }
}

TEST(slotTimeTest, aPeriodThatDoesntDivideTheHourStartsAnewThere) {
  std::vector<int32_t> begun; // seconds
  for (int32_t half = hourInHalves - 60; half < hourInHalves + 60; half++)
    if (beginsSlotAt(half, 7000)) begun.push_back(half / 2);
  EXPECT_EQ(begun, (std::vector<int32_t>{3570, 3577, 3584, 3591, 3598, 3600, 3607, 3614, 3621, 3628}));
}

TEST(slotTimeTest, moreThanAnHourBeginsWithEachHour) {
  for (const int32_t period : {3'600'500, 5'000'000, std::numeric_limits<int32_t>::max()})
    for (int32_t half = 1; half <= 2 * hourInHalves; half++)
      ASSERT_EQ(beginsSlotAt(half, period), half % hourInHalves == 0) << period << " " << half;
}

TEST(slotTimeTest, belowHalfASecondNothingBegins) {
  for (const int32_t period : {499, 1, 0, -1, -500, -15000, std::numeric_limits<int32_t>::min()})
    EXPECT_FALSE(beginsSlotAt(0, period)) << period;
}

TEST(slotTimeTest, theNameIsTheTimeWithSecondsBelowAMinuteOnly) {
  std::mt19937 random(20261121);
  std::uniform_int_distribution<int64_t> moment(0, 2 * 4'102'444'799LL);                      // 1970 to 2099
  std::vector<int64_t> moments{0, 2 * 951'782'400LL, 2 * 946'684'799LL, 2 * 1'798'761'599LL}; // 29 February, ends of years
  for (int i = 0; i < 500; i++) moments.push_back(moment(random));
  for (const int64_t at : moments) {
    EXPECT_EQ(slotFileName(at, 15000, false), calendarText(at, "%y%m%d_%H%M%S.wav"));
    EXPECT_EQ(slotFileName(at, 59999, false), calendarText(at, "%y%m%d_%H%M%S.wav"));
    EXPECT_EQ(slotFileName(at, 60000, false), calendarText(at, "%y%m%d_%H%M.wav"));
    EXPECT_EQ(slotFileName(at, 120000, true), calendarText(at, "%y%m%d_%H%M.c2"));
    EXPECT_EQ(slotFileName(at, 500, true), calendarText(at, "%y%m%d_%H%M.c2"));
  }
}

} // namespace
} // namespace larch::test
