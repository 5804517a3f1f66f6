// The angle from each complex sample to the next: a discriminator for frequency modulation.
#pragma once
#include "dsp/cpuVariant.h"
#include <complex>
#include <cstddef>

namespace larch {

// turns[i] = the angle of in[i] against in[i-1], `previous` for the first, in radians from -pi to pi, within 2e-15 of the true
// one; 0 where either is 0. The samples' magnitudes don't matter as long as their products neither overflow nor underflow.
// Samples that are no numbers spoil their own and the next turn. No alignment is needed. rt.
void sampleTurns(std::complex<double> previous, const std::complex<double>* in, double* turns, std::size_t count,
                 cpuVariant variant = selectedVariant());

} // namespace larch
