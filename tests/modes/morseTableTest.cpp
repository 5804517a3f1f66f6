#include "modes/morseTable.h"
#include "sim/morseCode.h"
#include <gtest/gtest.h>
#include <string>

using namespace larch;

namespace {

// The elements with a blank between them and three behind.
std::string spaced(std::string_view elements) {
  std::string text;
  for (const char e : elements) text += std::string(text.empty() ? "" : " ") + e;
  return text + "   ";
}
uint32_t codeOf(std::string_view elements) {
  uint32_t code = static_cast<uint32_t>(elements.size()) * 32;
  for (size_t i = 0; i < elements.size(); i++) code += (elements[i] == '-' ? 1u : 0u) << (elements.size() - 1 - i);
  return code;
}
const std::string letters = "abcdefghijklmnopqrstuvwxyz", digits = "0123456789";

} // namespace

TEST(morseTableTest, lettersAndDigitsHaveTheInternationalCode) { // that of the simulated band, which is a table of its own
  for (const char c : letters + digits) EXPECT_EQ(morseText(c), spaced(sim::morseElements(c))) << c;
}

TEST(morseTableTest, capitalsSoundLikeSmallLetters) {
  for (const char c : letters) EXPECT_EQ(morseText(static_cast<char>(c - 'a' + 'A')), morseText(c)) << c;
}

TEST(morseTableTest, exclamationAndQuestionMarkAreExchanged) {
  EXPECT_EQ(morseText('!'), ". . - - . .   ");
  EXPECT_EQ(morseText('?'), "- . - . - -   ");
  EXPECT_EQ(morseText('.'), ". - . - . -   ");
}

TEST(morseTableTest, blankIdleAndTheRest) {
  EXPECT_EQ(morseText(' '), "       ");
  EXPECT_EQ(morseText('#'), "#");
  std::string known = letters + digits + " .!?#";
  for (const char c : letters) known += static_cast<char>(c - 'a' + 'A');
  int others = 0;
  for (int c = 0; c < 256; c++) {
    if (known.find(static_cast<char>(c)) != std::string::npos) continue;
    EXPECT_EQ(morseText(static_cast<char>(c)), " ") << c;
    others++;
  }
  EXPECT_EQ(others, 256 - 67);
}

TEST(morseTableTest, elementsStandForLettersAndDigitsOnly) {
  for (uint32_t code = 0; code < 256; code++) {
    char wanted = ' ';
    for (const char c : letters + digits)
      if (codeOf(sim::morseElements(c)) == code) wanted = c;
    EXPECT_EQ(morseCharacter(code), wanted) << code;
  }
  EXPECT_EQ(morseCharacter(32), 'e');
  EXPECT_EQ(morseCharacter(67), 'm');
  EXPECT_EQ(morseCharacter(160), '5');
  EXPECT_EQ(morseCharacter(191), '0');
}

TEST(morseTableTest, codesBeyondTheTableAreBlank) {
  for (uint32_t code : {256u, 257u, 300u, 0x80000020u, 0xFFFFFFFFu}) EXPECT_EQ(morseCharacter(code), ' ') << code;
}
