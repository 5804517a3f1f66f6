#include "dsp/crc12.h"
#include <gtest/gtest.h>
#include <random>
#include <vector>

using namespace larch;

namespace {

// By long division: the remainder of the message, read as a polynomial with its first bit on top, by
// x^12 + x^11 + x^10 + x^2 + x.
uint16_t remainder(const std::vector<uint8_t>& data) {
  constexpr uint32_t divisor = 0x1C06;
  uint32_t r = 0;
  for (const uint8_t byte : data) {
    for (int bit = 7; bit >= 0; bit--) {
      r = r << 1 | (byte >> bit & 1u);
      if (r & 0x1000u) r ^= divisor;
    }
  }
  return static_cast<uint16_t>(r);
}
uint16_t of(const std::vector<uint8_t>& data) { return crc12(data.data(), static_cast<int32_t>(data.size())); }

} // namespace

TEST(crc12Test, isTheRemainderOfALongDivision) {
  constexpr unsigned seed = 12;
  std::mt19937 random(seed);
  for (size_t n = 0; n < 200; n++) {
    std::vector<uint8_t> data(n);
    for (auto& b : data) b = static_cast<uint8_t>(random());
    EXPECT_EQ(of(data), remainder(data)) << "length " << n << ", seed " << seed;
  }
}

TEST(crc12Test, noBytesGiveZero) { EXPECT_EQ(crc12(nullptr, 0), 0); }

TEST(crc12Test, aMessageWithItsOwnRemainderGivesZero) {
  std::vector<uint8_t> data = {0x12, 0x34, 0x56, 0x78, 0x9A, 0xB0, 0}; // the last 12 bits are free
  const uint16_t check = of(data);
  data[5] = static_cast<uint8_t>(data[5] | check >> 8);
  data[6] = static_cast<uint8_t>(check);
  EXPECT_EQ(of(data), 0);
  for (size_t bit = 0; bit < data.size() * 8; bit++) {
    data[bit / 8] = static_cast<uint8_t>(data[bit / 8] ^ 1u << bit % 8);
    EXPECT_NE(of(data), 0) << "bit " << bit;
    data[bit / 8] = static_cast<uint8_t>(data[bit / 8] ^ 1u << bit % 8);
  }
}
