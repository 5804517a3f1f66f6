#include "dsp/crc12.h"
#include <array>

namespace larch {
namespace {

using crcTable = std::array<uint16_t, 256>;

uint8_t mirrored(unsigned byte) {
  unsigned r = 0;
  for (int bit = 0; bit < 8; bit++) r |= (byte >> bit & 1u) << (7 - bit);
  return static_cast<uint8_t>(r);
}

crcTable build() {
  constexpr unsigned topBit = 11, polynomial = 0xC06;
  crcTable table{};
  for (unsigned i = 0; i < table.size(); i++) {
    unsigned r = mirrored(i);
    uint16_t c = 0;
    for (int bit = 0; bit < 8; bit++) {
      c = static_cast<uint16_t>(c ^ (r & 1u) << topBit);
      c = static_cast<uint16_t>((c << 1) ^ (c & 1u << topBit ? polynomial : 0u));
      r >>= 1;
    }
    table[i] = c;
  }
  return table;
}

} // namespace

uint16_t crc12(const uint8_t* data, int32_t n) {
  static const crcTable table = build();
  uint16_t s = 0;
  for (int32_t i = 0; i < n; i++) s = static_cast<uint16_t>((s << 8 | data[i]) ^ table[s >> 4 & 0xFF]);
  return s & 0xFFF;
}

} // namespace larch
