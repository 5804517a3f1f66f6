#include "sim/morseCode.h"
#include <cctype>

namespace larch::sim {

namespace {
constexpr const char* letters[26] = {".-",   "-...", "-.-.", "-..",  ".",   "..-.", "--.",  "....", "..",
                                     ".---", "-.-",  ".-..", "--",   "-.",  "---",  ".--.", "--.-", ".-.",
                                     "...",  "-",    "..-",  "...-", ".--", "-..-", "-.--", "--.."};
constexpr const char* figures[10] = {"-----", ".----", "..---", "...--", "....-", ".....", "-....", "--...", "---..", "----."};
} // namespace

const char* morseElements(char c) {
  if (c >= 'a' && c <= 'z') return letters[c - 'a'];
  if (c >= 'A' && c <= 'Z') return letters[c - 'A'];
  if (c >= '0' && c <= '9') return figures[c - '0'];
  switch (c) {
  case '.': return ".-.-.-";
  case ',': return "--..--";
  case '?': return "..--..";
  case '/': return "-..-.";
  case '=': return "-...-";
  case '+': return ".-.-.";
  case '-': return "-....-";
  case ':': return "---...";
  case '\'': return ".----.";
  case '(': return "-.--.";
  case ')': return "-.--.-";
  case '"': return ".-..-.";
  case '@': return ".--.-.";
  case '!': return "-.-.--";
  default: return nullptr;
  }
}

std::vector<keyedInterval> keyText(std::string_view text, double wpm) {
  const double unit = morseUnit_s(wpm);
  std::vector<keyedInterval> keyed;
  double now = 0;   // end of the last element
  double pause = 0; // units to wait before the next element
  for (const char c : text) {
    if (std::isspace(static_cast<unsigned char>(c)) != 0) {
      if (!keyed.empty()) pause = 7;
      continue;
    }
    const char* elements = morseElements(c);
    if (elements == nullptr) continue;
    for (; *elements != 0; ++elements) {
      now += pause * unit;
      const double up = now + (*elements == '-' ? 3 : 1) * unit;
      keyed.push_back({now, up});
      now = up;
      pause = 1;
    }
    pause = 3;
  }
  return keyed;
}

} // namespace larch::sim
