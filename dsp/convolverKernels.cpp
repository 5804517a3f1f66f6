#include "dsp/convolverKernels.h"
#include "dsp/fftPasses.h"

namespace larch::convolver {

namespace {

using namespace larch::simd;

constexpr int radix = 8;
constexpr int columns = length / radix; // of the last forward and the first inverse pass

template <int V> LARCH_INLINE void storePacked(double* spectrum, const vec<V>* r, const vec<V>* i) {
  for (int k = 0; k < radix; k++) {
    store<V>(spectrum + 2 * V * k, r[k]);
    store<V>(spectrum + 2 * V * k + V, i[k]);
  }
}

// The group's part of sum += signal * taps.
template <int V> LARCH_INLINE void addProducts(vec<V>* sumRe, vec<V>* sumIm, const double* signal, const double* taps) {
  for (int k = 0; k < radix; k++) {
    const vec<V> a = load<V>(signal + 2 * V * k), b = load<V>(signal + 2 * V * k + V);
    const vec<V> c = load<V>(taps + 2 * V * k), d = load<V>(taps + 2 * V * k + V);
    sumRe[k] += a * c;
    sumRe[k] -= b * d;
    sumIm[k] += a * d;
    sumIm[k] += b * c;
  }
}

template <int V> LARCH_INLINE void toSpectrum(const double* in, double* spectrum) {
  for (int q = 0; q < columns; q += V) {
    vec<V> r[radix], i[radix];
    fft::loadPacked<V, radix>(in + 2 * q, 2 * columns, r, i);
    fft::butterfly<radix>(r, i);
    storePacked<V>(spectrum + 2 * radix * q, r, i);
  }
}

template <int V>
LARCH_INLINE void turnAround(const double* in, double* newest, const double* newestTaps, const spectraPair* older, int count,
                             double* out, const double* turns) {
  for (int q = 0; q < columns; q += V, turns += 2 * V * (radix - 1)) {
    const int group = 2 * radix * q;
    vec<V> r[radix], i[radix];
    fft::loadPacked<V, radix>(in + 2 * q, 2 * columns, r, i);
    fft::butterfly<radix>(r, i);
    storePacked<V>(newest + group, r, i);
    for (int k = 0; k < radix; k++) {
      const double* taps = newestTaps + group + 2 * V * k;
      fft::turn(r[k], i[k], load<V>(taps), load<V>(taps + V));
    }
    for (int j = 0; j < count; j++) addProducts<V>(r, i, older[j].signal + group, older[j].taps + group);
    fft::butterfly<radix>(i, r); // parts swapped: the inverse
    fft::storeFirst<V, radix>(i, r, out + group, turns);
  }
}

#define LARCH_CONVOLVER_ENTRIES(NAME, V, TARGET)                                                                                 \
  namespace NAME {                                                                                                               \
  TARGET void spectrum(const double* in, double* spectrumOut) { toSpectrum<V>(in, spectrumOut); }                                \
  TARGET void around(const double* in, double* newest, const double* newestTaps, const spectraPair* older, int count,            \
                     double* out, const double* turns) {                                                                         \
    turnAround<V>(in, newest, newestTaps, older, count, out, turns);                                                             \
  }                                                                                                                              \
  constexpr kernels table{spectrum, around};                                                                                     \
  }

LARCH_CONVOLVER_ENTRIES(baseline, 2, LARCH_BASELINE)
#if LARCH_X86
LARCH_CONVOLVER_ENTRIES(avx2, 4, LARCH_AVX2)
LARCH_CONVOLVER_ENTRIES(avx512, 8, LARCH_AVX512)
#endif
#undef LARCH_CONVOLVER_ENTRIES

} // namespace

const kernels& kernelsOf(cpuVariant variant) {
#if LARCH_X86
  if (variant == cpuVariant::avx512) return avx512::table;
  if (variant == cpuVariant::avx2) return avx2::table;
#endif
  (void)variant;
  return baseline::table;
}

} // namespace larch::convolver
