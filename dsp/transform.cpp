#include "dsp/transform.h"
#include <bit>
#include <cmath>
#include <cstring>
#include <memory>
#include <unordered_map>
#include <utility>
#include <vector>

namespace larch {

namespace {

using cdouble = std::complex<double>;
constexpr double twoPi = 6.283185307179586476925286766559;

// One prepared complex transform: radix-2 Stockham.
class fftSpec {
 public:
  explicit fftSpec(uint32_t n) : n_(n), turn_(n / 2), work_(n) {
    for (uint32_t k = 0; k < n / 2; k++) turn_[k] = {std::cos(twoPi * k / n), -std::sin(twoPi * k / n)};
  }

  void run(const cdouble* in, cdouble* out, bool inverse) {
    if (in != out) std::memmove(static_cast<void*>(out), in, n_ * sizeof(cdouble));
    cdouble* from = out;
    cdouble* to = work_.data();
    for (uint32_t length = n_, stride = 1; length > 1; length /= 2, stride *= 2) {
      pass(from, to, length, stride, inverse);
      std::swap(from, to);
    }
    if (from != out) std::memcpy(static_cast<void*>(out), from, n_ * sizeof(cdouble));
  }

 private:
  void pass(const cdouble* x, cdouble* y, uint32_t length, uint32_t stride, bool inverse) const {
    const uint32_t half = length / 2;
    for (uint32_t p = 0; p < half; p++) {
      const double c = turn_[p * stride].real();
      const double s = inverse ? -turn_[p * stride].imag() : turn_[p * stride].imag();
      for (uint32_t q = 0; q < stride; q++) {
        const cdouble a = x[q + stride * p], b = x[q + stride * (p + half)], d = a - b;
        y[q + stride * 2 * p] = a + b;
        y[q + stride * (2 * p + 1)] = {d.real() * c - d.imag() * s, d.real() * s + d.imag() * c};
      }
    }
  }

  uint32_t n_;
  std::vector<cdouble> turn_, work_;
};

struct fnv1aHash { // 64-bit, over the four bytes of the length
  std::size_t operator()(uint32_t length) const {
    uint64_t hash = 0xcbf29ce484222325u;
    for (int byte = 0; byte < 4; byte++) {
      hash ^= (length >> (8 * byte)) & 0xff;
      hash *= 0x100000001b3u;
    }
    return hash;
  }
};

fftSpec& specOf(uint32_t n) {
  thread_local std::unordered_map<uint32_t, std::unique_ptr<fftSpec>, fnv1aHash> specs;
  std::unique_ptr<fftSpec>& spec = specs[n];
  if (!spec) spec = std::make_unique<fftSpec>(n);
  return *spec;
}

} // namespace

void fftForward(const cdouble* in, cdouble* out, uint32_t count) {
  if (count > 0) specOf(std::bit_floor(count)).run(in, out, false);
}

void fftInverse(const cdouble* in, cdouble* out, uint32_t count) {
  if (count > 0) specOf(std::bit_floor(count)).run(in, out, true);
}

// The real samples as N/2 complex ones, transformed, then taken apart into the spectra of even and odd samples.
void fftForwardReal(const double* in, cdouble* out, uint32_t count) {
  if (count == 0) return;
  const uint32_t n = std::bit_floor(count), half = n / 2;
  if (half == 0) {
    out[0] = in[0];
    return;
  }
  fftForward(reinterpret_cast<const cdouble*>(in), out, half);
  const cdouble first = out[0];
  for (uint32_t k = 1; k <= half / 2; k++) {
    const cdouble a = out[k], b = std::conj(out[half - k]);
    const cdouble even = (a + b) * 0.5, odd = (a - b) * 0.5;
    const double c = std::cos(twoPi * k / n), s = std::sin(twoPi * k / n);
    const cdouble turned{odd.imag() * c - odd.real() * s, -odd.real() * c - odd.imag() * s}; // -j odd e^(-j2πk/n)
    out[k] = even + turned;
    out[half - k] = std::conj(even - turned);
  }
  out[0] = first.real() + first.imag();
  out[half] = first.real() - first.imag();
}

cbuff fftForward(const cbuff& in, const cbuff& out) {
  fftForward(in.data, out.data, static_cast<uint32_t>(in.count));
  return out;
}

cbuff fftInverse(const cbuff& in, const cbuff& out) {
  fftInverse(in.data, out.data, static_cast<uint32_t>(in.count));
  return out;
}

cbuff fftForwardReal(const buff<double>& in, const cbuff& out) {
  fftForwardReal(in.data, out.data, static_cast<uint32_t>(in.count));
  return out;
}

} // namespace larch
