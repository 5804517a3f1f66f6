#include "sim/fadingSource.h"
#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include "sim/randomSource.h"

namespace larch::sim {

namespace {
// the turning isn't steady: its phase swings by so many cycles, so many times as slowly
constexpr double swing_cycles = 0.35, swingRatio = 0.382;
constexpr double knotsPerFade = 1024; // straight lines between them: 1e-5 off
} // namespace

fadingSource::fadingSource(std::shared_ptr<const signalSource> signal, double depth_dB, double rate_Hz, uint64_t seed)
    : signalSource(signal->frequency_Hz(), signal->level_dBFS()), faded(std::move(signal)), depth(depth_dB), rate(rate_Hz) {
  const double deepest = std::pow(10, -depth / 20);
  second = (1 - deepest) / (1 + deepest);
  randomSource random(seed);
  startCycles = random.uniform();
  wanderCycles = random.uniform();
}

std::complex<double> fadingSource::pathGain(double time_s) const {
  const auto turned = [](double cycles) { return 2 * M_PI * (cycles - std::floor(cycles)); };
  const double swing = swing_cycles * std::sin(turned(swingRatio * rate * time_s + wanderCycles));
  return (1.0 + std::polar(second, turned(rate * time_s + swing + startCycles))) / (1 + second);
}

envelopeShape fadingSource::envelope(const timeGrid& grid, const heardBand& heard, std::complex<double>* out) const {
  const envelopeShape shape = faded->envelope(grid, heard, out);
  if (shape == envelopeShape::silent) return shape;
  const std::complex<double> steady = out[0];
  // knots at fixed times, so that who asks for which block makes no difference
  const double knot_s = 1 / (knotsPerFade * rate);
  for (size_t n = 0; n < grid.count;) {
    const double time = grid.start_s + grid.step_s * static_cast<double>(n);
    const double knot = std::floor(time / knot_s), along = time / knot_s - knot;
    const auto room = static_cast<double>(grid.count - n);
    const auto count = static_cast<size_t>(std::clamp(std::ceil((1 - along) * knot_s / grid.step_s), 1.0, room));
    const std::complex<double> from = pathGain(knot * knot_s), slope = pathGain((knot + 1) * knot_s) - from;
    const double step = grid.step_s / knot_s;
    for (size_t i = 0; i < count; ++i) {
      const double x = along + step * static_cast<double>(i);
      const double re = from.real() + x * slope.real(), im = from.imag() + x * slope.imag();
      const std::complex<double> v = shape == envelopeShape::constant ? steady : out[n + i];
      out[n + i] = {v.real() * re - v.imag() * im, v.real() * im + v.imag() * re};
    }
    n += count;
  }
  return envelopeShape::varying;
}

std::string fadingSource::describe() const { return fmt::format("{} fading {:g} dB {:g} Hz", faded->describe(), depth, rate); }

} // namespace larch::sim
