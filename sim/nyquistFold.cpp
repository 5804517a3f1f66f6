#include "sim/nyquistFold.h"
#include <cmath>

namespace larch::sim {

foldedImages foldIntoBand(double frequency_Hz, double clock_Hz) {
  foldedImages result;
  const double half = clock_Hz / 2;
  double f = std::fmod(std::fabs(frequency_Hz), clock_Hz);
  const bool mirrored = f > half;
  if (mirrored) f = clock_Hz - f;
  result.image[result.count++] = {f, mirrored};
  // on an edge the neighbour is the image itself
  if (f > 0) result.image[result.count++] = {-f, !mirrored};
  if (f < half) result.image[result.count++] = {clock_Hz - f, !mirrored};
  return result;
}

double unfolded(double alias_Hz, int zone, double clock_Hz) {
  const double half = clock_Hz / 2;
  return zone % 2 == 0 ? zone * half + alias_Hz : (zone + 1) * half - alias_Hz;
}

} // namespace larch::sim
