// The five-bit code of radioteletype: the character of a code, and what is keyed for a character.
#pragma once
#include <cstdint>

namespace larch {

constexpr char baudotFigures = 0x0E, baudotLetters = 0x0F; // stand for the shift codes 27 and 31
constexpr int32_t baudotBlank = 4;                         // the code of a blank, in both halves

// place: the code, 0 to 31, for letters; + 32 for figures. Upper-case letters; shift codes as above. rt.
char baudotCharacter(int32_t place);

// Bits from below: 1 it stands among the figures, 2 it has the same code in both halves; then the frame, first bit lowest: start
// 0, five data bits, stop 1. Letters in either case; a character without a code has code 0 and no shift. rt.
int32_t baudotEntry(char c);
constexpr int32_t baudotIsFigure = 1, baudotInBoth = 2, baudotFlagBits = 2, baudotFrameBits = 7;

} // namespace larch
