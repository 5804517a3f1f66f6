#include "sim/sampledEnvelope.h"
#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include "sim/sincKernel.h"

namespace larch::sim {

namespace {
constexpr int halfTaps = sincHalfTaps, taps = 2 * halfTaps;
constexpr int phases = 128; // 16 kB of table: more would drive the rest out of the first cache
constexpr int tableRows =
    phases + 2; // an instant just before a sample may round up to row `phases`, which reads the next one, too

using lane = float __attribute__((vector_size(32))); // four complex samples
using halfLane = float __attribute__((vector_size(16)));
constexpr size_t laneFloats = 8, rowLanes = 2 * taps / laneFloats;

// every tap twice, for the two parts of a sample
struct kernelRow {
  lane tap[rowLanes];
};

// row p, tap k: kernel for the sample k - 7 from the one at or before an instant that lies p/128 after it
const std::array<kernelRow, tableRows>& kernelTable() {
  static const auto table = [] {
    std::array<kernelRow, tableRows> t{};
    for (int p = 0; p < tableRows; ++p)
      for (int k = 0; k < taps; ++k) {
        const double h = sincKernel(static_cast<double>(k - halfTaps + 1) - static_cast<double>(p) / phases);
        lane& l = t[static_cast<size_t>(p)].tap[k / 4];
        l[k % 4 * 2] = l[k % 4 * 2 + 1] = static_cast<float>(h);
      }
    return t;
  }();
  return table;
}

inline __attribute__((always_inline)) void readWith(const std::complex<float>* samples, double length, double begin, double step,
                                                    size_t count, std::complex<double>* out) {
  const auto& table = kernelTable();
  for (size_t n = 0; n < count; ++n) {
    double position = begin + step * static_cast<double>(n);
    while (position >= length) {
      begin -= length;
      position -= length;
    }
    const auto at = static_cast<size_t>(position);
    const auto fine = static_cast<float>((position - static_cast<double>(at)) * phases);
    const auto row = static_cast<size_t>(fine);
    const float mix = fine - static_cast<float>(row);
    const lane *a = table[row].tap, *b = table[row + 1].tap;
    const auto* from = reinterpret_cast<const float*>(samples + at);
    lane sum{};
    for (size_t k = 0; k < rowLanes; ++k) {
      lane data;
      std::memcpy(&data, from + laneFloats * k, sizeof data);
      sum += (a[k] + mix * (b[k] - a[k])) * data;
    }
    halfLane parts[2];
    std::memcpy(parts, &sum, sizeof parts);
    const halfLane two = parts[0] + parts[1];
    out[n] = {two[0] + two[2], two[1] + two[3]};
  }
}

void readPlain(const std::complex<float>* samples, double length, double begin, double step, size_t count,
               std::complex<double>* out) {
  readWith(samples, length, begin, step, count, out);
}

#if defined(__x86_64__)
// without fused products: the same values to the last bit
__attribute__((target("avx2"))) void readAvx2(const std::complex<float>* samples, double length, double begin, double step,
                                              size_t count, std::complex<double>* out) {
  readWith(samples, length, begin, step, count, out);
}
#endif
} // namespace

std::vector<envelopeReader*> envelopeReaders() {
  std::vector<envelopeReader*> readers = {readPlain};
#if defined(__x86_64__)
  if (__builtin_cpu_supports("avx2")) readers.push_back(readAvx2);
#endif
  return readers;
}

sampledEnvelope::sampledEnvelope(std::vector<std::complex<float>> recording, double rate_Hz)
    : samples(std::move(recording)), rate(rate_Hz) {
  if (samples.empty()) samples.emplace_back();
  size = samples.size();
  // the beginning once more behind the end, so that a kernel never has to turn round; tap 0 of sample 0 is at -7
  for (size_t n = 0; n < taps; ++n) samples.push_back(samples[n]);
}

double sampledEnvelope::folded(double position) const {
  const auto length = static_cast<double>(size);
  position -= std::floor(position / length) * length;
  return position < length ? position : 0;
}

size_t sampledEnvelope::wrap(int64_t index) const {
  const auto length = static_cast<int64_t>(size);
  index %= length;
  return static_cast<size_t>(index < 0 ? index + length : index);
}

void sampledEnvelope::read(const timeGrid& grid, std::complex<double>* out) const {
  static envelopeReader* const best = envelopeReaders().back();
  best(samples.data(), static_cast<double>(size), folded(grid.start_s * rate - (halfTaps - 1)), grid.step_s * rate, grid.count,
       out);
}

void sampledEnvelope::readLimited(const timeGrid& grid, const heardBand& heard, std::complex<double>* out) const {
  // a sinc as wide as the band that is left, moved to the middle of it
  const double low = std::max(heard.low_Hz, -rate / 2), high = std::min(heard.high_Hz, rate / 2);
  if (!(low < high)) {
    std::fill(out, out + grid.count, std::complex<double>());
    return;
  }
  const double ratio = rate / (high - low);
  const double centre_rad = 2 * M_PI * (low + high) / 2 / rate;
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
      const double h = tabledSincKernel(std::fabs(x) / ratio), a = h * samples[at].real(), b = h * samples[at].imag();
      re += a * c - b * s;
      im += a * s + b * c;
      const double t = c * step.real() - s * step.imag();
      s = c * step.imag() + s * step.real();
      c = t;
      if (++at == size) at = 0;
    }
    out[n] = {re, im};
  }
}

} // namespace larch::sim
