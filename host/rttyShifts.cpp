#include "host/rttyShifts.h"
#include <cctype>
#include <cstring>

namespace larchhost {
namespace {

bool isLetter(char c) { return static_cast<unsigned char>(c) < 128 && std::isalpha(static_cast<unsigned char>(c)); }
bool isFigure(char c) { return c != '\0' && std::strchr("0123456789-',!:()+?&./=", c); }

} // namespace

bool isRttyText(char c) { return isLetter(c) || isFigure(c) || c == ' '; }

std::string rttyQueued(char c, const std::string& before, bool idle) {
  size_t at = before.size();
  while (at > 0 && !isLetter(before[at - 1]) && !isFigure(before[at - 1]) && before[at - 1] != rttyFiguresMark) at--;
  const char last = at > 0 ? before[at - 1] : '\0'; // that had to do with shifts
  const bool apart = idle || at < before.size();
  if (isFigure(c) && !isLetter(last) && (apart || last == '\0')) return {rttyFiguresMark, c};
  if (isLetter(c) && last == rttyFiguresMark) return {rttyLettersMark, c}; // its figure has been taken back
  return {c};
}

} // namespace larchhost
