#include "sim/sampledEnvelope.h"
#include <algorithm>
#include <array>
#include <cmath>

namespace larch::sim {

namespace {
constexpr int taps = 16, halfTaps = taps / 2;
constexpr int phases = 256;
constexpr double kaiserBeta = 8;

double besselI0(double x) {
  double sum = 1, term = 1;
  for (int k = 1; k < 60; ++k) {
    term *= x * x / (4.0 * k * k);
    sum += term;
  }
  return sum;
}

// windowed sinc at x input samples from its middle; zero crossings at whole numbers
double kernel(double x) {
  if (std::fabs(x) >= halfTaps) return 0;
  const double u = x / halfTaps;
  const double window = besselI0(kaiserBeta * std::sqrt(1 - u * u)) / besselI0(kaiserBeta);
  return window * (std::fabs(x) < 1e-9 ? 1 : std::sin(M_PI * x) / (M_PI * x));
}

using kernelRow = std::array<float, taps>;

// row p, tap k: kernel for the sample k - 7 from the one at or before an instant that lies p/256 after it
const std::array<kernelRow, phases + 1>& kernelTable() {
  static const auto table = [] {
    std::array<kernelRow, phases + 1> t{};
    for (int p = 0; p <= phases; ++p)
      for (int k = 0; k < taps; ++k)
        t[static_cast<size_t>(p)][static_cast<size_t>(k)] =
            static_cast<float>(kernel(static_cast<double>(k - halfTaps + 1) - static_cast<double>(p) / phases));
    return t;
  }();
  return table;
}

// the same kernel by x >= 0, from a table
double tabledKernel(double x) {
  static const auto table = [] {
    std::array<double, halfTaps * phases + 2> t{};
    for (size_t i = 0; i < t.size(); ++i) t[i] = kernel(static_cast<double>(i) / phases);
    return t;
  }();
  if (x >= halfTaps) return 0;
  const double place = x * phases;
  const auto i = static_cast<size_t>(place);
  return table[i] + (place - static_cast<double>(i)) * (table[i + 1] - table[i]);
}
} // namespace

sampledEnvelope::sampledEnvelope(std::vector<std::complex<float>> recording, double rate_Hz)
    : samples(std::move(recording)), rate(rate_Hz) {
  if (samples.empty()) samples.emplace_back();
}

size_t sampledEnvelope::wrap(int64_t index) const {
  const auto size = static_cast<int64_t>(samples.size());
  index %= size;
  return static_cast<size_t>(index < 0 ? index + size : index);
}

void sampledEnvelope::read(const timeGrid& grid, std::complex<double>* out) const {
  const auto& table = kernelTable();
  for (size_t n = 0; n < grid.count; ++n) {
    const double position = (grid.start_s + grid.step_s * static_cast<double>(n)) * rate;
    const double whole = std::floor(position);
    const double fine = (position - whole) * phases;
    const auto row = static_cast<size_t>(fine);
    const auto mix = static_cast<float>(fine - static_cast<double>(row));
    const kernelRow &a = table[row], &b = table[row + 1];
    size_t at = wrap(static_cast<int64_t>(whole) - halfTaps + 1);
    float re = 0, im = 0;
    for (size_t k = 0; k < taps; ++k) {
      const float h = a[k] + mix * (b[k] - a[k]);
      re += h * samples[at].real();
      im += h * samples[at].imag();
      if (++at == samples.size()) at = 0;
    }
    out[n] = {re, im};
  }
}

void sampledEnvelope::readLimited(const timeGrid& grid, const heardBand& heard, std::complex<double>* out) const {
  // a sinc as wide as the output's rate asks for, moved to the middle of what is heard
  const double ratio = rate * grid.step_s;
  const double centre_rad = 2 * M_PI * (heard.low_Hz + heard.high_Hz) / 2 / rate;
  const auto reach = static_cast<int64_t>(std::ceil(halfTaps * ratio));
  const std::complex<double> step = std::polar(1.0, -centre_rad);
  for (size_t n = 0; n < grid.count; ++n) {
    const double position = (grid.start_s + grid.step_s * static_cast<double>(n)) * rate;
    const auto whole = static_cast<int64_t>(std::floor(position));
    double x = static_cast<double>(whole - reach + 1) - position;
    size_t at = wrap(whole - reach + 1);
    const std::complex<double> turn = std::polar(1 / ratio, -centre_rad * x);
    double re = 0, im = 0, c = turn.real(), s = turn.imag();
    for (int64_t k = 0; k < 2 * reach; ++k, ++x) {
      const double h = tabledKernel(std::fabs(x) / ratio), a = h * samples[at].real(), b = h * samples[at].imag();
      re += a * c - b * s;
      im += a * s + b * c;
      const double t = c * step.real() - s * step.imag();
      s = c * step.imag() + s * step.real();
      c = t;
      if (++at == samples.size()) at = 0;
    }
    out[n] = {re, im};
  }
}

} // namespace larch::sim
