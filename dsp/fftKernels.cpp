#include "dsp/fftKernels.h"
#include "dsp/fftPasses.h"

namespace larch::fft {

namespace {

// One set of entry points: V doubles a vector, a target.
#define LARCH_FFT_ENTRIES(NAME, V, TARGET)                                                                                       \
  namespace NAME {                                                                                                               \
  template <bool inverse> TARGET void first(const double* in, double* out, const double* turns, int n) {                         \
    firstPass<V, firstRadix, inverse>(in, out, turns, n);                                                                        \
  }                                                                                                                              \
  template <int R> TARGET void middle(const double* in, double* out, const double* turns, int n, int stride) {                   \
    middlePass<V, R>(in, out, turns, n, stride);                                                                                 \
  }                                                                                                                              \
  template <int R> TARGET void middle8(const double* in, double* out, const double* turns, int n, int) {                         \
    middlePass<V, R>(in, out, turns, n, 8);                                                                                      \
  }                                                                                                                              \
  template <int R, bool inverse, int from> TARGET void last(const double* in, double* out, int stride) {                         \
    lastPass<V, R, inverse, from>(in, out, stride);                                                                              \
  }                                                                                                                              \
  template <int R>                                                                                                               \
  constexpr radixKernels radixTable{middle<R>, middle8<R>, last<R, false, 0>, last<R, true, 0>, last<R, true, R / 2>};           \
  constexpr firstKernels firstTable{first<false>, first<true>};                                                                  \
  }

LARCH_FFT_ENTRIES(baseline, 2, LARCH_BASELINE)
#if LARCH_X86
LARCH_FFT_ENTRIES(avx2, 4, LARCH_AVX2)
LARCH_FFT_ENTRIES(avx512, 8, LARCH_AVX512)
#endif
#undef LARCH_FFT_ENTRIES

} // namespace

const firstKernels& firstKernelsOf(cpuVariant variant) {
#if LARCH_X86
  if (variant == cpuVariant::avx512) return avx512::firstTable;
  if (variant == cpuVariant::avx2) return avx2::firstTable;
#endif
  (void)variant;
  return baseline::firstTable;
}

const radixKernels& kernelsOf(cpuVariant variant, int radix) {
#if LARCH_X86
  if (variant == cpuVariant::avx512) return radix == 4 ? avx512::radixTable<4> : avx512::radixTable<8>;
  if (variant == cpuVariant::avx2) return radix == 4 ? avx2::radixTable<4> : avx2::radixTable<8>;
#endif
  (void)variant;
  return radix == 4 ? baseline::radixTable<4> : baseline::radixTable<8>;
}

int vectorWidth(cpuVariant variant) { return variant == cpuVariant::avx512 ? 8 : variant == cpuVariant::avx2 ? 4 : 2; }

} // namespace larch::fft
