// Cuts a time grid into the pieces of something that repeats.
#pragma once
#include <algorithm>
#include <cmath>
#include "sim/signalSource.h"

namespace larch::sim {

// pieceEnd(t) gives the end of the piece that holds t (0 <= t < period), at most the period.
// fill(t, from, count): samples from .. from + count - 1 of the grid lie in one piece, the first of them t after the cycle began.
template <typename pieceEndAt, typename filler>
void walkCycle(const timeGrid& grid, double period_s, pieceEndAt&& pieceEnd, filler&& fill) {
  for (size_t n = 0; n < grid.count;) {
    const double time = grid.start_s + grid.step_s * static_cast<double>(n);
    double within = time - std::floor(time / period_s) * period_s;
    if (within >= period_s) within = 0;
    const double left = std::ceil((pieceEnd(within) - within) / grid.step_s);
    const auto room = static_cast<double>(grid.count - n);
    const auto count = static_cast<size_t>(std::clamp(left, 1.0, room));
    fill(within, n, count);
    n += count;
  }
}

} // namespace larch::sim
