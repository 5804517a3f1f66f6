#include "modes/morseTable.h"
#include <array>

namespace larch {
namespace {

struct entry {
  char character;
  std::string_view text;
};

constexpr entry entries[] = {
    {'a', ". -   "},
    {'b', "- . . .   "},
    {'c', "- . - .   "},
    {'d', "- . .   "},
    {'e', ".   "},
    {'f', ". . - .   "},
    {'g', "- - .   "},
    {'h', ". . . .   "},
    {'i', ". .   "},
    {'j', ". - - -   "},
    {'k', "- . -   "},
    {'l', ". - . .   "},
    {'m', "- -   "},
    {'n', "- .   "},
    {'o', "- - -   "},
    {'p', ". - - .   "},
    {'q', "- - . -   "},
    {'r', ". - .   "},
    {'s', ". . .   "},
    {'t', "-   "},
    {'u', ". . -   "},
    {'v', ". . . -   "},
    {'w', ". - -   "},
    {'x', "- . . -   "},
    {'y', "- . - -   "},
    {'z', "- - . .   "},
    {'0', "- - - - -   "},
    {'1', ". - - - -   "},
    {'2', ". . - - -   "},
    {'3', ". . . - -   "},
    {'4', ". . . . -   "},
    {'5', ". . . . .   "},
    {'6', "- . . . .   "},
    {'7', "- - . . .   "},
    {'8', "- - - . .   "},
    {'9', "- - - - .   "},
    {' ', "       "},
    {'.', ". - . - . -   "},
    // required: these two are exchanged with respect to the international alphabet
    {'!', ". . - - . .   "},
    {'?', "- . - . - -   "},
    {'#', "#"},
};
constexpr std::string_view unknownText = " ";

constexpr bool isLetter(char c) { return c >= 'a' && c <= 'z'; }
constexpr bool isDigit(char c) { return c >= '0' && c <= '9'; }
constexpr size_t placeOf(char c) { return static_cast<unsigned char>(c); }

constexpr auto texts = [] {
  std::array<std::string_view, 256> table;
  table.fill(unknownText);
  for (const entry& e : entries) {
    table[placeOf(e.character)] = e.text;
    if (isLetter(e.character)) table[placeOf(e.character) - placeOf('a') + placeOf('A')] = e.text;
  }
  return table;
}();

constexpr uint32_t codeOf(std::string_view text) {
  uint32_t count = 0, elements = 0;
  for (const char c : text) {
    if (c == ' ') continue;
    count++;
    elements = elements * 2 + (c == '-');
  }
  return count * 32 + elements;
}

constexpr auto characters = [] {
  std::array<char, 256> table;
  table.fill(' ');
  for (const entry& e : entries)
    if (isLetter(e.character) || isDigit(e.character)) table[codeOf(e.text)] = e.character;
  return table;
}();

} // namespace

std::string_view morseText(char c) { return texts[placeOf(c)]; }

char morseCharacter(uint32_t code) { return code < characters.size() ? characters[code] : ' '; }

} // namespace larch
