#include "sim/fmSource.h"
#include <algorithm>
#include <array>
#include <cmath>
#include <fmt/format.h>
#include "sim/sincKernel.h"

namespace larch::sim {

namespace {
// phase of a modulator whose frequency swings by deviation * cos(2 pi tone t)
double tonePhase(double tone_Hz, double deviation_Hz, double time_s) {
  const double cycles = tone_Hz * time_s;
  return deviation_Hz / tone_Hz * std::sin(2 * M_PI * (cycles - std::floor(cycles)));
}
constexpr int partHalfTaps = 16;
constexpr double partWidth = 0.85; // what the filter's edges leave of a part, so that nothing folds into it
constexpr double widestRatio = 80; // of the whole band to a part

double partKernel(double x) {
  static const auto table = [] {
    std::array<double, partHalfTaps * sincPhases + 2> t{};
    for (size_t i = 0; i < t.size(); ++i) t[i] = sincKernel(static_cast<double>(i) / sincPhases, partHalfTaps);
    return t;
  }();
  if (x >= partHalfTaps) return 0;
  const double place = x * sincPhases;
  const auto i = static_cast<size_t>(place);
  return table[i] + (place - static_cast<double>(i)) * (table[i + 1] - table[i]);
}

// A low-pass of the bandwidth rate / ratio, moved up by centre_rad a sample.
struct partFilter {
  double ratio, centre_rad;
  size_t reach;
  partFilter(double wider, double centre)
      : ratio(wider), centre_rad(centre), reach(static_cast<size_t>(std::ceil(partHalfTaps * wider))) {}
  // position among the samples, `reach` of which lie on either side
  std::complex<double> at(const std::complex<double>* samples, double position) const {
    const size_t begin = static_cast<size_t>(position) + 1 - reach;
    double x = static_cast<double>(begin) - position;
    const std::complex<double> turn = std::polar(1 / ratio, -centre_rad * x), step = std::polar(1.0, -centre_rad);
    double re = 0, im = 0, c = turn.real(), s = turn.imag();
    for (size_t k = begin; k < begin + 2 * reach; ++k, ++x) {
      const double h = partKernel(std::fabs(x) / ratio), a = h * samples[k].real(), b = h * samples[k].imag();
      re += a * c - b * s;
      im += a * s + b * c;
      const double t = c * step.real() - s * step.imag();
      s = c * step.imag() + s * step.real();
      c = t;
    }
    return {re, im};
  }
};
} // namespace

fmSource::fmSource(double frequency_Hz, double level_dBFS, const sending& what, const wavData& audio, std::string name)
    : signalSource(frequency_Hz, level_dBFS), sent(what), share_Hz(sent.deviation_Hz * (sent.ctcss_Hz > 0 ? 1 - toneShare : 1)),
      named(std::move(name)) {
  if (audio.frames() > 0) integral.emplace(makeProgramme(audio, sent.audio, sent.pause_s), sent.audio.high_Hz);
}

void fmSource::whole(const timeGrid& grid, std::complex<double>* out) const {
  if (integral)
    integral->read(grid, out);
  else
    std::fill(out, out + grid.count, std::complex<double>());
  for (size_t n = 0; n < grid.count; ++n) {
    const double t = grid.start_s + grid.step_s * static_cast<double>(n);
    double phase = 2 * M_PI * share_Hz * out[n].real();
    if (sent.testTone_Hz > 0) phase += tonePhase(sent.testTone_Hz, share_Hz, t);
    if (sent.ctcss_Hz > 0) phase += tonePhase(sent.ctcss_Hz, toneShare * sent.deviation_Hz, t);
    out[n] = {std::cos(phase), std::sin(phase)};
  }
}

// Samples at fixed times of a rate that holds the whole signal, through a sinc as wide as the part, moved to its middle.
void fmSource::part(const timeGrid& grid, const heardBand& heard, std::complex<double>* out) const {
  constexpr size_t room = 4096;
  std::array<std::complex<double>, room> dense;
  const double rate = denseRate_Hz(), spread = grid.step_s * rate;
  const double low = std::max(heard.low_Hz, -rate / 2), high = std::min(heard.high_Hz, rate / 2);
  const partFilter filter(rate / (partWidth * (high - low)), M_PI * (low + high) / rate);
  const auto reach = static_cast<double>(filter.reach);
  const auto together = static_cast<size_t>(std::max(1.0, (room - 2 * reach - 2) / spread));
  for (size_t done = 0, count = 0; done < grid.count; done += count) {
    count = std::min(together, grid.count - done);
    const double from = (grid.start_s + grid.step_s * static_cast<double>(done)) * rate;
    const double to = from + spread * static_cast<double>(count - 1);
    const double first = std::floor(from) - reach + 1, last = std::floor(to) + reach;
    whole({first / rate, 1 / rate, static_cast<size_t>(last - first) + 1}, dense.data());
    for (size_t n = 0; n < count; ++n) out[done + n] = filter.at(dense.data(), from + spread * static_cast<double>(n) - first);
  }
}

envelopeShape fmSource::envelope(const timeGrid& grid, const heardBand& heard, std::complex<double>* out) const {
  const heardBand all = occupied();
  const double low = std::max(heard.low_Hz, all.low_Hz), high = std::min(heard.high_Hz, all.high_Hz);
  if (low <= all.low_Hz && high >= all.high_Hz) {
    whole(grid, out);
  } else {
    if (high - low < std::max(narrowestPart_Hz, denseRate_Hz() / widestRatio)) return envelopeShape::silent;
    part(grid, heard, out);
  }
  return envelopeShape::varying;
}

heardBand fmSource::occupied() const {
  const double highest = std::max({integral ? sent.audio.high_Hz : 0.0, sent.testTone_Hz, sent.ctcss_Hz});
  const double half = sent.deviation_Hz + 2 * highest;
  return {-half, half};
}

std::string fmSource::describe() const {
  return fmt::format("fm {:.0f} Hz {:.1f} dBFS deviation {:g} Hz{} {}", frequency_Hz(), level_dBFS(), sent.deviation_Hz,
                     sent.ctcss_Hz > 0 ? fmt::format(" ctcss {:g} Hz", sent.ctcss_Hz) : "", named);
}

} // namespace larch::sim
