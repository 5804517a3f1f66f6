#include "modes/cwDecoder.h"
#include "modes/morseTable.h"
#include "sim/morseCode.h"
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

namespace larch::test {
namespace {

using cdouble = std::complex<double>;
constexpr int firstDot = 40;      // looks: the decoder's first dot length
constexpr int longSilence = 1000; // looks: spoils no dot length, since no mark of these tests is 150 long behind it

class cwDecoderTest : public testing::Test {
 protected:
  void block(const cbuff& samples) {
    decoder.process(samples, [this](char c) { text += c; });
  }
  // Looks at the given magnitude, in blocks of 16 as the chain has them. What lies between two looks is noise that isn't heard.
  void looks(double magnitude, int count) {
    while (count > 0) {
      const int n = std::min(count, 16);
      const cbuff b(static_cast<uint64_t>(n) * 32, cdouble(-1e6, 1e6));
      for (int i = 0; i < n; i++) b.data[32 * i] = std::polar(magnitude, 0.7 * i);
      block(b);
      count -= n;
    }
  }
  void mark(int count) { looks(1, count); }
  void space(int count) { looks(0, count); }
  // A text at an even speed with the gaps of good keying.
  void send(std::string_view sent, int dot) {
    for (const char c : sent) {
      if (c == ' ') {
        space(4 * dot); // makes seven of three
        continue;
      }
      for (const char* e = sim::morseElements(c); *e; e++) {
        mark(*e == '-' ? 3 * dot : dot);
        space(e[1] ? dot : 3 * dot);
      }
    }
  }

  cwDecoder decoder;
  std::string text;
};

TEST_F(cwDecoderTest, silenceFromTheStartSaysNothing) {
  space(5000);
  EXPECT_EQ(text, "");
  EXPECT_EQ(decoder.speed(), 45);
}

TEST_F(cwDecoderTest, everyLetterAndDigitIsHeard) {
  const std::string all = "the quick brown fox jumps over the lazy dog 0123456789";
  space(longSilence);
  send(all, 40);
  space(longSilence);
  EXPECT_EQ(text, all + " ");
}

TEST_F(cwDecoderTest, punctuationIsNotHeard) {
  space(longSilence);
  send("a?b.c/d", 40);
  space(longSilence);
  EXPECT_EQ(text, "abcd ");
}

TEST_F(cwDecoderTest, phaseAndLevelDontMatter) {
  for (double level : {1e-6, 1.0, 1e6}) {
    cwDecoder fresh;
    std::string heard;
    for (const auto& [on, n] : {std::pair{false, 1000}, {true, 40}, {false, 40}, {true, 120}, {false, 1000}}) {
      const cbuff b(static_cast<uint64_t>(n) * 32);
      for (uint64_t i = 0; i < b.count; i++) b.data[i] = on ? std::polar(level, 0.01 * static_cast<double>(i)) : 0.0;
      fresh.process(b, [&](char c) { heard += c; });
    }
    EXPECT_EQ(heard, "a ") << level;
  }
}

// The look at which a key turns ends the old run and isn't counted into the new one: a run of n + 1 looks counts n.
TEST_F(cwDecoderTest, aMarkOfTwoDotsIsADash) {
  space(longSilence);
  mark(80);
  space(longSilence);
  mark(81);
  space(longSilence);
  EXPECT_EQ(text, "e t ");
}

TEST_F(cwDecoderTest, aSilenceOfTwoDotsEndsTheLetter) {
  space(longSilence);
  mark(40);
  space(80);
  mark(40);
  space(81);
  EXPECT_EQ(text, "") << "it ends with the next mark";
  mark(40);
  EXPECT_EQ(text, "i");
  space(longSilence);
  EXPECT_EQ(text, "ie ");
}

TEST_F(cwDecoderTest, aSilenceOfFiveDotsEndsTheWordAtOnce) {
  space(longSilence);
  mark(40);
  space(1 + 201); // the look that ended the mark, and 201 counted
  EXPECT_EQ(text, "");
  space(1);
  EXPECT_EQ(text, "e ");
  space(10 * longSilence);
  EXPECT_EQ(text, "e ") << "once";
}

TEST_F(cwDecoderTest, aRunCannotEndBeforeHalfADot) {
  space(longSilence);
  mark(10);
  space(10); // too early to end the mark
  mark(80);
  space(longSilence);
  EXPECT_EQ(text, "t ");
  mark(10);
  space(13); // not too early: half a dot is over, and half a dot of the next mark passes before the pause ends
  mark(80);
  space(longSilence);
  EXPECT_EQ(text, "t i ");
  mark(1); // required: a click lasts half a dot, too, and counts
  space(longSilence);
  EXPECT_EQ(text, "t i e ");
}

TEST_F(cwDecoderTest, moreThanSevenElementsAreNoLetter) {
  space(longSilence);
  for (int i = 0; i < 8; i++) {
    mark(40);
    space(40);
  }
  space(longSilence);
  EXPECT_EQ(text, "");
  for (int i = 0; i < 100; i++) {
    mark(100);
    space(40);
  }
  space(longSilence);
  EXPECT_EQ(text, "");
  mark(40);
  space(longSilence);
  EXPECT_EQ(text, "e ") << "nothing is left of them";
}

TEST_F(cwDecoderTest, sixAndSevenElementsAreNoLetterEither) {
  for (int n : {6, 7}) {
    for (int i = 0; i < n; i++) {
      mark(i % 2 ? 120 : 40);
      space(40);
    }
    space(longSilence);
  }
  EXPECT_EQ(text, "");
}

// The peak follows m up by a fifth and falls by a thousandth; the floor is the least m, rising by a thousandth.
struct trackedLevels {
  double peak = 0, floor = 1e10;
  void look(double m, int count = 1) {
    for (; count > 0; count--) {
      floor *= 1.001;
      peak *= 0.999;
      if (m > peak) peak += 0.2 * (m - peak);
      floor = std::min(floor, m);
    }
  }
};

// A full mark on a channel whose silence is 0.2, and 60 more looks beside a threshold; what is heard of it.
std::string heardBeside(bool behindSilence, double aside) {
  cwDecoder decoder;
  trackedLevels levels;
  std::string text;
  const auto looks = [&](double m, int count) {
    levels.look(m, count);
    decoder.process(cbuff(static_cast<uint64_t>(count) * 32, m), [&](char c) { text += c; });
  };
  looks(1, 100);
  looks(0.2, 300);
  text.clear();
  looks(1, 60);
  if (behindSilence) looks(0.2, 100);
  for (int i = 0; i < 60; i++) {
    trackedLevels next = levels;
    next.look(0.5); // between floor and peak: both move by themselves
    const double span = next.peak - next.floor;
    const bool held = behindSilence ? i > 0 && aside > 0 : i == 0 || aside > 0;
    looks(next.peak - span * (held ? 0.5 : 1 / 3.0) + aside, 1);
  }
  looks(0.2, longSilence);
  return text;
}

TEST_F(cwDecoderTest, aMarkEndsAtHalfTheSpan) {
  EXPECT_EQ(heardBeside(false, +0.01), "t ");
  EXPECT_EQ(heardBeside(false, -0.01), "e ");
}

TEST_F(cwDecoderTest, aMarkBeginsAtTwoThirdsOfTheSpan) {
  EXPECT_EQ(heardBeside(true, +0.01), "ee ");
  EXPECT_EQ(heardBeside(true, -0.01), "e ");
}

// dotLength after a first mark of `rawRun` + 1 looks behind a space of `previous` + 1, itself behind a mark that has no partner.
double dotLengthAfter(int rawRun, int previous) {
  cwDecoder decoder;
  const auto silent = [](char) {};
  const auto looks = [&](double m, int count) { decoder.process(cbuff(static_cast<uint64_t>(count) * 32, m), silent); };
  looks(0, longSilence);
  looks(1, 10);
  looks(0, previous + 1);
  looks(1, rawRun + 1);
  EXPECT_EQ(decoder.dotLength(), 40.0);
  looks(0, 1);
  return decoder.dotLength();
}

TEST_F(cwDecoderTest, aDotAndADashMoveTheDotLengthByATwentieth) {
  const auto moved = [](int quarter) { return 40.0 * 0.95 + quarter * 0.05; };
  EXPECT_EQ(dotLengthAfter(180, 60), moved(60)) << "a dash behind a pause";
  EXPECT_EQ(dotLengthAfter(60, 180), moved(60)) << "a dot behind the gap of a letter";
  EXPECT_EQ(dotLengthAfter(181, 61), moved(60)) << "a whole quarter";
  EXPECT_EQ(dotLengthAfter(40, 100), moved(35));
}

TEST_F(cwDecoderTest, otherPairsDontMoveIt) {
  const auto moves = [](int rawRun, int previous) { return dotLengthAfter(rawRun, previous) != 40.0; };
  EXPECT_FALSE(moves(60, 60)) << "a dot behind a pause";
  EXPECT_FALSE(moves(180, 180)) << "a dash behind the gap of a letter";
  EXPECT_FALSE(moves(60, 420)) << "a dot behind the gap of a word";
  EXPECT_FALSE(moves(60, 400)) << "0.15";
  EXPECT_TRUE(moves(61, 400));
  EXPECT_FALSE(moves(180, 400)) << "0.45";
  EXPECT_TRUE(moves(179, 400));
  EXPECT_FALSE(moves(199, 100)) << "below 2";
  EXPECT_TRUE(moves(200, 100));
  EXPECT_FALSE(moves(400, 100)) << "4";
  EXPECT_TRUE(moves(399, 100));
}

TEST_F(cwDecoderTest, runsOfUpTo22LooksDontMoveIt) {
  EXPECT_EQ(dotLengthAfter(66, 22), 40.0);
  EXPECT_NE(dotLengthAfter(69, 23), 40.0);
  EXPECT_EQ(dotLengthAfter(22, 66), 40.0);
  EXPECT_NE(dotLengthAfter(23, 69), 40.0);
  space(longSilence);
  for (int i = 0; i < 20; i++) send("paris ", 20); // 90 words per minute
  EXPECT_EQ(decoder.dotLength(), 40.0);
}

TEST_F(cwDecoderTest, speedIsTruncatedTwice) {
  EXPECT_EQ(decoder.speed(), 45);
  space(longSilence);
  for (int i = 0; i < 60; i++) send("paris ", 91);
  // the runs that are counted lack one look each
  EXPECT_NEAR(decoder.dotLength(), 90, 1);
  const auto dot = static_cast<int>(decoder.dotLength());
  EXPECT_EQ(decoder.speed(), 57600 / dot / 32);
}

TEST_F(cwDecoderTest, aDashBehindTheGapOfAWordCountsAsADotBehindThatOfALetter) { // 3 of 7 lies between 0.15 and 0.45
  EXPECT_EQ(dotLengthAfter(120, 280), 40.0 * 0.95 + 100 * 0.05);
}

TEST_F(cwDecoderTest, slowSendersAreFollowed) {
  space(longSilence);
  for (int i = 0; i < 12; i++) send("paris ", 180); // 10 words per minute
  text.clear();
  send("well said ", 180);
  EXPECT_EQ(text, "well said ");
  EXPECT_EQ(decoder.speed(), 10);
}

TEST_F(cwDecoderTest, looksBeginAnewWithEachBlock) {
  space(longSilence);
  const auto marks = [this](uint64_t length, int blocks) {
    for (int i = 0; i < blocks; i++) block(cbuff(length, 1.0));
  };
  marks(0, 100);
  marks(1, 41); // one look each
  space(81);
  marks(32, 41); // one
  space(81);
  marks(33, 41); // two
  space(longSilence);
  EXPECT_EQ(text, "eet ");
}

TEST_F(cwDecoderTest, whatIsNoNumberIsSilenceAndSpoilsNothing) {
  constexpr double inf = std::numeric_limits<double>::infinity(), nan = std::numeric_limits<double>::quiet_NaN();
  space(longSilence);
  for (const cdouble bad : {cdouble(nan, 0), cdouble(0, inf), cdouble(-inf, nan), cdouble(1.5e308, 1.5e308)}) {
    mark(40);
    block(cbuff(32 * 100, bad));
    send("e", 40);
    space(longSilence);
  }
  EXPECT_EQ(text, "ee ee ee ee ");
}

} // namespace
} // namespace larch::test
