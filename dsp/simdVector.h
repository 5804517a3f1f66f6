// Vectors of 2, 4 or 8 doubles for the kernels: loads, stores and the few shuffles that they need.
#pragma once
#include "dsp/cpuVariant.h"

namespace larch::simd {

// In double vectors V is the number of doubles; a vector of interleaved complex numbers holds V / 2 of them.
template <int V> struct vectorOf {
  typedef double type __attribute__((vector_size(8 * V)));
  typedef double unaligned __attribute__((vector_size(8 * V), aligned(8)));
};
template <int V> using vec = typename vectorOf<V>::type;

template <int V> LARCH_INLINE vec<V> load(const double* p) {
  return *reinterpret_cast<const typename vectorOf<V>::unaligned*>(p);
}
template <int V> LARCH_INLINE void store(double* p, vec<V> v) { *reinterpret_cast<typename vectorOf<V>::unaligned*>(p) = v; }

// (a, b) as interleaved (re, im) pairs into a vector of real and one of imaginary parts, in order.
template <int V> LARCH_INLINE void deinterleave(vec<V> a, vec<V> b, vec<V>& re, vec<V>& im) {
  if constexpr (V == 8) {
    re = __builtin_shufflevector(a, b, 0, 2, 4, 6, 8, 10, 12, 14);
    im = __builtin_shufflevector(a, b, 1, 3, 5, 7, 9, 11, 13, 15);
  } else if constexpr (V == 4) {
    const vec<V> low = __builtin_shufflevector(a, b, 0, 1, 4, 5), high = __builtin_shufflevector(a, b, 2, 3, 6, 7);
    re = __builtin_shufflevector(low, high, 0, 4, 2, 6);
    im = __builtin_shufflevector(low, high, 1, 5, 3, 7);
  } else {
    re = __builtin_shufflevector(a, b, 0, 2);
    im = __builtin_shufflevector(a, b, 1, 3);
  }
}

// The way back: (re, im) pairs to p.
template <int V> LARCH_INLINE void storeInterleaved(double* p, vec<V> re, vec<V> im) {
  if constexpr (V == 8) {
    store<V>(p, __builtin_shufflevector(re, im, 0, 8, 1, 9, 2, 10, 3, 11));
    store<V>(p + V, __builtin_shufflevector(re, im, 4, 12, 5, 13, 6, 14, 7, 15));
  } else if constexpr (V == 4) {
    const vec<V> even = __builtin_shufflevector(re, im, 0, 4, 2, 6), odd = __builtin_shufflevector(re, im, 1, 5, 3, 7);
    store<V>(p, __builtin_shufflevector(even, odd, 0, 1, 4, 5));
    store<V>(p + V, __builtin_shufflevector(even, odd, 2, 3, 6, 7));
  } else {
    store<V>(p, __builtin_shufflevector(re, im, 0, 2));
    store<V>(p + V, __builtin_shufflevector(re, im, 1, 3));
  }
}

// Row i of V rows becomes column i.
template <int V> LARCH_INLINE void transpose(vec<V>* r) {
  if constexpr (V == 2) {
    const vec<V> a = __builtin_shufflevector(r[0], r[1], 0, 2);
    r[1] = __builtin_shufflevector(r[0], r[1], 1, 3);
    r[0] = a;
  } else if constexpr (V == 4) {
    const vec<V> a = __builtin_shufflevector(r[0], r[1], 0, 4, 2, 6), b = __builtin_shufflevector(r[0], r[1], 1, 5, 3, 7);
    const vec<V> c = __builtin_shufflevector(r[2], r[3], 0, 4, 2, 6), d = __builtin_shufflevector(r[2], r[3], 1, 5, 3, 7);
    r[0] = __builtin_shufflevector(a, c, 0, 1, 4, 5);
    r[1] = __builtin_shufflevector(b, d, 0, 1, 4, 5);
    r[2] = __builtin_shufflevector(a, c, 2, 3, 6, 7);
    r[3] = __builtin_shufflevector(b, d, 2, 3, 6, 7);
  } else {
    vec<V> a[V], b[V];
    for (int i = 0; i < V; i += 2) {
      a[i] = __builtin_shufflevector(r[i], r[i + 1], 0, 8, 2, 10, 4, 12, 6, 14);
      a[i + 1] = __builtin_shufflevector(r[i], r[i + 1], 1, 9, 3, 11, 5, 13, 7, 15);
    }
    for (int half = 0; half < V; half += 4)
      for (int j = half; j < half + 2; j++) {
        b[j] = __builtin_shufflevector(a[j], a[j + 2], 0, 1, 8, 9, 4, 5, 12, 13);
        b[j + 2] = __builtin_shufflevector(a[j], a[j + 2], 2, 3, 10, 11, 6, 7, 14, 15);
      }
    for (int j = 0; j < 4; j++) {
      r[j] = __builtin_shufflevector(b[j], b[4 + j], 0, 1, 2, 3, 8, 9, 10, 11);
      r[4 + j] = __builtin_shufflevector(b[j], b[4 + j], 4, 5, 6, 7, 12, 13, 14, 15);
    }
  }
}

// Interleaved complex numbers: real and imaginary parts change places.
template <int V> LARCH_INLINE vec<V> swapParts(vec<V> a) {
  if constexpr (V == 8)
    return __builtin_shufflevector(a, a, 1, 0, 3, 2, 5, 4, 7, 6);
  else if constexpr (V == 4)
    return __builtin_shufflevector(a, a, 1, 0, 3, 2);
  else
    return __builtin_shufflevector(a, a, 1, 0);
}

// V complex numbers in order, those with even and those with odd index.
template <int V> LARCH_INLINE void splitPairs(vec<V> a, vec<V> b, vec<V>& even, vec<V>& odd) {
  if constexpr (V == 8) {
    even = __builtin_shufflevector(a, b, 0, 1, 4, 5, 8, 9, 12, 13);
    odd = __builtin_shufflevector(a, b, 2, 3, 6, 7, 10, 11, 14, 15);
  } else if constexpr (V == 4) {
    even = __builtin_shufflevector(a, b, 0, 1, 4, 5);
    odd = __builtin_shufflevector(a, b, 2, 3, 6, 7);
  } else {
    even = a;
    odd = b;
  }
}

// Complex numbers `shift` and following of two neighbouring vectors of 4; shift 0 to 3, known at compile time after unrolling.
LARCH_INLINE vec<8> joined(vec<8> low, vec<8> high, int shift) {
  switch (shift) {
  case 1: return __builtin_shufflevector(low, high, 2, 3, 4, 5, 6, 7, 8, 9);
  case 2: return __builtin_shufflevector(low, high, 4, 5, 6, 7, 8, 9, 10, 11);
  case 3: return __builtin_shufflevector(low, high, 6, 7, 8, 9, 10, 11, 12, 13);
  default: return low;
  }
}

template <int V> LARCH_INLINE vec<V> broadcast(double x) { return x - vec<V>{}; }
template <int V> LARCH_INLINE vec<V> alternate(double even, double odd) {
  vec<V> result{};
  for (int i = 0; i < V; i++) result[i] = i % 2 ? odd : even;
  return result;
}

} // namespace larch::simd
