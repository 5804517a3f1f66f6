#include "host/pskBand.h"
#include "host/pskMode.h"
#include <gtest/gtest.h>

using namespace larchhost;
using namespace std::chrono_literals;

namespace {

constexpr size_t slow = 3, slowToo = 4, fast = 33, operators = 60, otherOperators = 61;
constexpr double level = -80;

class pskBandTest : public testing::Test {
 protected:
  pskBandTest() {
    for (size_t i = 0; i < pskBand::detectors; i++) {
      band.setMode(i, i < 30 || i == operators ? "PSK31" : "PSK63");
      band.setFrequency(i, 100 * (static_cast<int32_t>(i) % 30 + 1));
    }
  }
  void hear(size_t detector, const std::string& text, double level_dBm = level) { band.add(detector, text, level_dBm, now); }
  std::vector<std::string> lines() {
    std::vector<std::string> texts;
    for (const auto& s : band.takeLines(now)) texts.push_back(s.text);
    return texts;
  }
  std::vector<std::string> heard() const {
    std::vector<std::string> texts;
    for (const auto& s : band.heard()) texts.push_back(s.text);
    return texts;
  }

  pskBand band;
  pskBand::clock::time_point now{1000s};
};
using texts = std::vector<std::string>;

TEST_F(pskBandTest, aLineComesAfterTwoSecondsOfSilenceWithItsFrequencyAndMode) {
  hear(slow, "cq de ");
  now += 1999ms;
  hear(slow, "q1abc ");
  now += 1999ms;
  EXPECT_EQ(lines(), texts{});
  band.setFrequency(slow, 412);
  now += 1ms;
  const auto told = band.takeLines(now);
  ASSERT_EQ(told.size(), 1U);
  EXPECT_EQ(told[0].text, "cq de q1abc");
  EXPECT_EQ(told[0].frequency, 412);
  EXPECT_EQ(told[0].mode, "PSK31");
  EXPECT_FALSE(told[0].primary);
  now += 10s;
  EXPECT_EQ(lines(), texts{});
}

TEST_F(pskBandTest, aLineEndEndsALineAndEmptyOnesAreLeftOut) {
  hear(slow, "one\r\n\r\n two ");
  EXPECT_EQ(lines(), texts{"one"});
  EXPECT_EQ(heard(), texts{"one  two "});
  hear(slow, "\n");
  EXPECT_EQ(lines(), texts{"two"});
}

TEST_F(pskBandTest, aLongLineIsCutAtABlankAndAWordWithoutOneAtItsLength) {
  const std::string word(40, 'a');
  hear(slow, word + " " + word);
  EXPECT_EQ(lines(), texts{word});
  now += 2s;
  EXPECT_EQ(lines(), texts{word});
  hear(slowToo, std::string(pskBand::lineLength - 1, 'b'));
  EXPECT_EQ(lines(), texts{});
  hear(slowToo, "bb");
  EXPECT_EQ(lines(), texts{std::string(pskBand::lineLength, 'b')});
}

TEST_F(pskBandTest, aNewSignalOnADetectorBeginsANewLine) {
  hear(slow, "before");
  band.restart(slow);
  hear(slow, "behind");
  EXPECT_EQ(lines(), texts{"before"});
  EXPECT_EQ(heard(), texts{"behind"});
  band.restart();
  EXPECT_EQ(lines(), texts{"behind"});
  EXPECT_EQ(heard(), texts{});
}

TEST_F(pskBandTest, whatIsLeftIsTakenAtTheEnd) {
  hear(slow, " unfinished ");
  const auto rest = band.takeRest();
  ASSERT_EQ(rest.size(), 1U);
  EXPECT_EQ(rest[0].text, "unfinished");
}

TEST_F(pskBandTest, controlCharactersAreDropped) {
  hear(slow, std::string("a\033[2Jb\0c\x7f\x9b d", 12));
  EXPECT_EQ(heard(), texts{"a[2Jbc d"});
}

TEST_F(pskBandTest, signalsAreListedByFrequencyUntilTheyAreForgotten) {
  band.setFrequency(slow, 1200);
  band.setFrequency(fast, 700);
  hear(slow, "upper");
  now += 10s;
  hear(fast, "lower");
  EXPECT_EQ(heard(), (texts{"lower", "upper"}));
  now += 6s;
  band.takeLines(now);
  EXPECT_EQ(heard(), texts{"lower"});
}

TEST_F(pskBandTest, twoDetectorsOnOneSignalAreTheOneThatHeardItFirst) {
  hear(slow, "cq cq ");
  hear(slowToo, "unlike");
  EXPECT_EQ(heard(), (texts{"cq cq ", "unlike"}));
  band.setFrequency(slowToo, 420);
  now += 100ms;
  hear(slow, "de ");
  hear(slowToo, "de ");
  EXPECT_EQ(heard(), texts{"cq cq de "});
  now += 2s;
  EXPECT_EQ(lines(), texts{"cq cq de"});
}

TEST_F(pskBandTest, detectorsOfOneModeFurtherApartAreTwoSignals) {
  band.setFrequency(slowToo, 421);
  hear(slow, "one");
  hear(slowToo, "two");
  EXPECT_EQ(heard(), (texts{"one", "two"}));
}

TEST_F(pskBandTest, thePrimaryDetectorTellsOfItsSignalAndTheOperatorsOthersAreSilent) {
  band.setFrequency(operators, 400);
  band.setFrequency(otherOperators, 400);
  hear(slow, "c");
  now += 10ms;
  hear(operators, "cq");
  hear(slow, "q");
  hear(otherOperators, "ttt");
  EXPECT_EQ(heard(), texts{"cq"});
  EXPECT_TRUE(band.heard()[0].primary);
  band.setPrimary(otherOperators);
  now += 10ms;
  hear(otherOperators, "in the other mode");
  hear(operators, "tt");
  ASSERT_EQ(heard(), texts{"in the other mode"});
  EXPECT_EQ(band.heard()[0].mode, "PSK63");
}

TEST_F(pskBandTest, anotherSpeedOnOneSignalIsLeftOutWhereItHearsLess) {
  band.setFrequency(fast, 400);
  hear(fast, "the weather is fine");
  hear(slow, "t ew t");
  EXPECT_EQ(heard(), texts{"the weather is fine"});
  now += 2s;
  EXPECT_EQ(lines(), texts{"the weather is fine"});
}

TEST_F(pskBandTest, strangeCharactersCountAgainstADetector) {
  band.setFrequency(fast, 400);
  hear(fast, "cq cq");
  hear(slow, "abcdef\xec\xa6");
  EXPECT_EQ(heard(), texts{"cq cq"});
}

TEST_F(pskBandTest, weakLettersBesideALoudSignalAreItsSidebands) {
  hear(fast, "a long text of a loud signal", -70);
  band.setFrequency(slow, 480);
  hear(slow, "e t e", -86);
  EXPECT_EQ(heard(), texts{"a long text of a loud signal"});
}

TEST_F(pskBandTest, fewLettersAtTheEdgeOfASignalAreItsOwn) {
  hear(fast, "a long text of a signal", -80);
  band.setFrequency(slow, 460);
  hear(slow, "e t e", -80);
  EXPECT_EQ(heard(), texts{"a long text of a signal"});
  band.setFrequency(slow, 461);
  EXPECT_EQ(heard().size(), 2U);
  band.setFrequency(slow, 430);
  hear(slow, "another station", -80);
  EXPECT_EQ(heard().size(), 2U);
}

TEST_F(pskBandTest, aSignalNearbyIsListedWhenItIsLoudOrSaysMuchOrIsFurtherAway) {
  hear(fast, "a long text of a loud signal", -70);
  band.setFrequency(slow, 480);
  hear(slow, "e t e", -84);
  EXPECT_EQ(heard().size(), 2U);
  band.restart(slow);
  hear(slow, "de q1abc q1abc k", -100);
  EXPECT_EQ(heard().size(), 2U);
  band.restart(slow);
  band.setFrequency(slow, 521);
  hear(slow, "e t e", -100);
  EXPECT_EQ(heard().size(), 2U);
}

TEST_F(pskBandTest, whatDoesNotRiseFromTheNoiseIsMadeUp) {
  band.setNoise(-120);
  hear(slow, "a harmonic of something", -112.1);
  hear(fast, "a weak signal", -111.9);
  EXPECT_EQ(heard(), texts{"a weak signal"});
  now += 2s;
  EXPECT_EQ(lines(), texts{"a weak signal"});
}

TEST_F(pskBandTest, aLongTextIsKeptInPart) {
  for (int i = 0; i < 1000; i++) hear(slow, "0123456789 ");
  ASSERT_EQ(heard().size(), 1U);
  EXPECT_LE(heard()[0].size(), 500U);
  EXPECT_TRUE(heard()[0].ends_with("0123456789 "));
}

TEST_F(pskBandTest, aPrimaryDetectorThatThereIsntIsIgnored) {
  band.setPrimary(pskBand::detectors);
  band.setPrimary(static_cast<size_t>(-1));
  hear(operators, "still");
  EXPECT_EQ(heard(), texts{"still"});
}

TEST(pskTextTest, latinLettersAreShownWhereTheTerminalCan) {
  EXPECT_EQ(shownText("gr\xfc\xdf dich \xa4", true), "grüß dich ¤");
  EXPECT_EQ(shownText("gr\xfc\xdf", false), "gr??");
  EXPECT_EQ(shownText("a\033\x9b", true), "a");
}

TEST(pskVariantTest, modesGoByTheirNames) {
  EXPECT_EQ(parsePskVariant("psk31"), 0U);
  EXPECT_EQ(pskVariants[*parsePskVariant("PSK125")].value, 16);
  EXPECT_EQ(pskVariants[*parsePskVariant("qpsk63")].value, 9);
  EXPECT_FALSE(parsePskVariant("psk"));
  EXPECT_FALSE(parsePskVariant(""));
}

} // namespace
