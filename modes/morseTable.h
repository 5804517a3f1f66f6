// Morse: what is keyed for a character, and which character a row of elements stands for.
#pragma once
#include <cstdint>
#include <string_view>

namespace larch {

// "." a mark of one dot, "-" a mark of three, " " a silence of one, "#" idle. Letters in either case; their texts end in the gap
// to the next letter. A character without a code gives one dot of silence. rt.
std::string_view morseText(char c);

// code: the number of elements * 32 + the elements, the first one in the highest bit used, dot 0, dash 1. A lower-case letter, a
// digit, or a blank where there is none of these: punctuation isn't decoded. rt.
char morseCharacter(uint32_t code);

} // namespace larch
