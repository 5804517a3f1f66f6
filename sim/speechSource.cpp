#include "sim/speechSource.h"
#include <algorithm>
#include <cmath>
#include <fmt/format.h>

namespace larch::sim {

namespace {
// One-sided band-pass, Blackman-windowed; the main lobe of the window makes the slopes audioSlope_Hz wide to -6 dB.
std::vector<std::complex<double>> oneSidedFilter(double rate_Hz, sideband side) {
  const double middle_Hz = (speechSource::audioLow_Hz + speechSource::audioHigh_Hz) / 2;
  const double half_Hz = (speechSource::audioHigh_Hz - speechSource::audioLow_Hz) / 2;
  const auto reach = static_cast<int>(std::ceil(1.5 * rate_Hz / speechSource::audioSlope_Hz));
  const double turn = (side == sideband::upper ? 2 : -2) * M_PI * middle_Hz / rate_Hz;
  std::vector<std::complex<double>> taps;
  for (int n = -reach; n <= reach; ++n) {
    const double x = 2 * half_Hz / rate_Hz;
    const double sinc = n == 0 ? x : std::sin(M_PI * x * n) / (M_PI * n);
    const double u = M_PI * n / (reach + 1);
    const double window = 0.42 + 0.5 * std::cos(u) + 0.08 * std::cos(2 * u);
    taps.push_back(std::polar(sinc * window, turn * n));
  }
  return taps;
}

sampledEnvelope makeEnvelope(const wavData& audio, sideband side, double pause_s) {
  const auto channels = static_cast<size_t>(std::max(audio.channels, 1));
  const auto pause = static_cast<size_t>(std::max(pause_s, 0.0) * audio.rate_Hz);
  const auto taps = oneSidedFilter(audio.rate_Hz, side);
  const size_t frames = audio.frames(), length = frames + std::max(pause, taps.size());
  std::vector<std::complex<float>> out(length);
  float peak = 0;
  for (size_t n = 0; n < frames + taps.size() - 1; ++n) {
    double re = 0, im = 0;
    const size_t first = n >= taps.size() ? n - taps.size() + 1 : 0, last = std::min(n + 1, frames);
    for (size_t k = first; k < last; ++k) {
      const double x = audio.samples[k * channels];
      re += x * taps[n - k].real();
      im += x * taps[n - k].imag();
    }
    out[n] = {static_cast<float>(re), static_cast<float>(im)};
    peak = std::max(peak, std::abs(out[n]));
  }
  if (peak > 0)
    for (auto& v : out) v /= peak;
  return {std::move(out), audio.rate_Hz};
}
} // namespace

speechSource::speechSource(double frequency_Hz, double level_dBFS, sideband which, const wavData& audio, double pause_s,
                           std::string name)
    : signalSource(frequency_Hz, level_dBFS), side(which), voice(makeEnvelope(audio, which, pause_s)), named(std::move(name)) {}

envelopeShape speechSource::envelope(const timeGrid& grid, const heardBand&, std::complex<double>* out) const {
  voice.read(grid, out);
  return envelopeShape::varying;
}

heardBand speechSource::occupied() const {
  const double low = audioLow_Hz - audioSlope_Hz, high = audioHigh_Hz + audioSlope_Hz;
  return side == sideband::upper ? heardBand{low, high} : heardBand{-high, -low};
}

std::string speechSource::describe() const {
  return fmt::format("{} {:.0f} Hz {:.1f} dBFS {}", side == sideband::upper ? "usb" : "lsb", frequency_Hz(), level_dBFS(), named);
}

} // namespace larch::sim
