#include "modes/baudot.h"
#include <array>
#include <cstddef>

namespace larch {
namespace {

constexpr int32_t codes = 32, places = 2 * codes;

constexpr std::array<char, places> characters = {
    // letters
    0, 'E', '\n', 'A', ' ', 'S', 'I', 'U', '\r', 'D', 'R', 'J', 'N', 'F', 'C', 'K', //
    'T', 'Z', 'L', 'W', 'H', 'Y', 'P', 'Q', 'O', 'B', 'G', baudotFigures, 'M', 'X', 'V', baudotLetters,
    // figures; 0xA3: the pound sign
    0, '3', '\n', '-', ' ', '\'', '8', '7', '\r', 0x05, '4', 0x07, ',', '!', ':', '(', //
    '5', '+', ')', '2', '\xA3', '6', '0', '1', '9', '?', '&', baudotFigures, '.', '/', '=', baudotLetters};

constexpr size_t placeOf(char c) { return static_cast<unsigned char>(c); }
constexpr bool isLetter(char c) { return c >= 'A' && c <= 'Z'; }

constexpr auto entries = [] {
  std::array<int32_t, 256> table{};
  for (int32_t i = 0; i < places; i++) {
    const int32_t code = i % codes;
    const char c = characters[static_cast<size_t>(i)];
    const bool inBoth = characters[static_cast<size_t>(code)] == characters[static_cast<size_t>(code + codes)];
    const int32_t value = (inBoth ? baudotInBoth : i / codes * baudotIsFigure) + 8 * (code + codes); // the 32 is the stop bit
    table[placeOf(c)] = value;
    if (isLetter(c)) table[placeOf(c) - placeOf('A') + placeOf('a')] = value;
  }
  for (int32_t& entry : table)
    if (entry == 0) entry = table[0];
  return table;
}();

} // namespace

char baudotCharacter(int32_t place) { return characters[static_cast<size_t>(place)]; }

int32_t baudotEntry(char c) { return entries[placeOf(c)]; }

} // namespace larch
