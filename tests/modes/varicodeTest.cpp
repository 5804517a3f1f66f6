#include "modes/varicode.h"
#include "tests/support/pskTestSender.h"
#include <gtest/gtest.h>
#include <set>

using namespace larch;
using testing_psk::varicodeBits;

namespace {

std::string stored(uint32_t character) {
  std::string bits;
  for (uint32_t code = varicodeTable[character]; code; code = code << 1 & 0xffff) bits += code & 0x8000 ? '1' : '0';
  return bits;
}

std::string reader(const std::string& bits) {
  const varicodeReverse table = reverseVaricode();
  varicodeReader r;
  std::string text;
  for (const char bit : bits)
    if (const uint8_t c = r.put(bit == '1', table)) text += static_cast<char>(c);
  return text;
}

std::string asText(const std::vector<bool>& bits) {
  std::string text;
  for (const bool bit : bits) text += bit ? '1' : '0';
  return text;
}

} // namespace

TEST(varicodeTest, tableEqualsTheCodesTypedApart) {
  for (uint32_t c = 0; c < 256; c++) EXPECT_EQ(stored(c), varicodeBits(static_cast<uint8_t>(c))) << c;
}

TEST(varicodeTest, namedCodesAreAsDescribed) {
  EXPECT_EQ(stored(' '), "1");
  EXPECT_EQ(stored('e'), "11");
  EXPECT_EQ(stored('t'), "101");
  EXPECT_EQ(stored('a'), "1011");
  EXPECT_EQ(varicodeTable[255], 0xB5B0);
}

TEST(varicodeTest, codesAreDistinctWithOnesAtBothEndsAndNoTwoZerosInside) {
  std::set<std::string> seen;
  for (uint32_t c = 0; c < 256; c++) {
    const std::string code = stored(c);
    ASSERT_FALSE(code.empty()) << c;
    EXPECT_EQ(code.front(), '1') << c;
    EXPECT_EQ(code.back(), '1') << c;
    EXPECT_EQ(code.find("00"), std::string::npos) << c;
    EXPECT_LE(code.size(), c < 128 ? 10u : 12u) << c;
    seen.insert(code);
  }
  EXPECT_EQ(seen.size(), 256u);
}

// Of 376 codes of up to 12 bits the first 256 are in use: the shortest ones.
TEST(varicodeTest, noShorterCodeIsLeftFree) {
  std::set<uint32_t> used;
  for (uint32_t c = 0; c < 256; c++) used.insert(static_cast<uint32_t>(std::stoul(stored(c), nullptr, 2)));
  uint32_t free = 0;
  for (uint32_t n = 1; n <= 0xB5B; n += 2) {
    bool pair = false;
    for (uint32_t rest = n; rest > 3; rest >>= 1) pair = pair || (rest & 3) == 0;
    if (!pair && !used.contains(n)) free++;
  }
  EXPECT_EQ(free, 0u);
}

TEST(varicodeTest, eachOfTheKeysNamesItsCharacterAndAllOthersNone) {
  const varicodeReverse table = reverseVaricode();
  varicodeReverse expected{};
  for (uint32_t c = 0; c < 256; c++)
    expected[std::stoul(varicodeBits(static_cast<uint8_t>(c)), nullptr, 2) >> 1] = static_cast<uint8_t>(c);
  EXPECT_EQ(table, expected);
}

TEST(varicodeTest, everyCharacterButTheZeroComesBack) {
  std::string all;
  for (int c = 1; c < 256; c++) all += static_cast<char>(c);
  EXPECT_EQ(reader(asText(encodeVaricode(all))), all);
  EXPECT_EQ(reader(asText(encodeVaricode(std::string("a\0b", 3)))), "ab");
}

TEST(varicodeTest, encodesTheCodeAndTwoZeros) { EXPECT_EQ(asText(encodeVaricode("ea ")), "1100101100100"); }

TEST(varicodeTest, idleZerosAreNoCharacters) { EXPECT_EQ(reader("0000000110000000010100"), "et"); }

TEST(varicodeTest, aCodeThatNobodyHasIsSilent) {
  EXPECT_EQ(reader("111111111111"
                   "00"
                   "1100"),
            "e");
  EXPECT_EQ(reader("101101011101"
                   "00"
                   "1100"),
            "e"); // the first free one
}

// A carrier gives ones without end; the register keeps the last of them.
TEST(varicodeTest, aRunLongerThanTheRegisterEndsInTheCodeOfItsLastBits) {
  EXPECT_EQ(reader(std::string(1000, '1') + "00" + "1100"), "e");
}
