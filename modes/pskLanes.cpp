#include "modes/pskLanes.h"
#include "dsp/simdVector.h"

namespace larch {
namespace {

using namespace larch::simd;

constexpr int firstStride = 4;

// V doubles a vector, L / V vectors a row's part; as many sums as the adders need to keep busy.
template <int V> struct form {
  static constexpr int L = pskLanes::count, parts = L / V, sums = parts > 2 ? 1 : 2;

  static LARCH_INLINE void step(int& index, int taps) { index = index == 0 ? taps - 1 : index - 1; }

  static LARCH_INLINE void mix(pskLanes& s, double sample) {
    double* row = s.ring1[s.index1][0];
    LARCH_UNROLL_LOOP
    for (int k = 0; k < L; k += V) {
      const vec<V> re = load<V>(s.phasor[0] + k), im = load<V>(s.phasor[1] + k);
      const vec<V> c = load<V>(s.rotation[0] + k), t = load<V>(s.rotation[1] + k);
      store<V>(row + k, sample * re);
      store<V>(row + L + k, sample * im);
      store<V>(s.phasor[0] + k, re * c - im * t);
      store<V>(s.phasor[1] + k, re * t + im * c);
    }
  }

  template <int taps> static LARCH_INLINE void sum(const double* weights, const pskLanes::row* rows, pskLanes::row& out) {
    vec<V> total[sums][2 * parts]{};
    int n = 0;
    for (; n + sums <= taps; n += sums) LARCH_UNROLL_LOOP
    for (int u = 0; u < sums; u++) LARCH_UNROLL_LOOP
    for (int k = 0; k < 2 * parts; k++) total[u][k] += weights[n + u] * load<V>(rows[n + u][0] + k * V);
    for (; n < taps; n++) LARCH_UNROLL_LOOP
    for (int k = 0; k < 2 * parts; k++) total[0][k] += weights[n] * load<V>(rows[n][0] + k * V);
    LARCH_UNROLL_LOOP
    for (int k = 0; k < 2 * parts; k++) {
      vec<V> all = total[0][k];
      if constexpr (sums > 1) all += total[1][k];
      store<V>(out[0] + k * V, all);
    }
  }

  static LARCH_INLINE void copy(const pskLanes::row& from, pskLanes::row& to) {
    LARCH_UNROLL_LOOP
    for (int k = 0; k < 2 * L; k += V) store<V>(to[0] + k, load<V>(from[0] + k));
  }

  static LARCH_INLINE void run(pskLanes& s, const double* samples, int stride) {
    for (int n = 0; n < stride; n += firstStride) {
      for (int k = 0; k < firstStride - 1; k++) {
        mix(s, samples[n + k]);
        step(s.index1, decimationTaps);
      }
      mix(s, samples[n + firstStride - 1]);
      sum<decimationTaps>(decimationFilter.data() + decimationTaps - s.index1, s.ring1, s.decimated);
      step(s.index1, decimationTaps);
      copy(s.decimated, s.ring2[s.index2]);
      if (stride > firstStride && n + firstStride == stride)
        sum<decimationTaps>(decimationFilter.data() + decimationTaps - s.index2, s.ring2, s.decimated);
      step(s.index2, decimationTaps);
    }
    copy(s.decimated, s.ring3[s.index3]);
    sum<matchedTaps>(frequencyFilter.data() + matchedTaps - s.index3, s.ring3, s.frequencyOut);
    sum<matchedTaps>(bitFilter.data() + matchedTaps - s.index3, s.ring3, s.bitOut);
    step(s.index3, matchedTaps);
  }
};

using entry = void (*)(pskLanes& s, const double* samples, int stride);

LARCH_BASELINE void baseline(pskLanes& s, const double* samples, int stride) { form<2>::run(s, samples, stride); }
#if LARCH_X86
LARCH_AVX2 void avx2(pskLanes& s, const double* samples, int stride) { form<4>::run(s, samples, stride); }
LARCH_AVX512 void avx512(pskLanes& s, const double* samples, int stride) { form<8>::run(s, samples, stride); }
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

void runLanes(pskLanes& lanes, const double* samples, int stride, cpuVariant variant) {
  entryOf(variant)(lanes, samples, stride);
}

} // namespace larch
