// Element-wise operations on sample blocks.
#pragma once
#include "dsp/buff.h"

namespace larch {

// Each runs over the count of its first argument; every other block is at least as long, which nothing here tests. A `dest` may
// be one of the sources and is given back as a view. rt but for the forms that make a new block (rt once the pool is warm).
// Powers are |z|^2 of full scale 1.0.

cbuff scale(const cbuff& src, double factor, const cbuff& dest);
cbuff applyWindow(const cbuff& src, const buff<double>& window, const cbuff& dest);
cbuff applyWindow(const cbuff& src, const buff<double>& window); // into a new block
cbuff complexMultiply(const cbuff& a, const cbuff& b, const cbuff& dest);
cbuff complexMultiplyAdd(const cbuff& a, const cbuff& b, const cbuff& dest); // dest += a b

// A hard clip of the magnitude at 1.0 that keeps the phase. The second form also gives the largest power of src, before the clip.
cbuff limitUnit(const cbuff& src, const cbuff& dest);
cbuff limitUnitPeak(const cbuff& src, const cbuff& dest, double& peak);

double peakMagnitude(const cbuff& src); // 0.0 for an empty view; NaN samples don't count
double peakPower(const cbuff& src);     // same

cbuff complexFromAudio(const buff<float>& src); // new block: 0.707 of the audio as real part, imaginary part 0
buff<float> fill(const buff<float>& dest, float value);
cbuff addScaled(const cbuff& a, const cbuff& b, std::complex<double> factor); // new block: a + factor b

} // namespace larch
