#include "sim/slotSource.h"
#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include "sim/sincKernel.h"

namespace larch::sim {

namespace {
constexpr double hour_s = 3600;

// A kernel that reaches over either end finds silence.
std::vector<std::complex<float>> withSilence(std::vector<std::complex<float>> samples) {
  samples.insert(samples.end(), size_t{2} * sincHalfTaps, {});
  return samples;
}
} // namespace

slotSource::slotSource(double frequency_Hz, double level_dBFS, const slotAudio& audio, double period, double start,
                       std::string name)
    : signalSource(frequency_Hz + audio.middle_Hz, level_dBFS), middle_Hz(audio.middle_Hz),
      half_Hz(std::min(audio.rate_Hz / 2, audio.middle_Hz)), period_s(period), start_s(start),
      length_s(static_cast<double>(audio.samples.size()) / audio.rate_Hz), recording(withSilence(audio.samples), audio.rate_Hz),
      named(std::move(name)) {}

envelopeShape slotSource::envelope(const timeGrid& grid, const heardBand&, std::complex<double>* out) const {
  bool heard = false;
  for (size_t n = 0; n < grid.count;) {
    const double t = grid.start_s + grid.step_s * static_cast<double>(n) + grid.utcAtZero_s;
    const double ofHour = t - std::floor(t / hour_s) * hour_s, slot = std::floor(ofHour / period_s) * period_s;
    const double at = ofHour - slot - start_s, left = std::min(slot + period_s, hour_s) - ofHour;
    // up to the next of: its beginning, its end, the next slot
    const bool inside = at >= 0 && at < length_s;
    const double until = std::min(left, at < 0 ? -at : inside ? length_s - at : left);
    const auto room = static_cast<double>(grid.count - n);
    const auto count = static_cast<size_t>(std::clamp(std::ceil(until / grid.step_s), 1.0, room));
    if (inside)
      recording.read({at, grid.step_s, count}, out + n);
    else
      std::fill_n(out + n, count, std::complex<double>());
    heard |= inside;
    n += count;
  }
  return heard ? envelopeShape::varying : envelopeShape::silent;
}

std::string slotSource::describe() const {
  return fmt::format("wav {:.0f} Hz {:.1f} dBFS each {:g} s {}", frequency_Hz() - middle_Hz, level_dBFS(), period_s, named);
}

} // namespace larch::sim
