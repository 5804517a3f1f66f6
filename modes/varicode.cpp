#include "modes/varicode.h"

namespace larch {
namespace {

constexpr int registerBits = 16, longestCode = 12;
constexpr uint32_t keyMask = varicodeKeys - 1;
constexpr uint16_t topBit = 1u << (registerBits - 1);

} // namespace

varicodeReverse reverseVaricode() {
  varicodeReverse table{};
  for (uint32_t character = 0; character < varicodeTable.size(); character++) {
    uint32_t code = varicodeTable[character] >> (registerBits - longestCode);
    while (code % 2 == 0) code >>= 1;
    table[code >> 1] = static_cast<uint8_t>(character);
  }
  return table;
}

std::vector<bool> encodeVaricode(std::string_view text) {
  std::vector<bool> bits;
  for (const char c : text) {
    for (uint16_t code = varicodeTable[static_cast<uint8_t>(c)]; code; code = static_cast<uint16_t>(code << 1))
      bits.push_back(code & topBit);
    bits.insert(bits.end(), 2, false);
  }
  return bits;
}

uint8_t varicodeReader::put(bool bit, const varicodeReverse& table) {
  if (bit || !lastBitZero) {
    varicodeShift = varicodeShift * 2 + (bit ? 1 : 0);
    lastBitZero = !bit;
    return 0;
  }
  // behind the code stands its first zero; a code longer than a key keeps its last bits
  const uint32_t key = (varicodeShift >> 2) & keyMask;
  const bool ended = varicodeShift != 0;
  varicodeShift = 0;
  return ended ? table[key] : 0;
}

} // namespace larch
