// Pixels read back from the sound of a drawn text: a Goertzel filter for each row.
#pragma once
#include "modes/hellFont.h"
#include <cmath>
#include <complex>
#include <string>
#include <vector>

namespace larch::test {

// The level of the tone `above` Hz over the transmit frequency (below the baseband's zero), weighted with a Hann window.
inline double goertzel(const std::complex<double>* x, size_t count, double above) {
  const double w = -2 * M_PI * above / 48000;
  const std::complex<double> turn = std::polar(1.0, -w);
  std::complex<double> s = 0;
  double gain = 0;
  for (size_t n = 0; n < count; n++) {
    const double window = 0.5 - 0.5 * std::cos(2 * M_PI * (static_cast<double>(n) + 0.5) / static_cast<double>(count));
    s = s * turn + x[count - 1 - n] * window;
    gain += window;
  }
  // the sum of x[n] e^(-jwn), evaluated from the last sample on
  return std::abs(s) / gain;
}

// Bits of each column, the top row highest: a pixel's tone swells for its length and fades for the next one's.
inline std::vector<int> columnsOf(const std::vector<std::complex<double>>& sent, size_t columns, double step = 30) {
  const size_t pixel = static_cast<size_t>(48000 / step) + 1;
  std::vector<int> bits;
  for (size_t column = 0; column < columns; column++) {
    int value = 0;
    for (size_t row = 0; row < 8; row++) { // the bottom one first
      const size_t at = (column * 8 + row) * pixel;
      const double level = goertzel(sent.data() + at, 2 * pixel, 1300 - (7 - static_cast<double>(row)) * step);
      value |= (level > 0.3) << row;
    }
    bits.push_back(value);
  }
  return bits;
}

// What a text looks like: each character a blank column and its picture.
inline std::vector<int> pictureOf(const std::string& text) {
  std::vector<int> bits;
  for (const char c : text) {
    const hellGlyph& g = glyphOf(c); // compared with a copy in the font's test
    bits.push_back(0);
    bits.insert(bits.end(), g.column.begin(), g.column.begin() + g.width);
  }
  return bits;
}

} // namespace larch::test
