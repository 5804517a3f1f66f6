// The line through a table of detector readings and powers.
#pragma once
#include "runtime/asyncCollection.h"
#include "runtime/calibLine.h"

namespace larch {

// Watts for a detector reading `x`, on the line of the segment that x lies in; below the first and above the last row the nearest
// segment's line goes on. 0 with fewer than two rows (null rows don't count). Two rows with equal readings divide by zero, and
// the infinity or not-a-number goes out. rt.
double calibrate(const asyncCollection<calibLine>::list& rows, double x);

} // namespace larch
