#include "dsp/turnKernel.h"
#include "dsp/simdVector.h"
#include <algorithm>
#include <array>
#include <numbers>

namespace larch {
namespace {

using namespace larch::simd;

constexpr double pi = std::numbers::pi, tanOfEighth = 0.41421356237309503; // tan(pi/8)
// (atan(t) / t - 1) / t^2 as a polynomial of t^2: its interpolation at the Chebyshev nodes of 0 to tan(pi/8)^2, good for 2e-16
constexpr std::array arcTerms = {-0.3333333333333325,  0.19999999999898324, -0.1428571426608229,  0.11111109635603796,
                                 -0.09090852527088297, 0.07691054614825647, -0.06649607953399717, 0.057362969593526145,
                                 -0.04483218628995374, 0.022748939747779046};

template <int V> LARCH_INLINE vec<V> magnitude(vec<V> x) { return x < 0.0 ? -x : x; }

// The angle of (re, im). Folded into the first eighth of a turn, then to pi/8 at the most by atan(t) = pi/4 + atan((t-1)/(t+1)).
template <int V> LARCH_INLINE vec<V> angle(vec<V> re, vec<V> im) {
  const vec<V> x = magnitude<V>(re), y = magnitude<V>(im);
  const auto steep = y > x;
  const vec<V> low = steep ? x : y, high = steep ? y : x;
  const auto beyond = low > high * tanOfEighth;
  const vec<V> above = beyond ? low - high : low, below = beyond ? low + high : high;
  const vec<V> t = above / (below == 0.0 ? below + 1.0 : below), z = t * t;
  vec<V> series = broadcast<V>(arcTerms.back());
  for (std::size_t k = arcTerms.size() - 1; k-- > 0;) series = series * z + arcTerms[k];
  vec<V> a = t + t * z * series;
  a = beyond ? a + pi / 4 : a;
  a = steep ? pi / 2 - a : a;
  a = re < 0.0 ? pi - a : a;
  return im < 0.0 ? -a : a;
}

// V turns to the samples at `in` from those at `before`.
template <int V> LARCH_INLINE void group(const double* before, const double* in, double* turns) {
  vec<V> br, bi, xr, xi;
  deinterleave<V>(load<V>(before), load<V>(before + V), br, bi);
  deinterleave<V>(load<V>(in), load<V>(in + V), xr, xi);
  store<V>(turns, angle<V>(br * xr + bi * xi, br * xi - bi * xr));
}

template <int V> LARCH_INLINE void single(const double* before, const double* in, double* turn) {
  double x[2 * V] = {in[0], in[1]}, p[2 * V] = {before[0], before[1]}, turns[V];
  group<V>(p, x, turns);
  *turn = turns[0];
}

template <int V> LARCH_INLINE void all(const double* previous, const double* in, double* turns, std::size_t count) {
  if (count == 0) return;
  single<V>(previous, in, turns);
  std::size_t i = 1;
  for (; i + V <= count; i += V) group<V>(in + 2 * i - 2, in + 2 * i, turns + i);
  for (; i < count; i++) single<V>(in + 2 * i - 2, in + 2 * i, turns + i);
}

using entry = void (*)(const double* previous, const double* in, double* turns, std::size_t count);

LARCH_BASELINE void baseline(const double* previous, const double* in, double* turns, std::size_t count) {
  all<2>(previous, in, turns, count);
}
#if LARCH_X86
LARCH_AVX2 void avx2(const double* previous, const double* in, double* turns, std::size_t count) {
  all<4>(previous, in, turns, count);
}
LARCH_AVX512 void avx512(const double* previous, const double* in, double* turns, std::size_t count) {
  all<8>(previous, in, turns, count);
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

void sampleTurns(std::complex<double> previous, const std::complex<double>* in, double* turns, std::size_t count,
                 cpuVariant variant) {
  entryOf(variant)(reinterpret_cast<const double*>(&previous), reinterpret_cast<const double*>(in), turns, count);
}

} // namespace larch
