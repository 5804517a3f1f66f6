#include "dsp/decimatorKernels.h"
#include "dsp/simdVector.h"

namespace larch::decimator {

namespace {

using namespace larch::simd;

// The taps at even offsets, outermost first, mirrored; the centre is 0.5, the others are 0.
template <int P> struct halfTaps;
template <> struct halfTaps<10> {
  static constexpr double values[] = {-3.62907885576887e-6, 4.02466442580786e-5, -0.000235834343041218, 0.000963902327396773,
                                      -0.003076553710626,   0.00818383132692986, -0.0190660145353977,   0.0410960724707912,
                                      -0.0907564864768072,  0.312854461452131};
};
template <> struct halfTaps<5> {
  static constexpr double values[] = {0.000333811843036611, -0.00353395473118229, 0.0185252451861531, -0.0689599668906186,
                                      0.303634864592664};
};
template <> struct halfTaps<3> {
  static constexpr double values[] = {0.00622556206707906, -0.0499000904333449, 0.293674528365953};
};
template <int P> constexpr double tap(int d) { return halfTaps<P>::values[d < P ? d : 2 * P - 1 - d]; }

constexpr int unroll = 4; // vectors of outputs for each load of the window

// Multiplies complex numbers by one factor, or by those of a table.
template <int V> struct turner {
  vec<V> re, im;
  LARCH_INLINE vec<V> operator()(vec<V> x) const { return x * re + swapParts<V>(x) * im; }
};
template <int V> LARCH_INLINE turner<V> turnerOf(rotation r) { return {broadcast<V>(r.re), alternate<V>(-r.im, r.im)}; }
template <int V> LARCH_INLINE turner<V> turnerOf(rotationTable table, std::size_t k) {
  return {load<V>(table.cosines + 2 * k), load<V>(table.sines + 2 * k)};
}

// The loops below go on by single complex numbers, vectors of 2, where their own width doesn't fit any more.
template <int V> LARCH_INLINE void mix(const double* in, std::size_t count, rotationTable table, rotation start, double* out) {
  constexpr std::size_t C = V / 2;
  const turner<V> turn = turnerOf<V>(start);
  std::size_t k = 0;
  for (; k + C <= count; k += C) store<V>(out + 2 * k, turn(turnerOf<V>(table, k)(load<V>(in + 2 * k))));
  const turner<2> turnOne = turnerOf<2>(start);
  for (; k < count; k++) store<2>(out + 2 * k, turnOne(turnerOf<2>(table, k)(load<2>(in + 2 * k))));
}

template <int V, bool mixing>
LARCH_INLINE void splitBlock(const double* in, std::size_t& k, std::size_t count, rotationTable table, double* even,
                             double* odd) {
  constexpr std::size_t C = V / 2;
  for (; k + 2 * C <= count; k += 2 * C) {
    vec<V> a = load<V>(in + 2 * k), b = load<V>(in + 2 * k + V), e, o;
    if constexpr (mixing) {
      a = turnerOf<V>(table, k)(a);
      b = turnerOf<V>(table, k + C)(b);
    }
    splitPairs<V>(a, b, e, o);
    store<V>(even + k, e);
    store<V>(odd + k, o);
  }
}

template <int V, bool mixing>
LARCH_INLINE void split(const double* in, std::size_t count, rotationTable table, double* even, double* odd) {
  std::size_t k = 0;
  splitBlock<V, mixing>(in, k, count, table, even, odd);
  if (V > 2) splitBlock<2, mixing>(in, k, count, table, even, odd);
}

// U vectors of outputs from output m on. Loads of 64 bytes across cache lines cost more than to put them together in registers.
template <int V, int P, int U> LARCH_INLINE void halfband(stageInput in, std::size_t m, vec<V>* sum) {
  constexpr int C = V / 2;
  const double* window = in.window + 2 * m;
  LARCH_UNROLL_LOOP
  for (int u = 0; u < U; u++) sum[u] = load<V>(in.centre + 2 * m + u * V) * 0.5;
  vec<V> low{}, high = load<V>(window);
  LARCH_UNROLL_LOOP
  for (int q = 0; q < 2 * P + C * (U - 1); q++) {
    vec<V> x;
    if constexpr (V == 8) {
      if (q % C == 0) {
        low = high;
        high = load<V>(window + 2 * (q + C));
      }
      x = joined(low, high, q % C);
    } else {
      x = load<V>(window + 2 * q);
    }
    LARCH_UNROLL_LOOP
    for (int u = 0; u < U; u++) {
      const int d = q - C * u;
      if (d >= 0 && d < 2 * P) sum[u] += x * tap<P>(d);
    }
  }
}

template <int V, int P, int U>
LARCH_INLINE void stageBlock(stageInput in, std::size_t& m, std::size_t outputs, double* even, double* odd) {
  constexpr std::size_t C = V / 2;
  for (; m + U * C <= outputs; m += U * C) {
    vec<V> sum[U], e, o;
    halfband<V, P, U>(in, m, sum);
    for (int u = 0; u < U; u += 2) {
      splitPairs<V>(sum[u], sum[u + 1], e, o);
      store<V>(even + m + u * C, e);
      store<V>(odd + m + u * C, o);
    }
  }
}

template <int V, int P> LARCH_INLINE void stage(stageInput in, std::size_t outputs, double* even, double* odd) {
  std::size_t m = 0;
  stageBlock<V, P, unroll>(in, m, outputs, even, odd);
  stageBlock<V, P, 2>(in, m, outputs, even, odd);
  if (V > 2) stageBlock<2, P, 2>(in, m, outputs, even, odd);
}

template <int V, int U, bool rotating>
LARCH_INLINE void lastBlock(stageInput in, std::size_t& m, std::size_t outputs, rotation factor, double* out) {
  constexpr std::size_t C = V / 2;
  const turner<V> turn = turnerOf<V>(factor);
  for (; m + U * C <= outputs; m += U * C) {
    vec<V> sum[U];
    halfband<V, 10, U>(in, m, sum);
    for (int u = 0; u < U; u++) store<V>(out + 2 * m + u * V, rotating ? turn(sum[u]) : sum[u]);
  }
}

template <int V, bool rotating> LARCH_INLINE void lastStage(stageInput in, std::size_t outputs, rotation factor, double* out) {
  std::size_t m = 0;
  lastBlock<V, unroll, rotating>(in, m, outputs, factor, out);
  lastBlock<V, 1, rotating>(in, m, outputs, factor, out);
  if (V > 2) lastBlock<2, 1, rotating>(in, m, outputs, factor, out);
}

template <int V> LARCH_INLINE void rotate(double* x, std::size_t count, rotation factor) {
  const turner<V> turn = turnerOf<V>(factor);
  for (std::size_t k = 0; k < 2 * count; k += V) store<V>(x + k, turn(load<V>(x + k)));
}

template <int V>
LARCH_INLINE void keepRotated(double* even, double* odd, std::size_t count, std::size_t outputs, rotation factor) {
  const turner<V> turn = turnerOf<V>(factor);
  for (std::size_t k = 0; k < 2 * count; k += V) { // upwards: each vector is read before anything is written over it
    store<V>(even + k, turn(load<V>(even + 2 * outputs + k)));
    store<V>(odd + k, turn(load<V>(odd + 2 * outputs + k)));
  }
}

#define LARCH_DECIMATOR_ENTRIES(NAME, V, TARGET)                                                                                 \
  namespace NAME {                                                                                                               \
  TARGET void mixAll(const double* in, std::size_t count, rotationTable table, rotation start, double* out) {                    \
    mix<V>(in, count, table, start, out);                                                                                        \
  }                                                                                                                              \
  TARGET void mixAndSplit(const double* in, std::size_t count, rotationTable table, double* even, double* odd) {                 \
    split<V, true>(in, count, table, even, odd);                                                                                 \
  }                                                                                                                              \
  TARGET void splitAll(const double* in, std::size_t count, double* even, double* odd) {                                         \
    split<V, false>(in, count, {}, even, odd);                                                                                   \
  }                                                                                                                              \
  template <int P> TARGET void stageOf(stageInput in, std::size_t outputs, double* even, double* odd) {                          \
    stage<V, P>(in, outputs, even, odd);                                                                                         \
  }                                                                                                                              \
  TARGET void stage39(stageInput in, std::size_t outputs, double* out) { lastStage<V, false>(in, outputs, {}, out); }            \
  TARGET void stage39Rotated(stageInput in, std::size_t outputs, rotation factor, double* out) {                                 \
    lastStage<V, true>(in, outputs, factor, out);                                                                                \
  }                                                                                                                              \
  TARGET void keep(double* even, double* odd, std::size_t count, std::size_t outputs, rotation factor) {                         \
    keepRotated<V>(even, odd, count, outputs, factor);                                                                           \
  }                                                                                                                              \
  TARGET void rotateAll(double* x, std::size_t count, rotation factor) { rotate<V>(x, count, factor); }                          \
  constexpr kernels table{mixAll, mixAndSplit, splitAll, stageOf<3>, stageOf<5>, stage39, stage39Rotated, keep, rotateAll};      \
  }

LARCH_DECIMATOR_ENTRIES(baseline, 2, LARCH_BASELINE)
#if LARCH_X86
LARCH_DECIMATOR_ENTRIES(avx2, 4, LARCH_AVX2)
LARCH_DECIMATOR_ENTRIES(avx512, 8, LARCH_AVX512)
#endif
#undef LARCH_DECIMATOR_ENTRIES

} // namespace

const kernels& kernelsOf(cpuVariant variant) {
#if LARCH_X86
  if (variant == cpuVariant::avx512) return avx512::table;
  if (variant == cpuVariant::avx2) return avx2::table;
#endif
  (void)variant;
  return baseline::table;
}

} // namespace larch::decimator
