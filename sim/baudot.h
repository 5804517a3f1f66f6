// Text to the five-bit code of radioteletype.
#pragma once
#include <cstdint>
#include <string_view>
#include <vector>

namespace larch::sim {

// International alphabet No. 2: codes with bit 0 sent first. Letters in either case, figures, - ' : ( ) + , . / = ? ! &, blank,
// CR and LF; what has no code is skipped. The first character that needs a shift gets one, and so does the first after a
// blank: receivers differ in whether a blank brings the letters back.
std::vector<uint8_t> baudotCodes(std::string_view text);

constexpr uint8_t baudotLetters = 31, baudotFigures = 27, baudotBlank = 4, baudotReturn = 8, baudotLine = 2;

} // namespace larch::sim
