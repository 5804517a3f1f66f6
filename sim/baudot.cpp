#include "sim/baudot.h"
#include <cctype>

namespace larch::sim {

namespace {
// by code; '_' where there is no character
constexpr std::string_view letters = "_E\nA SIU\rDRJNFCKTZLWHYPQOBG_MXV_";
constexpr std::string_view figures = "_3\n- '87\r_4_,!:(5+)2_6019?&_./=_";
static_assert(letters.size() == 32 && figures.size() == 32);

size_t codeIn(std::string_view half, char c) { return c == '_' ? std::string_view::npos : half.find(c); }
} // namespace

std::vector<uint8_t> baudotCodes(std::string_view text) {
  std::vector<uint8_t> codes;
  uint8_t shift = 0; // unknown
  for (const char given : text) {
    const auto c = static_cast<char>(std::toupper(static_cast<unsigned char>(given)));
    const size_t letter = codeIn(letters, c), figure = codeIn(figures, c);
    if (letter == std::string_view::npos && figure == std::string_view::npos) continue;
    if (letter != figure) {
      const uint8_t needed = letter != std::string_view::npos ? baudotLetters : baudotFigures;
      if (needed != shift) codes.push_back(shift = needed);
    }
    codes.push_back(static_cast<uint8_t>(letter != std::string_view::npos ? letter : figure));
    if (codes.back() == baudotBlank) shift = 0;
  }
  return codes;
}

} // namespace larch::sim
