#include "host/textValues.h"
#include <gtest/gtest.h>

using namespace larchhost;

TEST(textValuesTest, frequenciesTakeUnitsAndRefuseTheRest) {
  EXPECT_EQ(parseFrequency("7.074M"), 7074000);
  EXPECT_EQ(parseFrequency("7074k"), 7074000);
  EXPECT_EQ(parseFrequency("7074000"), 7074000);
  EXPECT_EQ(parseFrequency("14.0956M"), 14095600);
  EXPECT_EQ(parseFrequency("0"), 0);
  for (const char* bad : {"", "M", "abc", "7.0.7M", "-1", "3000M", "7 M", "nan", "inf", "1e3", "7.1MM"})
    EXPECT_FALSE(parseFrequency(bad)) << bad;
}

TEST(textValuesTest, ratesAreTheOnesThatRadiosHave) {
  EXPECT_EQ(parseRate("192k"), 192000);
  EXPECT_EQ(parseRate("48000"), 48000);
  EXPECT_FALSE(parseRate("44.1k"));
  EXPECT_FALSE(parseRate("0"));
}

TEST(textValuesTest, filtersAreOrderedAndWithinTheAudioBand) {
  EXPECT_EQ(parseFilter("200:2900"), std::pair(200, 2900));
  EXPECT_EQ(parseFilter("-2900:-200"), std::pair(-2900, -200));
  for (const char* bad : {"", "200", "2900:200", "200:200", "0:30000", "a:b", ":", "1:2:3"})
    EXPECT_FALSE(parseFilter(bad)) << bad;
}

TEST(textValuesTest, numbersReadAsHamsWriteThem) {
  EXPECT_EQ(frequencyText(7074000), "7.074.000");
  EXPECT_EQ(frequencyText(14000005), "14.000.005");
  EXPECT_EQ(rateText(192000), "192k");
}
