#include <gtest/gtest.h>
#include "sim/registerFile.h"

using namespace larch::sim;

namespace {
struct written {
  registerFile file;
  problemLog problems;
  bool put(int address, std::array<uint8_t, 4> b, bool mox = false) {
    return file.write({static_cast<uint8_t>(address << 1 | (mox ? 1 : 0)), b[0], b[1], b[2], b[3]}, 76800000, problems);
  }
};
} // namespace

TEST(registerFileTest, readsEveryRegisterByItsMeaning) {
  written w;
  w.put(0, {3, 0x7F << 1, 0x28, 7 << 3 | 4});
  w.put(1, {0x00, 0xD6, 0xF8, 0x90});
  w.put(9, {255, 0x1C, 0, 0});
  w.put(14, {0b11100100, 0b00011011, 0xC5, 0});
  w.put(15, {1, 0, 0, 0});
  w.put(16, {120 >> 2, 120 & 3, 0, 0});
  const hostSettings& s = w.file.settings();
  EXPECT_EQ(s.sampleRate_Hz, 384000);
  EXPECT_EQ(s.filterBits, 0x7F);
  EXPECT_TRUE(s.lnaOn);
  EXPECT_TRUE(s.secondAntenna);
  EXPECT_EQ(s.receivers, 8);
  EXPECT_TRUE(s.duplex);
  EXPECT_EQ(s.txFrequency_Hz, 14088336u);
  EXPECT_EQ(s.drive, 255);
  EXPECT_TRUE(s.disableTr && s.enablePa && s.tune);
  EXPECT_EQ(s.adc, (std::array<int, 8>{0, 1, 2, 3, 3, 2, 1, 0}));
  EXPECT_EQ(s.txGainByte, 0xC5);
  EXPECT_TRUE(s.cwInternal);
  EXPECT_EQ(s.cwHangTime_ms, 120);
  EXPECT_EQ(w.problems.total(), 0u);
}

TEST(registerFileTest, knowsAllThirtyTwoReceivers) {
  written w;
  for (int r = 0; r < 32; ++r) w.put(r < 7 ? r + 2 : r + 11, {0, 0x10, 0, static_cast<uint8_t>(r)});
  for (uint32_t r = 0; r < 32; ++r) EXPECT_EQ(w.file.settings().rxFrequency_Hz[r], 0x100000 + r);
}

TEST(registerFileTest, gainInAllItsForms) {
  hostSettings s;
  const auto gain = [&s](gainForm form) { return receiveGain_dB(s, form, -12); };
  for (int g = -12; g <= 48; ++g) {
    s = {};
    s.gainByte = static_cast<uint8_t>(g + 12 + 0x40);
    EXPECT_EQ(gain(gainForm::liteSecond), g);
    // first form: 51 - gain, its sixth bit in register 0
    const int v = 51 - g;
    s.gainByte = static_cast<uint8_t>(v % 32 + 0x20);
    s.lnaOn = v >= 32;
    EXPECT_EQ(gain(gainForm::liteFirst), g);
    EXPECT_EQ(gain(gainForm::liteSecond), g); // the second board understands it
  }
  for (int a = 0; a < 32; ++a) {
    s.gainByte = static_cast<uint8_t>(0x20 + a);
    EXPECT_EQ(gain(gainForm::attenuator), -a);
  }
  s.gainByte = 0x40 + 36;
  s.txGainByte = 0xC0 + 10; // a gain of its own while transmitting
  EXPECT_EQ(gain(gainForm::liteSecond), 24);
  s.mox = true;
  EXPECT_EQ(gain(gainForm::liteSecond), -2);
}

TEST(registerFileTest, keepsOrderCountsAndBytes) {
  written w;
  EXPECT_TRUE(w.put(2, {1, 2, 3, 4}));
  EXPECT_FALSE(w.put(2, {1, 2, 3, 4}));
  EXPECT_TRUE(w.put(2, {0, 2, 3, 5}, true));
  EXPECT_EQ(w.file.writes(2), 3u);
  EXPECT_EQ(w.file.bytes(2), (std::array<uint8_t, 4>{0, 2, 3, 5}));
  ASSERT_EQ(w.file.history().size(), 3u);
  EXPECT_EQ(w.file.history()[2].frame, 2u);
  EXPECT_TRUE(w.file.history()[2].mox());
  EXPECT_TRUE(w.file.settings().mox);
  w.put(3, {0, 0, 0, 0});
  EXPECT_FALSE(w.file.settings().mox);
}

TEST(registerFileTest, orderIsBounded) {
  registerFile file(10);
  problemLog problems;
  for (int i = 0; i < 25; ++i) file.write({8, 0, 0, 0, 0}, 76800000, problems);
  EXPECT_EQ(file.history().size(), 10u);
  EXPECT_EQ(file.history().front().frame, 15u);
}

TEST(registerFileTest, faultsBecomeProblems) {
  written w;
  w.put(46, {0, 0, 0, 0});
  EXPECT_EQ(w.problems.count(problem::unknownRegister), 1u);
  w.put(0, {4, 0, 0, 0});
  EXPECT_EQ(w.problems.count(problem::unknownRate), 1u);
  w.put(2, {0x02, 0x49, 0xF0, 0x01}); // 38,400,001: one above half the clock
  EXPECT_EQ(w.problems.count(problem::frequencyTooHigh), 1u);
  w.put(2, {0x02, 0x49, 0xF0, 0x00});
  EXPECT_EQ(w.problems.count(problem::frequencyTooHigh), 1u);
  EXPECT_EQ(w.problems.total(), 3u);
  EXPECT_EQ(w.problems.summary(), "unknown register 1, unknown rate 1, frequency too high 1");
  w.problems.clear();
  EXPECT_EQ(w.problems.summary(), "none");
}

TEST(registerFileTest, deviceWritesAreKeptApart) {
  written w;
  EXPECT_TRUE(w.put(0x7D, {6, 0xA8, 0x80, 192}));
  EXPECT_TRUE(w.put(0x7D, {6, 0xA8, 0x80, 192}, true));
  EXPECT_EQ(w.file.queuedCommands().size(), 2u);
  EXPECT_EQ(w.problems.total(), 0u);
}

TEST(registerFileTest, aFloodOfWritesIsForgottenFromItsBeginning) {
  registerFile file(3);
  problemLog problems;
  for (uint8_t i = 0; i < 5; i++) file.write({0x7D << 1, i, 0, 0, 0}, 76800000, problems);
  ASSERT_EQ(file.queuedCommands().size(), 3u);
  EXPECT_EQ(file.queuedCommands().front().c[1], 2);
  EXPECT_EQ(file.history().size(), 3u);
}

TEST(registerFileTest, describesInWords) {
  const auto say = [](std::array<uint8_t, 5> c) { return describeRegister(registerWrite{0, c}); };
  EXPECT_EQ(say({0x00, 2, 0x2A, 0x08, 0x0C}), "0 rate, filters, receivers: 192000 Hz, 2 receivers, filters 0x15, amplifier");
  EXPECT_EQ(say({0x05, 0, 0x6C, 0x56, 0x60}), "2 receiver frequency (MOX): receiver 0 at 7100000 Hz");
  EXPECT_EQ(say({0x12, 200, 0x10, 0, 0}), "9 drive, power amplifier: drive 200, tune");
  EXPECT_EQ(say({0xFA, 6, 0xA8, 0, 55}), "125 device write: 06 a8 00 37");
  EXPECT_STREQ(registerName(17), "unused");
  EXPECT_STREQ(registerName(99), "?");
}

TEST(discoveryTest, everyBoardIsFoundByItsName) {
  for (const boardProfile& b : boardProfiles()) {
    EXPECT_EQ(findBoard(b.name), &b);
    const auto answer = discoveryAnswer(b, {1, 2, 3, 4, 5, 6}, 5, false);
    EXPECT_EQ(answer[2], 2);
    EXPECT_EQ(answer[3], 1);
    EXPECT_EQ(answer[8], 6);
    EXPECT_EQ(answer[9], b.firmware);
    EXPECT_EQ(answer[10], b.id);
    EXPECT_EQ(answer[19], b.tellsReceivers ? 5 : 0);
  }
  EXPECT_EQ(findBoard("nothing"), nullptr);
  EXPECT_EQ(defaultBoard().clock_Hz, 76800000);
}
