#include "sim/programmeAudio.h"
#include <algorithm>
#include <cmath>

namespace larch::sim {

namespace {
// Real taps of a filter with a given response over the band, by adding up its spectrum; Blackman-windowed.
template <typename responseAt> std::vector<double> makeTaps(double rate_Hz, const audioBand& band, responseAt&& response) {
  constexpr double widestPass = 0.35, pointsPerSlope = 8;
  const double high = std::min(band.high_Hz, widestPass * rate_Hz), low = std::min(band.low_Hz, high / 2);
  const auto reach = static_cast<int>(std::ceil(1.5 * rate_Hz / band.slope_Hz));
  const auto points = static_cast<int>(std::ceil((high - low) / band.slope_Hz * pointsPerSlope));
  const double spacing = (high - low) / points;
  std::vector<double> taps(2 * static_cast<size_t>(reach) + 1);
  for (int p = 0; p < points; ++p) {
    const double f = low + (p + 0.5) * spacing;
    const std::complex<double> h = 2 * spacing / rate_Hz * response(f);
    const std::complex<double> step = std::polar(1.0, 2 * M_PI * f / rate_Hz);
    std::complex<double> turn = h * std::polar(1.0, -2 * M_PI * f / rate_Hz * reach);
    for (double& t : taps) {
      t += turn.real();
      turn = {turn.real() * step.real() - turn.imag() * step.imag(), turn.real() * step.imag() + turn.imag() * step.real()};
    }
  }
  for (int n = -reach; n <= reach; ++n) {
    const double u = M_PI * n / (reach + 1);
    taps[static_cast<size_t>(n + reach)] *= 0.42 + 0.5 * std::cos(u) + 0.08 * std::cos(2 * u);
  }
  return taps;
}

// all of it and the filter's tail
std::vector<double> filtered(const wavData& audio, const std::vector<double>& taps) {
  const auto channels = static_cast<size_t>(std::max(audio.channels, 1));
  std::vector<double> out(audio.frames() + taps.size() - 1);
  for (size_t n = 0; n < audio.frames(); ++n) {
    const double x = audio.samples[n * channels];
    for (size_t k = 0; k < taps.size(); ++k) out[n + k] += x * taps[k];
  }
  return out;
}

std::complex<double> emphasis(const audioBand& band, double f) { return {1, 2 * M_PI * f * band.emphasis_s}; }

// Of the waveform, between its samples, too.
double peakOf(const sampledEnvelope& wave) {
  constexpr size_t finer = 4;
  const double step_s = 1 / (finer * wave.rate_Hz());
  std::vector<std::complex<double>> z(static_cast<size_t>(std::llround(wave.length_s() / step_s)));
  wave.read({0, step_s, z.size()}, z.data());
  double peak = 0;
  for (size_t n = 1; n + 1 < z.size(); ++n) {
    const double a = std::fabs(z[n - 1].real()), b = std::fabs(z[n].real()), c = std::fabs(z[n + 1].real());
    if (b < a || b < c || b < peak * 0.9) continue;
    const double bend = 2 * b - a - c; // the vertex of the parabola through the three
    peak = std::max(peak, bend > 0 ? b + (a - c) * (a - c) / (8 * bend) : b);
  }
  return peak;
}
} // namespace

sampledEnvelope makeProgramme(const wavData& audio, const audioBand& band, double pause_s) {
  const std::vector<double> values = filtered(audio, makeTaps(audio.rate_Hz, band, [&](double f) { return emphasis(band, f); }));
  std::vector<std::complex<float>> z(values.size() + static_cast<size_t>(std::max(pause_s, 0.0) * audio.rate_Hz));
  for (size_t n = 0; n < values.size(); ++n) z[n] = static_cast<float>(values[n]);
  const double peak = peakOf(sampledEnvelope(z, audio.rate_Hz));
  for (auto& v : z) v *= static_cast<float>(peak > 0 ? 1 / peak : 0);
  return {std::move(z), audio.rate_Hz};
}

} // namespace larch::sim
