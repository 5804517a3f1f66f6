#include "sim/answeringSource.h"
#include <cmath>
#include <fmt/format.h>

namespace larch::sim {

answeringSource::answeringSource(std::shared_ptr<const signalSource> spoken, double length, double wait, std::string callSign,
                                 calling callWords)
    : signalSource(spoken->frequency_Hz(), spoken->level_dBFS()), words(std::move(spoken)), length_s(length), wait_s(wait),
      call(std::move(callSign)), calls(std::move(callWords)) {}

bool answeringSource::attends(double time_s) const {
  const double begun_s = start_s.load(std::memory_order_relaxed);
  return time_s >= begun_s - wait_s && time_s < begun_s + length_s + calls.quiet_s;
}

void answeringSource::transmissionEnded(const endedTransmission& ended) const {
  // a dial's frequency, or that of a carrier beside it
  const bool near =
      std::fabs(ended.frequency_Hz - frequency_Hz()) <= nearby_Hz || std::fabs(ended.middle_Hz - frequency_Hz()) <= nearby_Hz;
  const double begun_s = start_s.load(std::memory_order_relaxed);
  const bool speaking = ended.time_s >= begun_s && ended.time_s < begun_s + length_s;
  if (near && !speaking) start_s.store(ended.time_s + wait_s, std::memory_order_relaxed);
}

// A call that is broken off ends with the block that is on its way.
envelopeShape answeringSource::envelope(const timeGrid& grid, const heardBand& heard, std::complex<double>* out) const {
  if (calls.words && !attends(grid.start_s)) return calls.words->envelope(grid, heard, out);
  return answer(grid, heard, out);
}

envelopeShape answeringSource::answer(const timeGrid& grid, const heardBand& heard, std::complex<double>* out) const {
  const double from = grid.start_s - start_s.load(std::memory_order_relaxed);
  const double to = from + grid.step_s * static_cast<double>(grid.count);
  if (to < 0 || from >= length_s) return envelopeShape::silent;
  const envelopeShape shape = words->envelope({from, grid.step_s, grid.count}, heard, out);
  if (shape == envelopeShape::silent || (from >= 0 && to < length_s)) return shape;
  // begins or ends here
  const std::complex<double> steady = out[0];
  for (size_t n = 0; n < grid.count; ++n) {
    const double t = from + grid.step_s * static_cast<double>(n);
    if (t < 0 || t >= length_s)
      out[n] = 0;
    else if (shape == envelopeShape::constant)
      out[n] = steady;
  }
  return envelopeShape::varying;
}

std::string answeringSource::describe() const {
  return fmt::format("answer {} after {:g} s: {}{}", call, wait_s, words->describe(),
                     calls.words ? ", calls with " + calls.words->describe() : "");
}

} // namespace larch::sim
