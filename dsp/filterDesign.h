// Designs of the complex FIR filters and the window that they share with the spectrum.
#pragma once
#include "dsp/buff.h"

namespace larch {

// Seven-term Blackman-Harris of n points, sampled at half-integer places: symmetric, nowhere 0. n at least 0.
buff<double> blackmanHarris7(int32_t n);

// Complex band-pass of `length` taps, windowed, gain 1 between the edges; `taps` is at most `length`, the rest is 0.
// Edges in hertz of displayed frequency: a baseband signal at f stands for centre - f, so that the pass band lies at baseband
// -high to -low. Either edge may be negative. low above high is legal and gives the same filter with the opposite sign.
cbuff makeBandpass(double low, double high, int32_t rate, int32_t taps, int32_t length);

// The same with 2048 taps at 48000 Hz and no window: who shapes its spectrum applies the window afterwards.
cbuff makeSinc2048(double low, double high);

// A filter of the same length and magnitude response with the least delay. At most 32768 taps; longer filters come back with
// zeros behind. Not rt: four transforms of 32768 points and blocks for them.
cbuff minimumPhase(const cbuff& filter);

} // namespace larch
