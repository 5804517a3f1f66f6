#include "dsp/powerSpectrum.h"
#include "dsp/simdVector.h"
#include <limits>

namespace larch {

namespace {

using namespace larch::simd;

constexpr double powerFloor = 1e-38;         // a denormal float: never zero
constexpr double pointShare = 0.00048828125; // 1 / 2048
constexpr double frameScale = pointShare * pointShare * 10;

template <int V> struct integersOf { typedef uint64_t type __attribute__((vector_size(8 * V))); };
template <int V> using ivec = typename integersOf<V>::type;
template <int V> struct floatsOf {
  typedef float type __attribute__((vector_size(4 * V)));
  typedef float unaligned __attribute__((vector_size(4 * V), aligned(4)));
};
template <int V> using fvec = typename floatsOf<V>::type;

// log10 of positive doubles that no float denormal, infinite or undefined value upsets. x = 2^e m with m in [√½, √2);
// ln m = 2 artanh z with z = (m - 1) / (m + 1), |z| < 0.172: the terms up to z^11 are good for 1e-11.
template <int V> LARCH_INLINE vec<V> log10Of(vec<V> x) {
  constexpr uint64_t rootHalf = 0x3fe6a09e00000000, exponentShift = 52, bias = 1024;
  constexpr uint64_t two52 = 0x4330000000000000; // 2^52: its low bits count units
  constexpr double log10Of2 = 0.30102999566398119521, twoLog10OfE = 0.86858896380650365530;
  const ivec<V> bits = reinterpret_cast<ivec<V>>(x);
  const ivec<V> biased = (bits - rootHalf + (bias << exponentShift)) >> exponentShift;
  const vec<V> exponent = reinterpret_cast<vec<V>>(biased | two52) - (4503599627370496.0 + bias);
  const vec<V> m = reinterpret_cast<vec<V>>(bits - ((biased - bias) << exponentShift));
  const vec<V> z = (m - 1.0) / (m + 1.0), s = z * z;
  const vec<V> series = 1.0 + s * (1.0 / 3 + s * (1.0 / 5 + s * (1.0 / 7 + s * (1.0 / 9 + s * (1.0 / 11)))));
  const vec<V> result = exponent * log10Of2 + z * series * twoLog10OfE;
  const ivec<V> finite = reinterpret_cast<ivec<V>>(x <= static_cast<double>(std::numeric_limits<float>::max()));
  return reinterpret_cast<vec<V>>((reinterpret_cast<ivec<V>>(result) & finite) | (bits & ~finite));
}

template <int V> LARCH_INLINE void storeLogs(vec<V> powers, double scale, float* out) {
  const fvec<V> rounded = __builtin_convertvector(powers * scale + powerFloor, fvec<V>);
  const vec<V> logs = log10Of<V>(__builtin_convertvector(rounded, vec<V>));
  *reinterpret_cast<typename floatsOf<V>::unaligned*>(out) = __builtin_convertvector(logs, fvec<V>);
}

template <int V> LARCH_INLINE void allLogs(const double* powers, std::size_t count, double scale, float* out) {
  std::size_t i = 0;
  for (; i + V <= count; i += V) storeLogs<V>(load<V>(powers + i), scale, out + i);
  for (; i < count; i++) {
    float pair[2];
    storeLogs<2>(broadcast<2>(powers[i]), scale, pair);
    out[i] = pair[0];
  }
}

template <int V> LARCH_INLINE vec<V> reversed(vec<V> a) {
  if constexpr (V == 8)
    return __builtin_shufflevector(a, a, 7, 6, 5, 4, 3, 2, 1, 0);
  else if constexpr (V == 4)
    return __builtin_shufflevector(a, a, 3, 2, 1, 0);
  else
    return __builtin_shufflevector(a, a, 1, 0);
}

// powers[i] = |x[-i]|^2 for 8 complex numbers.
template <int V> LARCH_INLINE void descendingPowers(const double* x, double* powers) {
  for (int i = 0; i < 8; i += V) {
    const double* at = x - 2 * (i + V - 1);
    vec<V> re, im;
    deinterleave<V>(load<V>(at), load<V>(at + V), re, im);
    store<V>(powers + i, reversed<V>(re * re + im * im));
  }
}

template <int V>
LARCH_INLINE void allPowers(const double* x, const int16_t* bins, const bool* descending, std::size_t groups, double* powers) {
  for (std::size_t g = 0; g < groups; g++, bins += 8, powers += 8) {
    if (descending[g]) {
      descendingPowers<V>(x + 2 * bins[0], powers);
      continue;
    }
    for (int i = 0; i < 8; i++) {
      const double* bin = x + 2 * (bins[i] < 0 ? 0 : bins[i]);
      powers[i] = bins[i] < 0 ? 0.0 : bin[0] * bin[0] + bin[1] * bin[1];
    }
  }
}

struct kernels {
  void (*logs)(const double* powers, std::size_t count, double scale, float* out);
  void (*powers)(const double* x, const int16_t* bins, const bool* descending, std::size_t groups, double* powers);
};

#define LARCH_SPECTRUM_ENTRIES(NAME, V, TARGET)                                                                                  \
  namespace NAME {                                                                                                               \
  TARGET void logs(const double* powers, std::size_t count, double scale, float* out) { allLogs<V>(powers, count, scale, out); } \
  TARGET void powers(const double* x, const int16_t* bins, const bool* descending, std::size_t groups, double* result) {         \
    allPowers<V>(x, bins, descending, groups, result);                                                                           \
  }                                                                                                                              \
  constexpr kernels table{logs, powers};                                                                                         \
  }

LARCH_SPECTRUM_ENTRIES(baseline, 2, LARCH_BASELINE)
#if LARCH_X86
LARCH_SPECTRUM_ENTRIES(avx2, 4, LARCH_AVX2_EXACT)
LARCH_SPECTRUM_ENTRIES(avx512, 8, LARCH_AVX512_EXACT)
#endif
#undef LARCH_SPECTRUM_ENTRIES

const kernels& kernelsOf(cpuVariant variant) {
#if LARCH_X86
  if (variant == cpuVariant::avx512) return avx512::table;
  if (variant == cpuVariant::avx2) return avx2::table;
#endif
  (void)variant;
  return baseline::table;
}

} // namespace

void logPowers(const double* powers, std::size_t count, double scale, float* out, cpuVariant variant) {
  kernelsOf(variant).logs(powers, count, scale, out);
}

powerSpectrum::powerSpectrum(cpuVariant variant) : variant_(variant), powers_(makeAlignedDoubles(points)) {
  bins_.fill(outside);
  descending_.fill(false);
}

// required: bin m of the mirrored stream stands for the band's centre - (m + 1) * rate / 2048, one bin beyond the plain mirror.
void powerSpectrum::setBand(const band& wanted) {
  if (wanted == band_) return;
  band_ = wanted;
  inside_ = 0;
  const auto inLow = static_cast<double>(wanted.inLow), inHigh = static_cast<double>(wanted.inHigh);
  for (int32_t i = 0; i < points; i++) {
    const double f = i * (wanted.high - wanted.low) * pointShare + wanted.low;
    bins_[i] = outside;
    if (!(f >= inLow && f < inHigh)) continue;
    const double k = (f - inLow) * points / wanted.rate;
    if (!(k >= 0 && k < points)) continue;
    const int32_t mirrored = points / 2 - static_cast<int32_t>(k) + (k >= points / 2 ? points : 0);
    bins_[i] = static_cast<int16_t>(mirrored - 1);
    inside_++;
  }
  for (int32_t g = 0; g < points / group; g++) {
    descending_[g] = bins_[g * group] != outside;
    for (int32_t i = 1; i < group; i++) descending_[g] &= bins_[g * group + i] == bins_[g * group] - i;
  }
}

void powerSpectrum::paint(const std::complex<double>* transform, float* frame) {
  const kernels& k = kernelsOf(variant_);
  k.powers(reinterpret_cast<const double*>(transform), bins_.data(), descending_.data(), points / group, powers_.get());
  k.logs(powers_.get(), points, frameScale, frame);
}

} // namespace larch
