// Varicode: characters as codes of 1 to 12 bits without two adjacent zeros; two zeros end each.
#pragma once
#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

namespace larch {

// By character: the code from the top bit down. It begins and ends with a one.
extern const std::array<uint16_t, 256> varicodeTable;

// The way back. The key is the code without its last bit, which is always a one; 0 where there is no such code.
constexpr int varicodeKeys = 2048;
using varicodeReverse = std::array<uint8_t, varicodeKeys>;
varicodeReverse reverseVaricode();

// The codes of the text, each with its two zeros.
std::vector<bool> encodeVaricode(std::string_view text);

// Finds the characters in a stream of bits. A plain struct: its fields lie in the state of a detector.
struct varicodeReader {
  uint32_t varicodeShift = 0; // bits of the character in progress
  bool lastBitZero = false;

  // The character that this bit ends; 0 when it ends none, or one that the table doesn't have. rt.
  uint8_t put(bool bit, const varicodeReverse& table);
};

} // namespace larch
