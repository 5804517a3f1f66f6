// The passes of the transform: self-sorting (Stockham), radix 4 and 8, on real and imaginary parts apart.
#pragma once
#include "dsp/simdVector.h"
#include <cstddef>

namespace larch::fft {

using namespace larch::simd;

constexpr double halfRoot = 0.70710678118654752440; // cos(π/4)

// r + j i times e^(-jπ/4), -j, e^(-j3π/4) and cos + j sin.
template <class T> LARCH_INLINE void turnEighth(T& r, T& i) {
  const T t = (r + i) * halfRoot;
  i = (i - r) * halfRoot;
  r = t;
}
template <class T> LARCH_INLINE void turnQuarter(T& r, T& i) {
  const T t = i;
  i = -r;
  r = t;
}
template <class T> LARCH_INLINE void turnThreeEighths(T& r, T& i) {
  const T t = (i - r) * halfRoot;
  i = -((r + i) * halfRoot);
  r = t;
}
template <class T, class C> LARCH_INLINE void turn(T& r, T& i, C cos, C sin) {
  const T t = r * cos - i * sin;
  i = r * sin + i * cos;
  r = t;
}

// Butterflies: R points in r and i, inputs and outputs in natural order, kernel e^(-j2πkn/R).
template <class T> LARCH_INLINE void butterfly4(T& r0, T& i0, T& r1, T& i1, T& r2, T& i2, T& r3, T& i3) {
  const T sumR = r0 + r2, sumI = i0 + i2, differenceR = r0 - r2, differenceI = i0 - i2;
  const T oddSumR = r1 + r3, oddSumI = i1 + i3, oddDifferenceR = r1 - r3, oddDifferenceI = i1 - i3;
  r0 = sumR + oddSumR;
  i0 = sumI + oddSumI;
  r1 = differenceR + oddDifferenceI;
  i1 = differenceI - oddDifferenceR;
  r2 = sumR - oddSumR;
  i2 = sumI - oddSumI;
  r3 = differenceR - oddDifferenceI;
  i3 = differenceI + oddDifferenceR;
}

template <class T> LARCH_INLINE void butterfly8(T* r, T* i) {
  T evenR[4], evenI[4], oddR[4], oddI[4];
  for (int k = 0; k < 4; k++) {
    evenR[k] = r[k] + r[k + 4];
    evenI[k] = i[k] + i[k + 4];
    oddR[k] = r[k] - r[k + 4];
    oddI[k] = i[k] - i[k + 4];
  }
  turnEighth(oddR[1], oddI[1]);
  turnQuarter(oddR[2], oddI[2]);
  turnThreeEighths(oddR[3], oddI[3]);
  butterfly4(evenR[0], evenI[0], evenR[1], evenI[1], evenR[2], evenI[2], evenR[3], evenI[3]);
  butterfly4(oddR[0], oddI[0], oddR[1], oddI[1], oddR[2], oddI[2], oddR[3], oddI[3]);
  for (int k = 0; k < 4; k++) {
    r[2 * k] = evenR[k];
    i[2 * k] = evenI[k];
    r[2 * k + 1] = oddR[k];
    i[2 * k + 1] = oddI[k];
  }
}

template <int R, class T> LARCH_INLINE void butterfly(T* r, T* i) {
  if constexpr (R == 4)
    butterfly4(r[0], i[0], r[1], i[1], r[2], i[2], r[3], i[3]);
  else
    butterfly8(r, i);
}

// Between the passes the points stand packed: for each V of them, in order, V real and then V imaginary parts. Point e, a
// multiple of V, is at double 2 e.
template <int V, int R> LARCH_INLINE void loadPacked(const double* x, std::size_t step, vec<V>* r, vec<V>* i) {
  for (int k = 0; k < R; k++) {
    r[k] = load<V>(x + k * step);
    i[k] = load<V>(x + k * step + V);
  }
}

// The end of a first pass: the outputs r, i of V butterflies are turned and stored to `out` in the order of the next pass, R
// points of each butterfly together. `turns` holds for each output k >= 1 V cosines and V sines.
template <int V, int R> LARCH_INLINE void storeFirst(vec<V>* r, vec<V>* i, double* out, const double* turns) {
  for (int k = 1; k < R; k++) turn(r[k], i[k], load<V>(turns + 2 * V * (k - 1)), load<V>(turns + 2 * V * (k - 1) + V));
  for (int b = 0; b < R; b += V) {
    transpose<V>(r + b);
    transpose<V>(i + b);
    for (int l = 0; l < V; l++) {
      store<V>(out + 2 * (l * R + b), r[b + l]);
      store<V>(out + 2 * (l * R + b) + V, i[b + l]);
    }
  }
}

// First pass of a transform of n points, interleaved input; n / R is a multiple of V. The inverse swaps the parts on the way in
// and on the way out. turns: 2 (R - 1) V values for each V butterflies.
template <int V, int R, bool inverse> LARCH_INLINE void firstPass(const double* in, double* out, const double* turns, int n) {
  const std::size_t row = 2 * static_cast<std::size_t>(n / R);
  for (int p = 0; p < n / R; p += V, in += 2 * V, out += 2 * V * R, turns += 2 * V * (R - 1)) {
    vec<V> r[R], i[R];
    for (int k = 0; k < R; k++) {
      const vec<V> a = load<V>(in + k * row), b = load<V>(in + k * row + V);
      if (inverse)
        deinterleave<V>(a, b, i[k], r[k]);
      else
        deinterleave<V>(a, b, r[k], i[k]);
    }
    butterfly<R>(r, i);
    storeFirst<V, R>(r, i, out, turns);
  }
}

// A pass in the middle: n points are left to transform in each of `stride` columns; stride is a multiple of V.
// turns: 2 (R - 1) values for each butterfly.
template <int V, int R> LARCH_INLINE void middlePass(const double* in, double* out, const double* turns, int n, int stride) {
  const std::size_t row = 2 * static_cast<std::size_t>(stride), inStep = row * (n / R);
  for (int p = 0; p < n / R; p++, turns += 2 * (R - 1), out += row * (R - 1))
    for (int q = 0; q < stride; q += V, in += 2 * V, out += 2 * V) {
      vec<V> r[R], i[R];
      loadPacked<V, R>(in, inStep, r, i);
      butterfly<R>(r, i);
      for (int k = 0; k < R; k++) {
        if (k > 0) turn(r[k], i[k], turns[2 * k - 2], turns[2 * k - 1]);
        store<V>(out + k * row, r[k]);
        store<V>(out + k * row + V, i[k]);
      }
    }
}

// The last pass, interleaved output from output row `from` on (0: everything, R / 2: the upper half of the points).
template <int V, int R, bool inverse, int from> LARCH_INLINE void lastPass(const double* in, double* out, int stride) {
  const std::size_t row = 2 * static_cast<std::size_t>(stride);
  for (int q = 0; q < stride; q += V, in += 2 * V, out += 2 * V) {
    vec<V> r[R], i[R];
    loadPacked<V, R>(in, row, r, i);
    butterfly<R>(r, i);
    for (int k = from; k < R; k++) {
      if (inverse)
        storeInterleaved<V>(out + (k - from) * row, i[k], r[k]);
      else
        storeInterleaved<V>(out + (k - from) * row, r[k], i[k]);
    }
  }
}

} // namespace larch::fft
