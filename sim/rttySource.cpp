#include "sim/rttySource.h"
#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include "sim/baudot.h"
#include "sim/cycleWalk.h"
#include "sim/rotation.h"

namespace larch::sim {

namespace {
void fillRotating(std::complex<double> start, std::complex<double> step, std::complex<double>* out, size_t count) {
  rotation r(start, step);
  auto* p = reinterpret_cast<double*>(out);
  size_t n = 0;
  for (; n + rotation::lanes <= count; n += rotation::lanes) {
    for (size_t l = 0; l < rotation::pairs; ++l, p += 4) {
      storePair(p, firsts(r.re[l], r.im[l]));
      storePair(p + 2, seconds(r.re[l], r.im[l]));
    }
    r.advance();
  }
  for (size_t l = 0; n < count; ++n, ++l) out[n] = {r.realAt(l), r.imagAt(l)};
}

std::complex<double> unitAt(double cycles) { return std::polar(1.0, 2 * M_PI * (cycles - std::floor(cycles))); }
} // namespace

rttySource::rttySource(double frequency_Hz, double level_dBFS, sending what)
    : signalSource(frequency_Hz, level_dBFS), sent(std::move(what)),
      spaceOffset_Hz(sent.reverse ? sent.shift_Hz : -sent.shift_Hz) {
  constexpr int dataBits = 5;
  const double bit_s = 1 / sent.baud;
  addRun(lead_s, false);
  for (const uint8_t code : baudotCodes("\r\n" + sent.text)) {
    addRun(bit_s, true);
    for (int b = 0; b < dataBits; ++b) addRun(bit_s, (code >> b & 1) == 0);
    addRun(sent.stopBits * bit_s, false);
  }
  addRun(lead_s, false);
  period = end + std::max(sent.pause_s, 0.0);
}

void rttySource::addRun(double length_s, bool space) {
  if (runs.empty() || runs.back().space != space) {
    const double before = runs.empty() || !runs.back().space ? 0 : spaceOffset_Hz * (end - runs.back().start_s);
    const double cycles = runs.empty() ? 0 : runs.back().cycles + before;
    runs.push_back({end, space, cycles - std::floor(cycles)});
  }
  end += length_s;
}

const rttySource::run* rttySource::runAt(double time_s) const {
  if (time_s >= end) return nullptr;
  const auto after = std::upper_bound(runs.begin(), runs.end(), time_s, [](double t, const run& r) { return t < r.start_s; });
  return &*std::prev(after);
}

double rttySource::edge(double time_s) const {
  const double x = std::min(time_s, end - time_s);
  return x >= ramp_s ? 1 : x <= 0 ? 0 : 0.5 - 0.5 * std::cos(M_PI * x / ramp_s);
}

envelopeShape rttySource::envelope(const timeGrid& grid, const heardBand&, std::complex<double>* out) const {
  const timeGrid shifted{grid.start_s - sent.start_s, grid.step_s, grid.count};
  if (shifted.start_s + grid.step_s * static_cast<double>(grid.count) < 0) return envelopeShape::silent;
  const bool begun = shifted.start_s >= 0;
  envelopeShape shape = envelopeShape::varying;
  walkCycle(
      shifted, period, [this](double t) { return endOf(runAt(t)); },
      [&](double within, size_t n, size_t count) {
        const run* r = runAt(within);
        const double last = within + grid.step_s * static_cast<double>(count);
        const bool level = within >= ramp_s && last <= end - ramp_s;
        if (count == grid.count && begun && (r == nullptr || (level && !r->space))) {
          shape = r == nullptr ? envelopeShape::silent : envelopeShape::constant;
          if (r != nullptr) out[0] = unitAt(r->cycles);
          return;
        }
        if (r == nullptr)
          std::fill(out + n, out + n + count, std::complex<double>());
        else if (!r->space)
          std::fill(out + n, out + n + count, unitAt(r->cycles));
        else
          fillRotating(unitAt(r->cycles + spaceOffset_Hz * (within - r->start_s)),
                       std::polar(1.0, 2 * M_PI * spaceOffset_Hz * grid.step_s), out + n, count);
        if (r != nullptr && !level)
          for (size_t i = 0; i < count; ++i) out[n + i] *= edge(within + grid.step_s * static_cast<double>(i));
      });
  if (!begun) {
    const auto before = static_cast<size_t>(std::ceil(-shifted.start_s / grid.step_s));
    std::fill(out, out + std::min(before, grid.count), std::complex<double>());
  }
  return shape;
}

heardBand rttySource::occupied() const {
  const double beside = 4 * sent.baud;
  return {std::min(spaceOffset_Hz, 0.0) - beside, std::max(spaceOffset_Hz, 0.0) + beside};
}

std::string rttySource::describe() const {
  return fmt::format("rtty {:.0f} Hz {:.1f} dBFS {:g} baud shift {:g} Hz{} \"{}\"", frequency_Hz(), level_dBFS(), sent.baud,
                     sent.shift_Hz, sent.reverse ? " reverse" : "", sent.text);
}

} // namespace larch::sim
