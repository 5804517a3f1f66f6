#include "dsp/vectorOps.h"
#include "dsp/windowKernel.h"
#include <algorithm>
#include <array>
#include <cmath>

namespace larch {
namespace {

using sample = std::complex<double>;
constexpr uint64_t unrolled = 4;
constexpr double audioToComplex = 0.707;

template <class Operation> void byFour(uint64_t n, Operation each) {
  uint64_t i = 0;
  for (; i + unrolled <= n; i += unrolled) {
    each(i);
    each(i + 1);
    each(i + 2);
    each(i + 3);
  }
  for (; i < n; i++) each(i);
}

// By parts: the operator of std::complex calls the runtime library for its NaN rules.
inline sample product(sample a, sample b) {
  return {a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real()};
}

inline double power(sample z) { return z.real() * z.real() + z.imag() * z.imag(); }

inline sample clipped(sample z, double zPower) {
  if (!(zPower > 1)) return z;
  const double magnitude = std::sqrt(zPower);
  return {z.real() / magnitude, z.imag() / magnitude};
}

inline double larger(double a, double b) { return a > b ? a : b; } // b where a is NaN

} // namespace

cbuff scale(const cbuff& src, double factor, const cbuff& dest) {
  const sample* in = src.data;
  sample* out = dest.data;
  byFour(src.count, [=](uint64_t i) { out[i] = {in[i].real() * factor, in[i].imag() * factor}; });
  return dest;
}

cbuff applyWindow(const cbuff& src, const buff<double>& window, const cbuff& dest) {
  multiplyWindow(src.data, window.data, dest.data, src.count);
  return dest;
}

cbuff applyWindow(const cbuff& src, const buff<double>& window) { return applyWindow(src, window, cbuff(src.count)); }

cbuff complexMultiply(const cbuff& a, const cbuff& b, const cbuff& dest) {
  const sample *x = a.data, *y = b.data;
  sample* out = dest.data;
  byFour(a.count, [=](uint64_t i) { out[i] = product(x[i], y[i]); });
  return dest;
}

cbuff complexMultiplyAdd(const cbuff& a, const cbuff& b, const cbuff& dest) {
  const sample *x = a.data, *y = b.data;
  sample* out = dest.data;
  byFour(a.count, [=](uint64_t i) {
    const sample p = product(x[i], y[i]);
    out[i] = {out[i].real() + p.real(), out[i].imag() + p.imag()};
  });
  return dest;
}

cbuff limitUnit(const cbuff& src, const cbuff& dest) {
  const sample* in = src.data;
  sample* out = dest.data;
  byFour(src.count, [=](uint64_t i) { out[i] = clipped(in[i], power(in[i])); });
  return dest;
}

cbuff limitUnitPeak(const cbuff& src, const cbuff& dest, double& peak) {
  const sample* in = src.data;
  sample* out = dest.data;
  double largest = 0;
  byFour(src.count, [=, &largest](uint64_t i) {
    const double p = power(in[i]);
    largest = larger(p, largest);
    out[i] = clipped(in[i], p);
  });
  peak = largest;
  return dest;
}

double peakPower(const cbuff& src) {
  const sample* in = src.data;
  std::array<double, unrolled> peaks{}; // four chains, since one comparison waits for the last
  uint64_t i = 0;
  for (; i + unrolled <= src.count; i += unrolled)
    for (uint64_t k = 0; k < unrolled; k++) peaks[k] = larger(power(in[i + k]), peaks[k]);
  for (; i < src.count; i++) peaks[0] = larger(power(in[i]), peaks[0]);
  return *std::max_element(peaks.begin(), peaks.end());
}

double peakMagnitude(const cbuff& src) { return std::sqrt(peakPower(src)); }

cbuff complexFromAudio(const buff<float>& src) {
  cbuff made(src.count);
  const float* in = src.data;
  sample* out = made.data;
  byFour(src.count, [=](uint64_t i) { out[i] = {audioToComplex * in[i], 0.0}; });
  return made;
}

buff<float> fill(const buff<float>& dest, float value) {
  std::fill_n(dest.data, dest.count, value);
  return dest;
}

cbuff addScaled(const cbuff& a, const cbuff& b, std::complex<double> factor) {
  cbuff made(a.count);
  const sample *x = a.data, *y = b.data;
  sample* out = made.data;
  byFour(a.count, [=](uint64_t i) {
    const sample p = product(factor, y[i]);
    out[i] = {x[i].real() + p.real(), x[i].imag() + p.imag()};
  });
  return made;
}

} // namespace larch
