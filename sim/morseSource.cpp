#include "sim/morseSource.h"
#include <algorithm>
#include <cmath>
#include <fmt/format.h>

namespace larch::sim {

morseSource::morseSource(double frequency_Hz, double level_dBFS, sending what)
    : signalSource(frequency_Hz, level_dBFS), sent(std::move(what)), ramp_s(std::max(sent.rampTime_ms, 0.0) / 1000),
      keyed(keyText(sent.text, sent.wpm)) {
  // the last edge must be over before the text begins again
  period = (keyed.empty() ? 1.0 : keyed.back().up_s) + std::max(sent.pause_s, ramp_s);
}

// time_s within one period
double morseSource::amplitude(double time_s) const {
  const auto after =
      std::upper_bound(keyed.begin(), keyed.end(), time_s, [](double t, const keyedInterval& k) { return t < k.down_s; });
  if (after == keyed.begin()) return 0;
  const keyedInterval& k = *std::prev(after);
  const auto edge = [this](double x) { return x >= ramp_s ? 1.0 : 0.5 - 0.5 * std::cos(M_PI * x / ramp_s); };
  return time_s < k.up_s ? edge(time_s - k.down_s) : 1 - edge(time_s - k.up_s);
}

envelopeShape morseSource::envelope(const timeGrid& grid, const heardBand&, std::complex<double>* out) const {
  const double first = grid.start_s - sent.start_s;
  const double last = first + grid.step_s * static_cast<double>(grid.count);
  if (last < 0 || keyed.empty()) return envelopeShape::silent;
  const double base = std::floor(first / period) * period;
  const double from = first - base, to = last - base;
  if (first >= 0 && to < period) { // a grid without an edge needs no sample of its own
    const auto after =
        std::upper_bound(keyed.begin(), keyed.end(), from, [](double t, const keyedInterval& k) { return t < k.down_s; });
    if (after == keyed.end() || to < after->down_s) {
      if (after == keyed.begin()) return envelopeShape::silent;
      const keyedInterval& k = *std::prev(after);
      if (from >= k.up_s + ramp_s) return envelopeShape::silent;
      if (from >= k.down_s + ramp_s && to < k.up_s) {
        out[0] = 1;
        return envelopeShape::constant;
      }
    }
  }
  for (size_t n = 0; n < grid.count; ++n) {
    const double t = first + grid.step_s * static_cast<double>(n);
    out[n] = t < 0 ? 0 : amplitude(t - std::floor(t / period) * period);
  }
  return envelopeShape::varying;
}

heardBand morseSource::occupied() const {
  const double half = ramp_s > 0 ? 2 / ramp_s : 1000;
  return {-half, half};
}

std::string morseSource::describe() const {
  return fmt::format("cw {:.0f} Hz {:.1f} dBFS {:g} wpm \"{}\"", frequency_Hz(), level_dBFS(), sent.wpm, sent.text);
}

} // namespace larch::sim
