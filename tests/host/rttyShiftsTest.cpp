#include "host/rttyShifts.h"
#include <cctype>
#include <gtest/gtest.h>
#include <random>

using namespace larchhost;

namespace {

constexpr char idle = rttyLettersMark; // what the library sends while nothing waits

bool isFigure(char c) { return isRttyText(c) && !std::isalpha(static_cast<unsigned char>(c)) && c != ' '; }

// The library's sender and a receiver that is back at letters behind a blank and a line's end, or isn't.
class pairOfStations {
 public:
  explicit pairOfStations(bool unshiftsAtBlanks) : unshifts_(unshiftsAtBlanks) {}
  void send(char c) {
    if (c == rttyFiguresMark || c == rttyLettersMark) {
      heardFigures_ = c == rttyFiguresMark;
      return;
    }
    if (c == ' ' || c == '\n') {
      if (unshifts_) heardFigures_ = false;
      heard += c;
      return;
    }
    if (isFigure(c) != sendsFigures_) heardFigures_ = sendsFigures_ = isFigure(c);
    heard += heardFigures_ == isFigure(c) ? c : '#';
  }
  std::string heard;

 private:
  const bool unshifts_;
  bool sendsFigures_ = false, heardFigures_ = false;
};

std::string queued(const std::string& text) {
  std::string all;
  for (const char c : text) all += rttyQueued(c, all, all.empty());
  return all;
}

TEST(rttyShiftsTest, onlyWhatHasACodeMayBeTyped) {
  for (const char c : std::string("azAZ019 -',!:()+?&./=")) EXPECT_TRUE(isRttyText(c)) << c;
  for (const char c : std::string("~#@*[]<>{}$%\"\r\n\x0e\x0f\xa3\0", 20)) EXPECT_FALSE(isRttyText(c)) << int{c};
}

TEST(rttyShiftsTest, figuresGetTheirShiftAgainBehindABlankAndOnlyThere) {
  EXPECT_EQ(queued("A1"), "A1");
  EXPECT_EQ(queued("UR 599"), "UR 599"); // the sender is at letters and shifts by itself
  EXPECT_EQ(queued("599 042 K"), "\x0e"
                                 "599 \x0e"
                                 "042 K");
  EXPECT_EQ(rttyQueued('9', "5", true), "\x0e"
                                        "9"); // behind a pause
  EXPECT_EQ(rttyQueued('9', "5", false), "9");
  EXPECT_EQ(rttyQueued('9', "5~", false), "\x0e"
                                          "9"); // of the next transmission
}

TEST(rttyShiftsTest, aLetterBehindAMarkWhoseFigureWasTakenBackGetsItsOwn) {
  EXPECT_EQ(rttyQueued('K', "A \x0e", false), "\x0f"
                                              "K");
  EXPECT_EQ(rttyQueued('5', "A \x0e", false), "5");
}

TEST(rttyShiftsTest, everyReceiverReadsWhatIsTypedWithPausesAnywhere) {
  std::mt19937 random(7);
  const std::string characters = "AB Z19 -?. 5K";
  for (const bool unshifts : {true, false}) {
    pairOfStations air(unshifts);
    std::string text, before;
    for (int i = 0; i < 20000; i++) {
      const char c = characters[random() % characters.size()];
      const bool pause = i == 0 || random() % 4 == 0;
      if (pause) air.send(idle);
      for (const char q : rttyQueued(c, before, pause)) {
        before += q;
        air.send(q);
      }
      text += c;
    }
    EXPECT_EQ(air.heard, text);
  }
}

} // namespace
