#include "dsp/fftKernels.h"
#include "dsp/fftPasses.h"

namespace larch::fft {

namespace {

// One set of entry points: V doubles a vector, a target. A first pass of a radix below V doesn't exist.
#define LARCH_FFT_ENTRIES(NAME, V, TARGET)                                                                                       \
  namespace NAME {                                                                                                               \
  template <int R, bool inverse> TARGET void first(const double* in, double* re, double* im, const double* turns, int n) {       \
    firstPass<V, R, inverse>(in, re, im, turns, n);                                                                              \
  }                                                                                                                              \
  template <int R>                                                                                                               \
  TARGET void middle(const double* re, const double* im, double* outRe, double* outIm, const double* turns, int n, int stride) { \
    middlePass<V, R>(re, im, outRe, outIm, turns, n, stride);                                                                    \
  }                                                                                                                              \
  template <int R, bool inverse, int from> TARGET void last(const double* re, const double* im, double* out, int stride) {       \
    lastPass<V, R, inverse, from>(re, im, out, stride);                                                                          \
  }                                                                                                                              \
  template <int R> TARGET void split(const double* re, const double* im, double* outRe, double* outIm, int stride) {             \
    lastPassSplit<V, R>(re, im, outRe, outIm, stride);                                                                           \
  }                                                                                                                              \
  template <int R> constexpr radixKernels kernels() {                                                                            \
    radixKernels result{R, nullptr, nullptr, middle<R>, last<R, false, 0>, last<R, true, 0>, last<R, true, R / 2>, split<R>};    \
    if constexpr (R >= V) {                                                                                                      \
      result.forwardFirst = first<R, false>;                                                                                     \
      result.inverseFirst = first<R, true>;                                                                                      \
    }                                                                                                                            \
    return result;                                                                                                               \
  }                                                                                                                              \
  constexpr radixKernels table[] = {kernels<4>(), kernels<8>()};                                                                 \
  }

LARCH_FFT_ENTRIES(baseline, 2, LARCH_BASELINE)
#if LARCH_X86
LARCH_FFT_ENTRIES(avx2, 4, LARCH_AVX2)
LARCH_FFT_ENTRIES(avx512, 8, LARCH_AVX512)
#endif
#undef LARCH_FFT_ENTRIES

} // namespace

const radixKernels& kernelsOf(cpuVariant variant, int radix) {
  const int index = radix == 4 ? 0 : 1;
#if LARCH_X86
  if (variant == cpuVariant::avx512) return avx512::table[index];
  if (variant == cpuVariant::avx2) return avx2::table[index];
#endif
  return baseline::table[index];
}

int vectorWidth(cpuVariant variant) { return variant == cpuVariant::avx512 ? 8 : variant == cpuVariant::avx2 ? 4 : 2; }

} // namespace larch::fft
