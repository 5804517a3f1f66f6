#include "radio/protocol1Registers.h"
#include <gtest/gtest.h>
#include <limits>

using namespace larch::protocol1;

TEST(protocol1RegistersTest, generalHoldsRateFilterSwitchesAndCount) {
  EXPECT_EQ(general(48000, 0, false, false, 1), (registerBytes{0, 0, 0, 4}));
  EXPECT_EQ(general(96000, 0x7f, true, false, 2), (registerBytes{1, 0xfe, 8, 0x0c}));
  EXPECT_EQ(general(192000, 0x80, false, true, 8), (registerBytes{2, 0, 0x20, 0x3c}));
  EXPECT_EQ(general(384000, -1, true, true, 33), (registerBytes{3, 0xfe, 0x28, 4}));
  for (int32_t rate : {0, -1, 44100, 768000}) EXPECT_EQ(general(rate, 0, false, false, 1)[0], 0);
}

TEST(protocol1RegistersTest, frequenciesAreBigEndian) {
  EXPECT_EQ(frequency(0x01020304), (registerBytes{1, 2, 3, 4}));
  EXPECT_EQ(frequency(33728000), (registerBytes{0x02, 0x02, 0xa6, 0x00}));
}

TEST(protocol1RegistersTest, onlySomeBoardsKnowTheDriveSwitches) {
  for (int32_t board : {0, 1, 5, 8, -6}) EXPECT_EQ(drive(200, board, true, true, true), (registerBytes{200, 0, 0, 0}));
  for (int32_t board : {6, 7}) {
    EXPECT_EQ(drive(1, board, false, false, false), (registerBytes{1, 0, 0, 0}));
    EXPECT_EQ(drive(1, board, true, false, false)[1], 4);
    EXPECT_EQ(drive(1, board, false, true, false)[1], 8);
    EXPECT_EQ(drive(1, board, false, false, true)[1], 16);
  }
}

TEST(protocol1RegistersTest, gainComesInThreeForms) {
  EXPECT_EQ(gain(gainForm::plain, 5, 24, -12), (registerBytes{0, 0, 0, 0x25}));
  EXPECT_EQ(gain(gainForm::wide, 36, 24, -12), (registerBytes{0, 0, 0, 0x64}));
  EXPECT_EQ(gain(gainForm::separate, 5, 24, -12), (registerBytes{0, 0, 0, 36 + 0x40}));
  EXPECT_EQ(gain(gainForm::plain, 0xff, 0, 0)[3], 0x1f) << "modulo 256";
  EXPECT_EQ(gain(gainForm::separate, 0, -13, -12)[3], 0x3f);
  constexpr int32_t least = std::numeric_limits<int32_t>::min(), most = std::numeric_limits<int32_t>::max();
  EXPECT_EQ(gain(gainForm::separate, 0, most, least)[3], 0x3f);
}

TEST(protocol1RegistersTest, eachReceiversAdcHasTwoBits) {
  const int32_t eight[] = {1, 2, 3, 0, 3, 2, 1, 1};
  EXPECT_EQ(adcAssignment(eight, gainForm::plain, 9, -12), (registerBytes{0x39, 0x5b, 0, 0}));
  EXPECT_EQ(adcAssignment(std::span(eight, 1), gainForm::wide, 9, -12), (registerBytes{1, 0, 0, 0}));
  const int32_t ten[] = {0, 0, 0, 0, 0, 0, 0, 0, 3, 3};
  EXPECT_EQ(adcAssignment(ten, gainForm::separate, 9, -12), (registerBytes{0, 0, static_cast<uint8_t>(21 - 0x40), 0}));
}

TEST(protocol1RegistersTest, keyerAndHangTime) {
  EXPECT_EQ(keyer(true), (registerBytes{1, 0, 0, 0}));
  EXPECT_EQ(keyer(false), (registerBytes{0, 0, 0, 0}));
  EXPECT_EQ(hangTime(123), (registerBytes{30, 3, 0, 0}));
  EXPECT_EQ(hangTime(1023), (registerBytes{255, 3, 0, 0}));
}

TEST(protocol1RegistersTest, thirtyTwoReceiversHaveRegisters) {
  int seen = 0;
  for (int index = 0; index < registers; index++) {
    const int receiver = receiverOf(index);
    const int expected = index >= 2 && index <= 8 ? index - 2 : index >= 18 && index <= 42 ? index - 11 : -1;
    EXPECT_EQ(receiver, expected) << index;
    seen += receiver >= 0;
  }
  EXPECT_EQ(seen, 32);
}
