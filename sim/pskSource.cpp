#include "sim/pskSource.h"
#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include "sim/cycleWalk.h"
#include "sim/pskCode.h"
#include "sim/rotation.h"

namespace larch::sim {

namespace {
std::vector<std::complex<double>> makePoints(const pskSource::sending& sent) {
  std::string bits(pskSource::preambleSymbols, '0');
  bits += varicodeBits(sent.text);
  if (sent.fourPhases) bits.append(pskSource::flushSymbols, '0');
  constexpr std::complex<double> quarters[4] = {{1, 0}, {0, 1}, {-1, 0}, {0, -1}};
  std::vector<std::complex<double>> points = {0, quarters[0]};
  int phase = 0;
  for (const int turn : sent.fourPhases ? qpskTurns(bits) : bpskTurns(bits)) {
    phase = (phase + turn) % 4;
    points.push_back(quarters[phase]);
  }
  points.insert(points.end(), pskSource::tailSymbols, quarters[phase]);
  points.emplace_back(0);
  return points;
}

// middle + half cos(angle), the angle of the first sample and its step given
void fillCosine(double angle, double step, std::complex<double> middle, std::complex<double> half, std::complex<double>* out,
                size_t count) {
  rotation r(std::polar(1.0, angle), std::polar(1.0, step));
  const doublePair m = {middle.real(), middle.imag()}, h = {half.real(), half.imag()};
  auto* p = reinterpret_cast<double*>(out);
  size_t n = 0;
  for (; n + rotation::lanes <= count; n += rotation::lanes) {
    for (size_t l = 0; l < rotation::pairs; ++l, p += 4) {
      storePair(p, m + h * firsts(r.re[l], r.re[l]));
      storePair(p + 2, m + h * seconds(r.re[l], r.re[l]));
    }
    r.advance();
  }
  for (size_t l = 0; n < count; ++n, ++l) out[n] = middle + r.realAt(l) * half;
}

// times e^(j pi drift t^2)
void addDrift(double drift_Hz_s, double start_s, double step_s, std::complex<double>* out, size_t count) {
  const auto chirp = [=](double t) { return std::polar(1.0, M_PI * drift_Hz_s * t * t); };
  std::complex<double> z = chirp(start_s), turn = std::polar(1.0, M_PI * drift_Hz_s * step_s * (2 * start_s + step_s));
  const std::complex<double> bend = std::polar(1.0, 2 * M_PI * drift_Hz_s * step_s * step_s);
  const auto times = [](std::complex<double> a, std::complex<double> b) {
    return std::complex<double>(a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real());
  };
  for (size_t n = 0; n < count; ++n) {
    out[n] = times(out[n], z);
    z = times(z, turn);
    turn = times(turn, bend);
  }
}
} // namespace

pskSource::pskSource(double frequency_Hz, double level_dBFS, sending what)
    : signalSource(frequency_Hz, level_dBFS), sent(std::move(what)), symbol(1 / (sent.baud * (1 + sent.rateError_ppm * 1e-6))),
      points(makePoints(sent)), period(static_cast<double>(points.size() - 1) * symbol + std::max(sent.pause_s, 0.0)) {}

// The last one is the pause.
size_t pskSource::symbolAt(double time_s) const { return std::min(static_cast<size_t>(time_s / symbol), points.size() - 1); }

void pskSource::fill(double within_s, double step_s, std::complex<double>* out, size_t count) const {
  const size_t k = symbolAt(within_s);
  const std::complex<double> from = points[k], to = k + 1 < points.size() ? points[k + 1] : points[k];
  if (from == to) {
    std::fill(out, out + count, from);
  } else {
    const double along = within_s / symbol - static_cast<double>(k);
    fillCosine(M_PI * along, M_PI * step_s / symbol, 0.5 * (from + to), 0.5 * (from - to), out, count);
  }
  if (sent.drift_Hz_s != 0) addDrift(sent.drift_Hz_s, within_s, step_s, out, count);
}

envelopeShape pskSource::envelope(const timeGrid& grid, const heardBand&, std::complex<double>* out) const {
  const timeGrid shifted{grid.start_s - sent.start_s, grid.step_s, grid.count};
  const double last = shifted.start_s + grid.step_s * static_cast<double>(grid.count);
  if (last < 0) return envelopeShape::silent;
  envelopeShape shape = envelopeShape::varying;
  const auto end = [this](double t) {
    const size_t k = symbolAt(t);
    return k + 1 < points.size() ? static_cast<double>(k + 1) * symbol : period;
  };
  walkCycle(shifted, period, end, [&](double within, size_t n, size_t count) {
    const size_t k = symbolAt(within);
    const bool still = k + 1 >= points.size() || (points[k] == points[k + 1] && sent.drift_Hz_s == 0);
    if (still && count == grid.count && shifted.start_s >= 0) {
      out[0] = points[k];
      shape = points[k] == 0.0 ? envelopeShape::silent : envelopeShape::constant;
    } else {
      fill(within, grid.step_s, out + n, count);
    }
  });
  if (shifted.start_s < 0) {
    const auto before = static_cast<size_t>(std::ceil(-shifted.start_s / grid.step_s));
    std::fill(out, out + std::min(before, grid.count), std::complex<double>());
  }
  return shape;
}

heardBand pskSource::occupied() const {
  const double half = 4 * sent.baud, moved = sent.drift_Hz_s * static_cast<double>(points.size() - 1) * symbol;
  return {-half + std::min(moved, 0.0), half + std::max(moved, 0.0)};
}

std::string pskSource::describe() const {
  return fmt::format("{}psk{:.0f} {:.0f} Hz {:.1f} dBFS \"{}\"", sent.fourPhases ? 'q' : 'b', std::round(sent.baud),
                     frequency_Hz(), level_dBFS(), sent.text);
}

bool parsePskMode(const std::string& mode, pskSource::sending& what) {
  if (mode.size() < 5 || (mode[0] != 'b' && mode[0] != 'q') || mode.compare(1, 3, "psk") != 0) return false;
  const std::string rate = mode.substr(4);
  if (rate != "31" && rate != "63" && rate != "125") return false;
  what.fourPhases = mode[0] == 'q';
  what.baud = rate == "31" ? 31.25 : rate == "63" ? 62.5 : 125;
  return true;
}

} // namespace larch::sim
