#include "host/colourScale.h"
#include <algorithm>
#include <array>
#include <cmath>

namespace larchhost {
namespace {

struct stop {
  double at;
  double red, green, blue;
};
constexpr std::array stops{stop{0.0, 0, 0, 16},      stop{0.25, 0, 20, 110}, stop{0.45, 0, 130, 160}, stop{0.6, 40, 190, 60},
                           stop{0.78, 250, 220, 40}, stop{0.9, 250, 90, 30}, stop{1.0, 255, 255, 255}};

} // namespace

colour scaleColour(double x) {
  if (!(x > 0)) x = 0;
  if (x > 1) x = 1;
  size_t i = 1;
  while (i + 1 < stops.size() && x > stops[i].at) i++;
  const stop &a = stops[i - 1], &b = stops[i];
  const double t = (x - a.at) / (b.at - a.at);
  const auto mix = [t](double from, double to) { return static_cast<uint8_t>(std::lround(from + (to - from) * t)); };
  return {mix(a.red, b.red), mix(a.green, b.green), mix(a.blue, b.blue)};
}

int cubeColour(colour c) {
  const auto step = [](uint8_t v) { return (v * 5 + 127) / 255; };
  return 16 + 36 * step(c.red) + 6 * step(c.green) + step(c.blue);
}

} // namespace larchhost
