// Text drawn in frequency and time: a tone for each row of a font.
#pragma once
#include "dsp/buff.h"
#include "dsp/oscillator.h"
#include "modes/hellFont.h"
#include <functional>
#include <optional>

namespace larch {

// Column by column, the bottom row first; each pixel swells over its own length while the one before fades. 48000 samples/s. Runs
// on the transceiver's group; rt as far as its function is. Without text it draws blanks: silence.
class hellPainter {
 public:
  static constexpr double topRow = 1300; // Hz
  static constexpr int32_t rows = 8;
  static constexpr double defaultStep = 30;           // Hz
  static constexpr int32_t longestPixel = 10 * 48000; // samples

  // nextCharacter takes one out of the queue; nothing when there is none.
  explicit hellPainter(std::function<std::optional<char>()> nextCharacter) : nextCharacter_(std::move(nextCharacter)) {}

  // step: Hz between rows, and pixels a second. A pixel lasts one sample more than the second says, at most longestPixel: a step
  // set by mistake is left in time. Without a step above 0 nothing can be drawn: silence, at the pace of the default, so that the
  // text and its end come nevertheless.
  void produce(const cbuff& out, double step);

 private:
  struct voice {
    oscillator tone{48000};
    double level = 0;
  };

  void beginPixel(double step, bool visible);
  void beginColumn();
  static std::complex<double> sound(voice& v, double fromPeak);

  std::function<std::optional<char>()> nextCharacter_;
  int32_t pixelTimer_ = 0; // samples
  int32_t rowsLeft_ = 0, column_ = 0;
  const hellGlyph* glyph_ = &glyphOf(' ');
  int32_t columnBits_ = 0, bitMask_ = 1;
  voice now_, fading_;
};

} // namespace larch
