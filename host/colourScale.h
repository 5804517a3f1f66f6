// Levels as colours: black over blue, green and yellow to white.
#pragma once
#include <cstdint>

namespace larchhost {

struct colour {
  uint8_t red = 0, green = 0, blue = 0;
};

// x from 0 (bottom) to 1 (top), clamped; NaN is the bottom.
colour scaleColour(double x);
// The nearest of the 216 cube colours of a 256-colour terminal.
int cubeColour(colour c);

} // namespace larchhost
