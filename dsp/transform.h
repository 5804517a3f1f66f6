// Fourier transforms without scaling, in double precision.
#pragma once
#include "dsp/buff.h"
#include "dsp/fftPlan.h"
#include <complex>
#include <cstdint>

namespace larch {

// N = in.count; a count that is no power of two gets the transform of the next lower power of two and only that many points
// are read and written. Nothing divides by N: forward followed by inverse multiplies by N. Any thread, no lock; the first call
// of a length on a thread allocates (tables and work memory, kept for the thread's life), all later ones are rt.
// The destination must be as long as the source; lengths aren't tested against each other.

// X[k] = sum x[n] e^(-j2πkn/N); in and out may be the same block. Returns a view of out.
cbuff fftForward(const cbuff& in, const cbuff& out);
// x[n] = sum X[k] e^(+j2πkn/N); in and out may be the same block. Returns a view of out.
cbuff fftInverse(const cbuff& in, const cbuff& out);
// Real input, bins 0 to N/2 in order; the elements of out above N/2 aren't written. Returns a view of out.
cbuff fftForwardReal(const buff<double>& in, const cbuff& out);

// The same on raw memory of `count` elements, unaligned memory allowed.
void fftForward(const std::complex<double>* in, std::complex<double>* out, uint32_t count);
void fftInverse(const std::complex<double>* in, std::complex<double>* out, uint32_t count);
void fftForwardReal(const double* in, std::complex<double>* out, uint32_t count);

// The calling thread's plan for a power of two; allocates on the first call of a length. Valid for the thread's life.
fftPlan& threadFftPlan(uint32_t length, cpuVariant variant = selectedVariant());

} // namespace larch
