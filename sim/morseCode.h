// Text to Morse: the times at which a key is down.
#pragma once
#include <string_view>
#include <vector>

namespace larch::sim {

// Dots and dashes of one character, nullptr when it has none. Letters in either case, figures, usual punctuation.
const char* morseElements(char c);

struct keyedInterval {
  double down_s = 0, up_s = 0;
};

// Key-down intervals of a text from 0 on, with the standard spacing (PARIS): dot 1, dash 3, between elements 1, between
// characters 3, between words 7 units of 1.2 / wpm seconds. Characters without a code are skipped.
std::vector<keyedInterval> keyText(std::string_view text, double wpm);

constexpr double morseUnit_s(double wpm) { return 1.2 / wpm; }

} // namespace larch::sim
