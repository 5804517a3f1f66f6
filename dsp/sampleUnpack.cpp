#include "dsp/sampleUnpack.h"
#include "dsp/simdVector.h"
#include <cstring>
#if LARCH_X86
#include <immintrin.h>
#endif

namespace larch {

namespace {

constexpr std::size_t sampleBytes = 6;

LARCH_INLINE int32_t wordAt(const uint8_t* p) {
  return static_cast<int32_t>(uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8);
}

LARCH_INLINE void unpackPlain(const uint8_t* from, std::size_t step, double scale, bool swapped, double* to, uint64_t count) {
  const int first = swapped ? 3 : 0;
  for (uint64_t i = 0; i < count; i++, from += step, to += 2) {
    to[0] = wordAt(from + first) * scale;
    to[1] = wordAt(from + 3 - first) * scale;
  }
}

#if LARCH_X86

// Where the four words of two samples stand, which begin at bytes 0 and `second` of 16; -1 gives a zero byte.
struct wordOrder {
  int8_t at[16];
};
constexpr wordOrder orderOf(bool firstSwapped, bool secondSwapped, int second) {
  const int starts[4] = {firstSwapped ? 3 : 0, firstSwapped ? 0 : 3, second + (secondSwapped ? 3 : 0),
                         second + (secondSwapped ? 0 : 3)};
  wordOrder order{};
  for (int word = 0; word < 4; word++) {
    order.at[4 * word] = -1;
    for (int byte = 1; byte < 4; byte++) order.at[4 * word + byte] = static_cast<int8_t>(starts[word] + 3 - byte);
  }
  return order;
}
constexpr int apart = 8; // two samples that were loaded to one half of 16 bytes each
alignas(16) constexpr wordOrder apartOrders[2] = {orderOf(false, false, apart), orderOf(true, true, apart)};
alignas(16) constexpr wordOrder closeOrders[2][2] = {{orderOf(false, false, sampleBytes), orderOf(false, true, sampleBytes)},
                                                     {orderOf(true, false, sampleBytes), orderOf(true, true, sampleBytes)}};

LARCH_AVX2_INLINE __m128i load16(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }

LARCH_AVX2_INLINE __m256d twoSamples(__m128i bytes, __m128i order, __m256d scale) {
  return _mm256_mul_pd(_mm256_cvtepi32_pd(_mm_shuffle_epi8(bytes, order)), scale);
}

// 8 bytes are read for each sample: 2 more than it has.
LARCH_AVX2_INLINE __m128i loadTwo(const uint8_t* p, std::size_t step) {
  const __m128d first = _mm_castsi128_pd(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
  return _mm_castpd_si128(_mm_loadh_pd(first, reinterpret_cast<const double*>(p + step)));
}

// The last samples are the plain loop's, so that nothing behind them is read.
LARCH_AVX2_INLINE void unpackApart(const uint8_t* from, std::size_t step, double scale, iqTarget target, uint64_t count) {
  const __m128i order = load16(&apartOrders[target.swapped]);
  const __m256d factor = _mm256_set1_pd(scale);
  double* to = reinterpret_cast<double*>(target.to);
  for (; count > 4; count -= 4, from += 4 * step, to += 8) {
    _mm256_storeu_pd(to, twoSamples(loadTwo(from, step), order, factor));
    _mm256_storeu_pd(to + 4, twoSamples(loadTwo(from + 2 * step, step), order, factor));
  }
  unpackPlain(from, step, scale, target.swapped, to, count);
}

// One behind the other: 16 bytes are read for each two samples, 4 more than they have.
LARCH_AVX2_INLINE void unpackClose(const uint8_t* from, double scale, iqTarget target, uint64_t count) {
  const __m128i order = load16(&closeOrders[target.swapped][target.swapped]);
  const __m256d factor = _mm256_set1_pd(scale);
  double* to = reinterpret_cast<double*>(target.to);
  for (; count > 4; count -= 4, from += 4 * sampleBytes, to += 8) {
    _mm256_storeu_pd(to, twoSamples(load16(from), order, factor));
    _mm256_storeu_pd(to + 4, twoSamples(load16(from + 2 * sampleBytes), order, factor));
  }
  unpackPlain(from, sampleBytes, scale, target.swapped, to, count);
}

// Two neighbouring receivers. `plain` slots at the end, whose 4 bytes behind the samples may not be read, are the plain loop's.
LARCH_AVX2_INLINE void unpackPair(const uint8_t* from, std::size_t step, double scale, const iqTarget* targets, uint64_t count,
                                  uint64_t plain) {
  const __m128i order = load16(&closeOrders[targets[0].swapped][targets[1].swapped]);
  const __m256d factor = _mm256_set1_pd(scale);
  double *to = reinterpret_cast<double*>(targets[0].to), *toSecond = reinterpret_cast<double*>(targets[1].to);
  for (; count > plain; count--, from += step, to += 2, toSecond += 2) {
    const __m256d both = twoSamples(load16(from), order, factor);
    _mm_storeu_pd(to, _mm256_castpd256_pd128(both));
    _mm_storeu_pd(toSecond, _mm256_extractf128_pd(both, 1));
  }
  unpackPlain(from, step, scale, targets[0].swapped, to, count);
  unpackPlain(from + sampleBytes, step, scale, targets[1].swapped, toSecond, count);
}

LARCH_AVX2 void unpackAvx2(const uint8_t* from, std::size_t step, double scale, const iqTarget* targets, std::size_t receivers,
                           uint64_t count) {
  std::size_t r = 0;
  for (; r + 2 <= receivers; r += 2)
    unpackPair(from + r * sampleBytes, step, scale, targets + r, count, r + 2 < receivers ? 0 : 1);
  if (r == receivers) return;
  if (step == sampleBytes)
    unpackClose(from, scale, targets[r], count);
  else
    unpackApart(from + r * sampleBytes, step, scale, targets[r], count);
}

#endif

} // namespace

void unpackFrame(const uint8_t* from, std::size_t step, double scale, const iqTarget* targets, std::size_t receivers,
                 uint64_t count, cpuVariant variant) {
#if LARCH_X86
  if (variant != cpuVariant::baseline) // wider vectors weren't faster
    return unpackAvx2(from, step, scale, targets, receivers, count);
#endif
  (void)variant;
  for (std::size_t r = 0; r < receivers; r++)
    unpackPlain(from + r * sampleBytes, step, scale, targets[r].swapped, reinterpret_cast<double*>(targets[r].to), count);
}

void unpackIq(const uint8_t* from, std::size_t step, double scale, bool swapped, std::complex<double>* to, uint64_t count,
              cpuVariant variant) {
  const iqTarget target{to, swapped};
  unpackFrame(from, step, scale, &target, 1, count, variant);
}

} // namespace larch
