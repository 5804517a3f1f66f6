#include "dsp/windowKernel.h"
#include "dsp/simdVector.h"

namespace larch {
namespace {

using namespace larch::simd;

// V doubles of window for V complex samples.
template <int V> LARCH_INLINE void group(const double* in, const double* window, double* out) {
  const vec<V> w = load<V>(window), a = load<V>(in), b = load<V>(in + V);
  if constexpr (V == 8) {
    store<V>(out, a * __builtin_shufflevector(w, w, 0, 0, 1, 1, 2, 2, 3, 3));
    store<V>(out + V, b * __builtin_shufflevector(w, w, 4, 4, 5, 5, 6, 6, 7, 7));
  } else if constexpr (V == 4) {
    store<V>(out, a * __builtin_shufflevector(w, w, 0, 0, 1, 1));
    store<V>(out + V, b * __builtin_shufflevector(w, w, 2, 2, 3, 3));
  } else {
    store<V>(out, a * __builtin_shufflevector(w, w, 0, 0));
    store<V>(out + V, b * __builtin_shufflevector(w, w, 1, 1));
  }
}

template <int V> LARCH_INLINE void all(const double* in, const double* window, double* out, std::size_t count) {
  std::size_t i = 0;
  for (; i + V <= count; i += V) group<V>(in + 2 * i, window + i, out + 2 * i);
  for (; i < count; i++) {
    out[2 * i] = in[2 * i] * window[i];
    out[2 * i + 1] = in[2 * i + 1] * window[i];
  }
}

using entry = void (*)(const double* in, const double* window, double* out, std::size_t count);

LARCH_BASELINE void baseline(const double* in, const double* window, double* out, std::size_t count) {
  all<2>(in, window, out, count);
}
#if LARCH_X86
LARCH_AVX2_EXACT void avx2(const double* in, const double* window, double* out, std::size_t count) {
  all<4>(in, window, out, count);
}
LARCH_AVX512_EXACT void avx512(const double* in, const double* window, double* out, std::size_t count) {
  all<8>(in, window, out, count);
}
#endif

entry entryOf(cpuVariant variant) {
#if LARCH_X86
  if (variant == cpuVariant::avx512) return avx512;
  if (variant == cpuVariant::avx2) return avx2;
#endif
  (void)variant;
  return baseline;
}

} // namespace

void multiplyWindow(const std::complex<double>* in, const double* window, std::complex<double>* out, std::size_t count,
                    cpuVariant variant) {
  entryOf(variant)(reinterpret_cast<const double*>(in), window, reinterpret_cast<double*>(out), count);
}

} // namespace larch
