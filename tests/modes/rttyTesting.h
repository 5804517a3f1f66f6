// A second copy of the five-bit code, a sender and a reader of their own, and what a receiver that unshifts at a blank makes of
// text.
#pragma once
#include <algorithm>
#include <cmath>
#include <complex>
#include <string>
#include <vector>

namespace larch::test {

using cdouble = std::complex<double>;

struct baudotRow {
  const char* bits; // the fifth one first
  char letters, figures;
};
constexpr char figs = 0x0E, ltrs = 0x0F;
constexpr baudotRow baudotRows[] = {
    {"00000", '\0', '\0'}, {"00010", '\n', '\n'}, {"00100", ' ', ' '}, {"01000", '\r', '\r'},  {"11011", figs, figs},
    {"11111", ltrs, ltrs}, {"00001", 'E', '3'},   {"00011", 'A', '-'}, {"00101", 'S', '\''},   {"00110", 'I', '8'},
    {"00111", 'U', '7'},   {"01001", 'D', '\5'},  {"01010", 'R', '4'}, {"01011", 'J', '\7'},   {"01100", 'N', ','},
    {"01101", 'F', '!'},   {"01110", 'C', ':'},   {"01111", 'K', '('}, {"10000", 'T', '5'},    {"10001", 'Z', '+'},
    {"10010", 'L', ')'},   {"10011", 'W', '2'},   {"10110", 'P', '0'}, {"10100", 'H', '\xA3'}, {"10101", 'Y', '6'},
    {"10111", 'Q', '1'},   {"11000", 'O', '9'},   {"11001", 'B', '?'}, {"11010", 'G', '&'},    {"11100", 'M', '.'},
    {"11101", 'X', '/'},   {"11110", 'V', '='},
};
inline int codeOf(const baudotRow& row) { return static_cast<int>(std::stoul(row.bits, nullptr, 2)); }
inline const baudotRow& rowOf(int code) {
  return *std::find_if(std::begin(baudotRows), std::end(baudotRows), [code](const baudotRow& r) { return codeOf(r) == code; });
}

// The frames of a text. figures: the sender's state, which idle letters shifts and blanks leave.
inline std::vector<int> codesOf(const std::string& text, bool& figures) {
  std::vector<int> codes;
  for (char c : text) {
    if (c == '~' || c == '\0') c = ltrs;
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    const auto row = std::find_if(std::begin(baudotRows), std::end(baudotRows),
                                  [c](const baudotRow& r) { return r.letters == c || r.figures == c; });
    if (row == std::end(baudotRows)) {
      codes.push_back(0);
      continue;
    }
    const bool figure = row->figures == c;
    if (row->letters != row->figures && figure != figures) {
      figures = figure;
      codes.push_back(figures ? 27 : 31);
    }
    codes.push_back(codeOf(*row));
  }
  return codes;
}
inline std::vector<int> codesOf(const std::string& text) {
  bool figures = false;
  return codesOf(text, figures);
}

inline std::string heardOf(const std::vector<int>& codes) {
  std::string heard;
  bool figures = false;
  for (const int code : codes) {
    if (code == 27 || code == 31) {
      figures = code == 27;
      continue;
    }
    if (code == 4) figures = false;
    heard += figures ? rowOf(code).figures : rowOf(code).letters;
  }
  return heard;
}

// ---- a sender for the receiver: phase-continuous, the mark `mark` Hz above the centre and the space 170 Hz above it

class rttySender {
 public:
  explicit rttySender(double mark, double level = 1) : mark_(mark), level_(level) {}
  void tone(bool mark, int samples) {
    for (; samples > 0; samples--) {
      phase_ -= 2 * M_PI * (mark ? mark_ : mark_ + 170) / 48000;
      sent.push_back(std::polar(level_, phase_));
    }
  }
  void frame(int code) {
    tone(false, 1056);
    for (int bit = 0; bit < 5; bit++) tone(code >> bit & 1, 1056);
    tone(true, 1584);
  }
  void frames(const std::vector<int>& codes) {
    for (const int code : codes) frame(code);
  }
  void idle(int count) { frames(std::vector<int>(static_cast<size_t>(count), 31)); }

  std::vector<cdouble> sent;

 private:
  double mark_, level_, phase_ = 0;
};

// ---- what the transmitter sent, read sample by sample

// The angle from one sample to the next, clockwise; `before`: the sample before the first.
inline std::vector<double> turnsOf(const std::vector<cdouble>& samples, cdouble before = 1) {
  std::vector<double> turns;
  for (const cdouble& x : samples) {
    turns.push_back(-std::arg(x * std::conj(before)));
    before = x;
  }
  return turns;
}

// The codes of whole frames, every sample of every bit looked at; the first thing that isn't as it must be ends it as a code of
// -1.
inline std::vector<int> framesOf(const std::vector<cdouble>& samples, cdouble before = 1) {
  const auto turns = turnsOf(samples, before);
  size_t at = 0;
  const auto bit = [&](size_t length) { // 1 mark, 0 space, -1 neither
    int marks = 0, spaces = 0;
    for (size_t n = 0; n < length; n++, at++) {
      marks += std::abs(turns[at] - 0.2840523399583333) < 1e-9;
      spaces += std::abs(turns[at] - 0.26179939166666666) < 1e-9;
    }
    return marks == static_cast<int>(length) ? 1 : spaces == static_cast<int>(length) ? 0 : -1;
  };
  std::vector<int> codes;
  while (at + 7920 <= turns.size()) {
    int code = 0;
    bool right = bit(1056) == 0;
    for (int n = 0; n < 5; n++) {
      const int value = bit(1056);
      right = right && value >= 0;
      code |= value << n;
    }
    right = bit(1584) == 1 && right;
    codes.push_back(right ? code : -1);
    if (!right) break;
  }
  return codes;
}

} // namespace larch::test
