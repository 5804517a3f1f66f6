// The font that text is drawn with in the waterfall: five columns of eight rows.
#pragma once
#include <array>
#include <cstdint>

namespace larch {

struct hellGlyph {
  static constexpr int32_t columns = 5;
  uint8_t width;                       // 1 to 5
  std::array<uint8_t, columns> column; // highest bit: the top row; columns beyond the width are empty
};

// The glyph of a character; that of a blank for what has none: the font holds 32 to 127. rt.
const hellGlyph& glyphOf(char c);

} // namespace larch
