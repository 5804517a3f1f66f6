#include "modes/textKeyer.h"
#include "tests/modes/cwKeyingGolden.h"
#include <cmath>
#include <deque>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

namespace larch::test {
namespace {

constexpr int dot20 = 2880;    // samples at 20 words per minute
constexpr int leadingDots = 4; // of silence before the first character of a new keyer
constexpr double tolerance = 1e-15;

class textKeyerTest : public testing::Test {
 protected:
  // Samples in blocks of the given length.
  std::vector<double> produce(size_t count, size_t block = 126) {
    std::vector<double> sent;
    while (sent.size() < count) {
      const cbuff out(std::min(block, count - sent.size()), std::complex<double>(7, 7));
      keyer.produce(out, with);
      for (uint64_t i = 0; i < out.count; i++) {
        EXPECT_EQ(out.data[i].imag(), 0.0);
        sent.push_back(out.data[i].real());
      }
    }
    return sent;
  }
  void skipLeadingSilence() { produce(static_cast<size_t>(leadingDots * dot20), 4 * dot20); }
  // Samples, one by one, until the transmission has ended `times` times.
  int samplesUntilEnd(int times = 1) {
    int count = 0;
    while (ends < times && count < 1'000'000) {
      produce(1, 1);
      count++;
    }
    return count - 1; // the sample at which it ended
  }
  void queue(const std::string& text) { waiting.insert(waiting.end(), text.begin(), text.end()); }
  // Lengths of marks and pauses, in turn, beginning with a pause; the last one is cut off.
  static std::vector<int> runs(const std::vector<double>& sent) {
    std::vector<int> lengths{0};
    bool mark = false;
    for (const double level : sent) {
      if ((level > 0) != mark) lengths.push_back(0);
      mark = level > 0;
      lengths.back()++;
    }
    return lengths;
  }

  std::deque<char> waiting;
  std::string taken;
  int ends = 0;
  std::atomic<bool> sidetone{false};
  textKeyer::controls with{20.0, 200, false, false, &sidetone};
  textKeyer keyer{{[this]() -> std::optional<char> {
                     if (waiting.empty()) return std::nullopt;
                     taken += waiting.front();
                     waiting.pop_front();
                     return taken.back();
                   },
                   [this] { ends++; }}};
};

TEST_F(textKeyerTest, edgesAreRaisedCosines) {
  std::vector<double> sent;
  double wpm = 0;
  for (const keyedSample& s : goldenText) {
    if (s.wpm != wpm) {
      wpm = s.wpm;
      with.wpm = wpm;
      queue("an");
      textKeyer fresh({[this]() -> std::optional<char> {
                         if (waiting.empty()) return std::nullopt;
                         const char c = waiting.front();
                         waiting.pop_front();
                         return c;
                       },
                       [] {}});
      const cbuff out(100'000);
      fresh.produce(out, with);
      sent.clear();
      for (uint64_t i = 0; i < out.count; i++) sent.push_back(out.data[i].real());
    }
    ASSERT_NEAR(sent[static_cast<size_t>(s.index)], s.value, tolerance) << s.wpm << " wpm, sample " << s.index;
  }
}

TEST_F(textKeyerTest, marksAndPausesHaveTheirLengthsInDots) {
  queue("Cq 5!");
  const auto sent = produce(70 * dot20);
  const int d = dot20;
  const std::vector<int> wanted = {leadingDots * d, 3 * d, d, d,     d, 3 * d, d, d,           // c
                                   3 * d,           3 * d, d, 3 * d, d, d,     d, 3 * d,       // q
                                   10 * d,          d,     d, d,     d, d,     d, d,     d, d, // the blank adds seven dots; 5
                                   3 * d,           d,     d, d,     d, 3 * d, d, 3 * d, d, d, d, d}; // !
  auto heard = runs(sent);
  heard.pop_back();
  EXPECT_EQ(heard, wanted);
  EXPECT_EQ(taken, "Cq 5!");
}

TEST_F(textKeyerTest, theWordParisWithAGapOfSevenTakesFiftyDots) {
  for (double wpm : {5.0, 20.0, 60.0}) {
    with.wpm = wpm;
    textKeyer fresh({[n = 0]() mutable -> std::optional<char> { return "PARIS"[n++ % 5]; }, [] {}});
    const auto dot = static_cast<uint64_t>(57600 / wpm);
    const cbuff out((leadingDots + 2 * (50 - 7 + 3)) * dot);
    fresh.produce(out, with);
    std::vector<uint64_t> marks;
    for (uint64_t i = 1; i < out.count; i++)
      if (out.data[i].real() > 0 && out.data[i - 1].real() == 0) marks.push_back(i);
    ASSERT_EQ(marks.size(), 28u);
    EXPECT_EQ(marks[14] - marks[0], (50 - 7 + 3) * dot) << wpm << ": the gap of a letter is three";
  }
}

TEST_F(textKeyerTest, aBlockIsAsGoodAsMany) {
  const std::string text = "r5?";
  queue(text);
  const auto whole = produce(60'000, 60'000);
  for (size_t block : {1u, 7u, 126u, 511u, 513u}) {
    waiting.assign(text.begin(), text.end());
    keyer = textKeyer({[this]() -> std::optional<char> {
                         if (waiting.empty()) return std::nullopt;
                         const char c = waiting.front();
                         waiting.pop_front();
                         return c;
                       },
                       [] {}});
    EXPECT_EQ(produce(60'000, block), whole) << block;
  }
}

TEST_F(textKeyerTest, aNewSpeedBeginsWithTheNextElement) {
  queue("tt");
  produce(static_cast<size_t>(leadingDots * dot20 + 1000), 1'000'000); // in the first dash
  with.wpm = 40;
  auto heard = runs(produce(30'000));
  EXPECT_EQ(heard[0], 0);
  EXPECT_EQ(heard[1], 3 * dot20 - 1000);
  EXPECT_EQ(heard[2], 3 * dot20 / 2);
  EXPECT_EQ(heard[3], 3 * dot20 / 2);
}

TEST_F(textKeyerTest, hardEdgesAreOneOrZeroForTheWholeElement) {
  with.hardEdges = true;
  queue("en");
  const auto sent = produce(20 * dot20);
  for (const double level : sent) ASSERT_TRUE(level == 0.0 || level == 1.0) << level;
  auto heard = runs(sent);
  heard.pop_back();
  EXPECT_EQ(heard, (std::vector<int>{leadingDots * dot20, dot20, 3 * dot20, 3 * dot20, dot20, dot20}));
}

TEST_F(textKeyerTest, theSidetoneFollowsTheElements) {
  queue("e");
  skipLeadingSilence();
  EXPECT_FALSE(sidetone);
  EXPECT_FALSE(keyer.isSounding());
  produce(1); // the very first sample of a rise
  EXPECT_TRUE(sidetone);
  EXPECT_TRUE(keyer.isSounding());
  produce(dot20 - 1);
  EXPECT_TRUE(sidetone);
  produce(1);
  EXPECT_FALSE(sidetone);
  EXPECT_FALSE(keyer.isSounding());
  with.sidetone = nullptr;
  queue("e");
  produce(10 * dot20);
}

TEST_F(textKeyerTest, endsWhenNothingHasBeenKeyedForLongerThanTheHangTime) {
  skipLeadingSilence();
  queue("e"); // a dot and three blanks
  // idle is counted in steps of 6 samples, which are added before they pass: more than 200 ms at 9648
  EXPECT_EQ(samplesUntilEnd(), 4 * dot20 + 9648 - 6);
}

TEST_F(textKeyerTest, theHangTimeMayBeAnything) {
  skipLeadingSilence();
  with.hangTime_ms = -1;
  EXPECT_EQ(samplesUntilEnd(), 0) << "at once";
  queue("e");
  ends = 0;
  with.hangTime_ms = 0; // a whole millisecond is more
  EXPECT_EQ(samplesUntilEnd(), 4 * dot20 + 48 - 6);
  ends = 0;
  with.hangTime_ms = std::numeric_limits<int32_t>::max();
  produce(5'000'000);
  EXPECT_EQ(ends, 0);
  with.hangTime_ms = std::numeric_limits<int32_t>::min();
  produce(6, 6);
  EXPECT_EQ(ends, 1) << "looks every six samples";
}

TEST_F(textKeyerTest, behindTheHangTimeEachBlockIsSilenceAndEndsAgain) {
  skipLeadingSilence();
  produce(10'000);
  EXPECT_EQ(ends, 4) << "in the block of sample 9642 and in three more";
  const auto sent = produce(3 * 126);
  EXPECT_EQ(ends, 7);
  EXPECT_EQ(sent, std::vector<double>(3 * 126, 0.0));
}

TEST_F(textKeyerTest, textBehindTheHangTimeBeginsWithTheNextBlock) {
  skipLeadingSilence();
  produce(10'000);
  queue("e");
  ends = 0;
  auto heard = runs(produce(dot20 + 100));
  EXPECT_EQ(heard, (std::vector<int>{0, dot20, 100}));
  EXPECT_EQ(samplesUntilEnd(), 3 * dot20 - 100 + 9648 - 6) << "the hang time has begun anew";
}

TEST_F(textKeyerTest, theRadiosOwnKeyHoldsTheTransmission) {
  with.radioPtt = true;
  skipLeadingSilence();
  EXPECT_EQ(produce(20'000), std::vector<double>(20'000, 0.0));
  EXPECT_EQ(ends, 0);
  with.radioPtt = false;
  produce(1);
  EXPECT_EQ(ends, 1);
}

TEST_F(textKeyerTest, keyingElsewhereStartsTheHangTimeAnew) {
  skipLeadingSilence();
  produce(9000);
  keyer.noteKeying();
  EXPECT_EQ(samplesUntilEnd(), 9648 - 6);
}

TEST_F(textKeyerTest, tildeAndLineEndsEndTheTransmissionAndSoundAsABlank) {
  for (const char c : {'~', '\r', '\n'}) {
    const int before = ends;
    queue(std::string("e") + c + "e");
    produce(1); // whatever still lasts
    const auto sent = produce(16 * dot20);
    EXPECT_EQ(ends, before + 1) << static_cast<int>(c);
    const auto heard = runs(sent);
    ASSERT_GE(heard.size(), 5u);
    EXPECT_EQ(heard[2], 10 * dot20) << "three behind the letter and seven";
    EXPECT_EQ(heard[3], dot20);
    with.hangTime_ms = 10'000;
  }
  EXPECT_EQ(taken, "e~ee\ree\ne");
}

TEST_F(textKeyerTest, theEndComesWithTheCharacterAndNotBehindItsBlank) {
  skipLeadingSilence();
  queue("ee~");
  produce(8 * dot20, 8 * dot20);
  EXPECT_EQ(ends, 0);
  produce(1);
  EXPECT_EQ(ends, 1);
}

TEST_F(textKeyerTest, charactersWithoutACodeAreOneDotOfSilence) {
  queue("e,\xE4%e");
  EXPECT_EQ(runs(produce(15 * dot20))[2], (3 + 3) * dot20);
  EXPECT_EQ(taken, "e,\xE4%e");
}

TEST_F(textKeyerTest, aNumberSignIdlesForAnInstant) {
  queue("e##e");
  EXPECT_EQ(runs(produce(15 * dot20))[2], 3 * dot20 + 2 * 6);
}

TEST_F(textKeyerTest, noSpeedBreaksIt) {
  constexpr double inf = std::numeric_limits<double>::infinity();
  for (double wpm : {0.0, -0.0, -20.0, std::nan(""), inf, -inf, 1e-300, -1e-300, 1e300, 1e-5, -1e-5, 57600.0, 57601.0}) {
    with.wpm = wpm;
    queue("paris #?~");
    for (const double level : produce(20'000)) ASSERT_TRUE(level >= 0.0 && level <= 0.95) << wpm;
    waiting.clear();
    with.wpm = 20;
    produce(60'000); // an element that lasts for ever goes on
  }
}

TEST_F(textKeyerTest, aSpeedOfZeroMakesAnElementWithoutEnd) {
  skipLeadingSilence();
  with.wpm = 0;
  queue("ee");
  const auto sent = produce(500'000);
  EXPECT_EQ(sent.back(), 0.95);
  EXPECT_EQ(taken, "e");
}

TEST_F(textKeyerTest, aSpeedBelowZeroMakesElementsOfOneSample) {
  skipLeadingSilence();
  with.wpm = -20;
  queue("aaaa"); // six elements each: a dot, a pause, a dash and three pauses
  produce(12);
  EXPECT_EQ(taken, "aa");
}

} // namespace
} // namespace larch::test
