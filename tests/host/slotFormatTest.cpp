#include "host/slotFormat.h"
#include "host/slotClock.h"
#include <cstdio>
#include <fstream>
#include <gtest/gtest.h>
#include <stdexcept>
#include <unistd.h>

namespace larchhost {
namespace {

template <class action> std::string refusal(action&& act) {
  try {
    act();
  } catch (const std::runtime_error& e) {
    return e.what();
  }
  return "";
}

std::string refusedTones(const std::string& text) {
  return refusal([&] { parseTones(text); });
}

// As ft8code of a coder's package prints it, with shortened parts.
constexpr const char* coderText = R"(    Message                               Decoded                             Err? Type
----------------------------------------------------------------------------------------------------
 1. CQ K1ABC FN42                         CQ K1ABC FN42                            1   Std

Source-encoded message, 77 bits:
00000000000000000000000000100000010011011110111100011010100010100001100110001

14-bit CRC:
01010101010101

Channel symbols (79 tones):
  Sync               Data               Sync               Data               Sync
3140652 00000000100671356750346402735 3140652 10115012343571234567012345670 3140652
)";

TEST(slotFormatTest, withoutAWordItIsAQuarterOfAMinute) {
  const slotFormat f = chooseSlotFormat({});
  EXPECT_EQ(f.period_ms, 15000);
  EXPECT_EQ(f.samplesPerBlock(), 180000);
  EXPECT_EQ(f.endPadding(), 600 * 12);
  EXPECT_EQ(f.decimation(), 4);
  EXPECT_EQ(f.fileSize(), 44 + 2 * 180000);
  EXPECT_EQ(f.passband().low, 100);
  EXPECT_EQ(f.passband().high, 5000);
}

TEST(slotFormatTest, theKnownModesFitTheirSlots) {
  for (const char* name : {"ft8", "ft4", "jt65", "jt9", "wspr"}) {
    slotWishes w;
    w.mode = name;
    const slotFormat f = chooseSlotFormat(w);
    EXPECT_GT(f.tones, 0u) << name;
    EXPECT_LT(static_cast<double>(f.tones) * f.samplesPerSymbol / 48, f.recorded_ms) << name;
    EXPECT_LT(f.recorded_ms, f.period_ms) << name;
    // but for JT65 the tones are as far apart as symbols are short
    EXPECT_NEAR(f.toneSpacing_Hz * f.samplesPerSymbol, 48000, name == std::string("jt65") ? 2 : 1e-9) << name;
    EXPECT_EQ(f.samplesPerBlock(), f.period_ms * 12) << name;
    EXPECT_EQ(f.samplesPerBlock() - f.endPadding(), f.recorded_ms * 12) << name;
  }
}

TEST(slotFormatTest, wsprsFilesHave45000PairsOf375Hz) {
  slotWishes w;
  w.mode = "wspr";
  w.save = "c2";
  const slotFormat f = chooseSlotFormat(w);
  EXPECT_EQ(f.decimation(), 48000 / 375);
  EXPECT_EQ(f.samplesPerBlock(), 2 * 45000);
  EXPECT_EQ(f.endPadding(), 2 * 6 * 375);
  EXPECT_EQ(f.fileSize(), 26 + 8 * 45000);
  EXPECT_EQ(f.passband().low, 1300);
  EXPECT_EQ(f.passband().high, 1700);
}

TEST(slotFormatTest, pairsStayTogetherAtAnyLength) {
  for (int32_t period = 500; period < 3600000; period = (period * 7 / 5 / 500 + 1) * 500) {
    slotWishes w;
    w.period_ms = period;
    for (const char* save : {"wav", "c2"}) {
      w.save = save;
      const slotFormat f = chooseSlotFormat(w);
      EXPECT_GE(f.recorded_ms, period / 2) << period;
      EXPECT_LE(f.recorded_ms, period - 100) << period;
      EXPECT_GT(f.endPadding(), 0) << period;
      EXPECT_TRUE(!f.c2 || (f.samplesPerBlock() % 2 == 0 && f.endPadding() % 2 == 0)) << period;
    }
  }
}

TEST(slotFormatTest, whatIsSaidGoesBeforeTheMode) {
  slotWishes w;
  w.mode = "ft8";
  w.period_ms = 30000;
  w.samplesPerSymbol = 1000;
  w.toneSpacing_Hz = 48;
  const slotFormat f = chooseSlotFormat(w);
  EXPECT_EQ(f.period_ms, 30000);
  EXPECT_EQ(f.recorded_ms, 28800);
  EXPECT_EQ(f.samplesPerSymbol, 1000);
  EXPECT_EQ(f.toneSpacing_Hz, 48);
  w.recorded_ms = 20000;
  EXPECT_EQ(chooseSlotFormat(w).recorded_ms, 20000);
}

TEST(slotFormatTest, badWordsGetClearErrors) {
  slotWishes w;
  w.mode = "ft9";
  EXPECT_EQ(refusal([&] { chooseSlotFormat(w); }), "unknown slot mode 'ft9'; there are ft8, ft4, jt65, jt9, wspr");
  w.mode = "";
  for (const int32_t period : {499, 3600001, 0, -1}) {
    w.period_ms = period;
    EXPECT_EQ(refusal([&] { chooseSlotFormat(w); }), "a period has 500 to 3600000 ms");
  }
  for (const int32_t period : {501, 999, 15100}) {
    w.period_ms = period;
    EXPECT_EQ(refusal([&] { chooseSlotFormat(w); }), "a period is a multiple of 500 ms");
  }
  w.period_ms = 1000;
  for (const int32_t recorded : {99, 901, -5}) {
    w.recorded_ms = recorded;
    EXPECT_EQ(refusal([&] { chooseSlotFormat(w); }), "of a period of 1000 ms there can be recorded 100 to 900");
  }
  w.save = "mp3";
  EXPECT_EQ(refusal([&] { chooseSlotFormat(w); }), "--save is wav or c2, not 'mp3'");
}

TEST(slotFormatTest, tonesStandBetweenCommasAndWhiteSpace) {
  EXPECT_EQ(parseTones("0, 1.5 -2,3\n\t40 # no more of this: 7\n,,5\r\n"), (std::vector<float>{0, 1.5F, -2, 3, 40, 5}));
}

TEST(slotFormatTest, longWordsOfDigitsAreAToneEach) {
  EXPECT_EQ(parseTones("3140 652 31"), (std::vector<float>{3, 1, 4, 0, 652, 31}));
}

TEST(slotFormatTest, whatACoderPrintsIsTaken) {
  const auto tones = parseTones(coderText);
  ASSERT_EQ(tones.size(), 7u + 29 + 7 + 29 + 7);
  EXPECT_EQ(std::vector<float>(tones.begin(), tones.begin() + 8), (std::vector<float>{3, 1, 4, 0, 6, 5, 2, 0}));
  EXPECT_EQ(tones.back(), 2);
  // as wsprcode and jt9code print theirs, with text before and behind
  EXPECT_EQ(parseTones("Sync symbols:\n 1 1 0\n\nChannel symbols:\n      3 3 0\n      2 1\n\nDecoded message: K1ABC FN42 33\n"),
            (std::vector<float>{3, 3, 0, 2, 1}));
  EXPECT_EQ(parseTones("Message Decoded\n\nChannel symbols\n 0 0 7 8 0 3\n"), (std::vector<float>{0, 0, 7, 8, 0, 3}));
  EXPECT_EQ(parseTones("Channel symbols (105 tones):\nR Sync Data R\n0 0132 1002 1023 0\n").size(), 14u);
}

TEST(slotFormatTest, textsThatAreNoTonesGetClearErrors) {
  EXPECT_EQ(refusedTones(""), "there are no tones");
  EXPECT_EQ(refusedTones(" # only a comment\n"), "there are no tones");
  EXPECT_EQ(refusedTones("1 2 three"), "'three' is no tone number");
  EXPECT_EQ(refusedTones("1 nan"), "'nan' is no tone number");
  EXPECT_EQ(refusedTones("1 inf"), "'inf' is no tone number");
  EXPECT_EQ(refusedTones("1e30"), "'1e30' is no tone number");
  EXPECT_EQ(refusedTones("-1001"), "'-1001' is no tone number");
  EXPECT_EQ(refusedTones("Information-carrying channel symbols\n 3 18 18\n"), "'Information-carrying' is no tone number");
  EXPECT_EQ(refusedTones(std::string(10001, '1')), "there are more than 10000 tones");
  EXPECT_EQ(refusedTones(std::string("1 \0 2", 5)).substr(0, 1), "'");
}

TEST(slotFormatTest, filesThatCantBeReadGetClearErrors) {
  EXPECT_EQ(refusal([] { readTones("/nowhere/tones.txt"); }), "can't read /nowhere/tones.txt");
  EXPECT_EQ(refusal([] { readTones("/"); }), "can't read /");
  const std::string path = testing::TempDir() + "larch-tones-" + std::to_string(getpid());
  std::ofstream(path) << "1 2 4 x";
  EXPECT_EQ(refusal([&] { readTones(path); }), path + ": 'x' is no tone number");
  std::ofstream(path) << "1 2 4\n";
  EXPECT_EQ(readTones(path), (std::vector<float>{1, 2, 4}));
  std::ofstream(path) << std::string(1 << 20, ' ') << "1";
  EXPECT_EQ(refusal([&] { readTones(path); }), path + " is too long to be tones");
  std::remove(path.c_str());
}

TEST(slotFormatTest, messagesThatDontFitAreRefused) {
  slotWishes w;
  w.mode = "ft8";
  const slotFormat ft8 = chooseSlotFormat(w);
  const auto refused = [](size_t count, float tone, const slotFormat& f, int32_t lowest = 1500) {
    return refusal([&] { checkTones(std::vector<float>(count, tone), f, lowest); });
  };
  EXPECT_EQ(refused(79, 7, ft8), "");
  EXPECT_EQ(refused(78, 7, ft8), "a message of this mode has 79 tones, these are 78");
  const slotFormat any = chooseSlotFormat({});
  EXPECT_EQ(refused(93, 0, any), "");
  EXPECT_EQ(refused(94, 0, any), "15040 ms of tones in a slot of 15000 ms");
  EXPECT_EQ(refused(1, 1000, any), "the tones lie at 7750 to 7750 Hz; 50 to 5500 can be sent");
  EXPECT_EQ(refused(1, -10, any, 100), "the tones lie at 38 to 38 Hz; 50 to 5500 can be sent");
  slotWishes young;
  young.period_ms = 3000;
  const std::string never = "nothing is sent in slots of 3.5 s or less, or of which less than 3 s are recorded as WAV";
  EXPECT_EQ(refused(1, 0, chooseSlotFormat(young)), never);
  young.period_ms = 3500;
  EXPECT_EQ(refused(1, 0, chooseSlotFormat(young)), never);
  young.period_ms = 4000;
  EXPECT_EQ(refused(1, 0, chooseSlotFormat(young)), "");
  young.period_ms = 59000;
  young.save = "c2";
  EXPECT_EQ(refused(1, 0, chooseSlotFormat(young)), never);
}

TEST(slotFormatTest, theTransmitFilterPassesTheTones) {
  slotWishes w;
  w.mode = "ft8";
  const filterEdges edges = toneEdges({3, 0, 7}, chooseSlotFormat(w), 1000);
  EXPECT_EQ(edges.low, 800);
  EXPECT_EQ(edges.high, 1244);
  EXPECT_EQ(toneEdges({0}, chooseSlotFormat(w), 100).low, 0);
}

TEST(slotClockTest, slotsAreCountedFromTheTopOfTheHour) {
  using namespace std::chrono;
  const slotClock::time hour{hours{480000}};
  EXPECT_EQ(slotClock::position_ms(hour, 15000), 0);
  EXPECT_EQ(slotClock::position_ms(hour + 44999ms, 15000), 14999);
  EXPECT_EQ(slotClock::position_ms(hour + 3599s, 7000), 1000);
  EXPECT_EQ(slotClock::position_ms(hour + 3600s, 7000), 0);
}

TEST(slotClockTest, whatIsQueuedEarlyInASlotIsNotForTheNext) {
  using namespace std::chrono;
  const slotClock::time slot{hours{480000} + seconds{15}};
  EXPECT_FALSE(slotClock::isForNext(slot, 15000));
  EXPECT_FALSE(slotClock::isForNext(slot + 3499ms, 15000));
  EXPECT_TRUE(slotClock::isForNext(slot + 3500ms, 15000));
  EXPECT_TRUE(slotClock::isForNext(slot + 14999ms, 15000));
  EXPECT_TRUE(slotClock::isForNext(slot - 15s, 60000)); // no late start there
}

} // namespace
} // namespace larchhost
