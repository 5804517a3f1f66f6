// The windowed sinc by which the sources read between samples.
#pragma once

namespace larch::sim {

constexpr int sincHalfTaps = 8; // the kernel is 0 from there on
constexpr int sincPhases = 256; // of the table, per sample

// Kaiser window, beta 8; x in samples from the middle, zero crossings at whole numbers, 0 from halfTaps on.
double sincKernel(double x, int halfTaps = sincHalfTaps);
// The same for x >= 0, from a table.
double tabledSincKernel(double x);

} // namespace larch::sim
