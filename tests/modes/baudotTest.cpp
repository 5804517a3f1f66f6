// The five-bit code against a copy of its own.
#include "modes/baudot.h"
#include "tests/modes/rttyTesting.h"
#include <gtest/gtest.h>

namespace larch::test {
namespace {

uint64_t checksum(const std::vector<int>& values) {
  uint64_t sum = 14695981039346656037u; // FNV-1a
  for (const int v : values) sum = (sum ^ static_cast<uint64_t>(v)) * 1099511628211u;
  return sum;
}

TEST(baudotTest, bothHalvesAreTheCode) {
  std::vector<int> table, copy;
  for (int i = 0; i < 64; i++) {
    table.push_back(static_cast<unsigned char>(baudotCharacter(i)));
    const baudotRow& row = rowOf(i % 32);
    copy.push_back(static_cast<unsigned char>(i < 32 ? row.letters : row.figures));
  }
  EXPECT_EQ(table, copy);
  EXPECT_EQ(checksum(table), checksum(copy));
}

// Bits from below: figure, both halves, start, five data bits, stop.
TEST(baudotTest, whatIsKeyedForACharacter) {
  std::vector<int> wanted(256, 0b1'00000'0'10);
  for (const baudotRow& row : baudotRows) {
    const std::string letters = std::string("1") + row.bits + "000", figures = std::string("1") + row.bits + "001",
                      both = std::string("1") + row.bits + "010";
    const auto put = [&](char c, const std::string& bits) {
      wanted[static_cast<unsigned char>(c)] = static_cast<int>(std::stoul(bits, nullptr, 2));
    };
    if (row.letters == row.figures) {
      put(row.letters, both);
      continue;
    }
    put(row.letters, letters);
    put(static_cast<char>(row.letters + 32), letters); // all others are letters indeed
    put(row.figures, figures);
  }
  for (int c = 0; c < 256; c++) EXPECT_EQ(baudotEntry(static_cast<char>(c)), wanted[static_cast<size_t>(c)]) << c;
}

TEST(baudotTest, aCharacterWithoutACodeShiftsNothing) {
  for (const char c : {'~', '#', '\x80', '\xFF', '\x01', '['}) EXPECT_EQ(baudotEntry(c), baudotInBoth + 8 * 32) << c;
}

} // namespace
} // namespace larch::test
