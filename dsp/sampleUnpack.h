// 24-bit samples from the wire to complex doubles.
#pragma once
#include "dsp/cpuVariant.h"
#include <complex>
#include <cstddef>
#include <cstdint>

namespace larch {

// A sample has 6 bytes: I, then Q, each 24-bit two's complement, big-endian, taken as the upper three bytes of a 32-bit word: the
// parts are word * scale exactly. swapped: real from Q, imaginary from I. No byte outside the samples is read. rt.

// `count` samples that begin `step` bytes apart (6: one behind the other).
void unpackIq(const uint8_t* from, std::size_t step, double scale, bool swapped, std::complex<double>* to, uint64_t count,
              cpuVariant variant = selectedVariant());

// Where the samples of one receiver go.
struct iqTarget {
  std::complex<double>* to;
  bool swapped;
};
// All receivers of a frame at once: `count` slots of `step` bytes, each with one sample of every receiver in turn at its start.
void unpackFrame(const uint8_t* from, std::size_t step, double scale, const iqTarget* targets, std::size_t receivers,
                 uint64_t count, cpuVariant variant = selectedVariant());

} // namespace larch
