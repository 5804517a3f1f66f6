// The two tones of a text, read sample by sample.
#include "modes/rttyKeyer.h"
#include "tests/modes/rttyTesting.h"
#include <gtest/gtest.h>

namespace larch::test {
namespace {

constexpr size_t frame = 7920;

class rttyKeyerTest : public testing::Test {
 protected:
  std::vector<cdouble> produce(size_t samples, size_t chunk = 512) {
    std::vector<cdouble> sent;
    while (sent.size() < samples) {
      const cbuff out(std::min(chunk, samples - sent.size()), cdouble(7, 7));
      keyer.produce(out);
      sent.insert(sent.end(), out.data, out.data + out.count);
    }
    return sent;
  }
  std::vector<int> framesOfText(const std::string& queued, size_t frames) {
    waiting += queued;
    const auto sent = produce(frames * frame);
    return framesOf(sent, std::exchange(last_, sent.back()));
  }

  std::string waiting;
  rttyKeyer keyer{[this]() -> std::optional<char> {
    if (waiting.empty()) return std::nullopt;
    const char c = waiting.front();
    waiting.erase(0, 1);
    return c;
  }};

 private:
  cdouble last_ = 1;
};

using codes = std::vector<int>;

TEST_F(rttyKeyerTest, withoutTextItSendsLettersShifts) { EXPECT_EQ(framesOfText("", 5), codes(5, 31)); }

TEST_F(rttyKeyerTest, everyBitHasItsLength) {
  waiting = "R"; // 01010: each bit has another neighbour
  const auto turns = turnsOf(produce(2 * frame));
  std::vector<std::pair<bool, int>> runs;
  for (const double t : turns) {
    const bool mark = std::abs(t - 2 * 3.1415927 * 2170 / 48000) < 1e-9;
    ASSERT_TRUE(mark || std::abs(t - 2 * 3.1415927 * 2000 / 48000) < 1e-9) << t;
    if (runs.empty() || runs.back().first != mark) runs.emplace_back(mark, 0);
    runs.back().second++;
  }
  const std::vector<std::pair<bool, int>> wanted = {{false, 2 * 1056}, {true, 1056}, {false, 1056}, {true, 1056},
                                                    {false, 1056},     {true, 1584}, {false, 1056}, {true, 5 * 1056 + 1584}};
  EXPECT_EQ(runs, wanted);
}

TEST_F(rttyKeyerTest, theTonesHaveOneLevelAndNoJump) {
  waiting = "the quick brown fox 0123456789";
  const auto sent = produce(40 * frame, 126);
  for (const cdouble& x : sent) ASSERT_NEAR(std::abs(x), 0.95, 1e-12);
  const auto turns = turnsOf(sent);
  for (size_t n = 0; n < turns.size(); n++)
    ASSERT_LT(std::min(std::abs(turns[n] - 0.2840523399583333), std::abs(turns[n] - 0.26179939166666666)), 1e-9) << n;
}

TEST_F(rttyKeyerTest, aFigureBehindALetterComesWithItsShiftInOneGo) { EXPECT_EQ(framesOfText("A1", 4), (codes{3, 27, 23, 31})); }

TEST_F(rttyKeyerTest, shiftsComeWhereTheHalfChanges) {
  EXPECT_EQ(framesOfText("A12B3", 9), (codes{3, 27, 23, 19, 31, 25, 27, 1, 31}));
}

TEST_F(rttyKeyerTest, anIdleLineAndABlankKeepTheSendersShift) {
  EXPECT_EQ(framesOfText("1", 3), (codes{27, 23, 31}));
  EXPECT_EQ(framesOfText("2 3", 4), (codes{19, 4, 1, 31})) << "still figures";
  EXPECT_EQ(framesOfText("a", 2), (codes{31, 3})) << "a shift of its own";
}

TEST_F(rttyKeyerTest, charactersOutsideTheTablesSendCodeZeroAndNoShift) {
  EXPECT_EQ(framesOfText("1#\xFF[2", 6), (codes{27, 23, 0, 0, 0, 19}));
  EXPECT_EQ(framesOfText("a{b", 4), (codes{31, 3, 0, 25}));
}

TEST_F(rttyKeyerTest, byteZeroSendsTheLettersShift) { EXPECT_EQ(framesOfText(std::string("a\0b", 3), 3), (codes{3, 31, 25})); }

TEST_F(rttyKeyerTest, shiftBytesInTheTextGoOutWithoutChangingTheSendersState) {
  EXPECT_EQ(framesOfText("\x0E"
                         "a\x0F"
                         "1",
                         5),
            (codes{27, 3, 31, 27, 23}));
}

TEST_F(rttyKeyerTest, everyByteIsKeyedAsTheTableSays) {
  std::string all;
  for (int c = 0; c < 256; c++) all += std::string(1, static_cast<char>(c)) + "7e";
  std::replace(all.begin(), all.end(), '~', '#'); // the mode's, see there
  const codes wanted = codesOf(all);
  EXPECT_EQ(framesOfText(all, wanted.size()), wanted);
}

TEST_F(rttyKeyerTest, theChunkLengthChangesNothing) {
  const std::string text = "De Q1ABC 599";
  waiting = text;
  const auto whole = produce(20 * frame, 20 * frame);
  for (const size_t chunk : {1u, 7u, 126u, 511u, 513u}) {
    waiting = text;
    rttyKeyer fresh{[this]() -> std::optional<char> {
      if (waiting.empty()) return std::nullopt;
      const char c = waiting.front();
      waiting.erase(0, 1);
      return c;
    }};
    for (size_t at = 0; at < whole.size(); at += chunk) {
      const cbuff out(std::min(chunk, whole.size() - at));
      fresh.produce(out);
      for (size_t i = 0; i < out.count; i++) ASSERT_LT(std::abs(out.data[i] - whole[at + i]), 1e-9) << chunk << " " << at + i;
    }
  }
  keyer.produce(cbuff(0));
}

} // namespace
} // namespace larch::test
