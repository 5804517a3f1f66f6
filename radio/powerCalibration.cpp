#include "radio/powerCalibration.h"

namespace larch {

double calibrate(const asyncCollection<calibLine>::list& rows, double x) {
  // the segment's two rows: the second moves on while x lies beyond it and another row follows
  const calibLine* low = nullptr;
  const calibLine* high = nullptr;
  for (const auto& row : rows) {
    if (!row) continue;
    if (low && high && !(x > high->inp.get())) break;
    low = high;
    high = row.get();
  }
  if (!low) return 0;
  const double inp = low->inp.get(), outp = low->outp.get();
  const double slope = (high->outp.get() - outp) / (high->inp.get() - inp);
  return slope * x + (outp - inp * slope);
}

} // namespace larch
