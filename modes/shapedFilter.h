// Filters whose response is shaped bin by bin: the microphone filters and the FM audio filters.
#pragma once
#include "dsp/buff.h"
#include <cstdint>
#include <functional>

namespace larch {

// gain(f, bin) of a bin of the taps' spectrum that stands for f Hz of displayed frequency: bin 0 is 0 Hz, the next ones go down
// from there, the last one is the lowest above 0 Hz.
using binGain = std::function<double(double f, int32_t bin)>;

// A filter at 48000 Hz: the spectrum of `taps` (a power of two) times the gain where low <= f < high, and unchanged elsewhere;
// back as taps, under the Blackman-Harris window. Not rt.
cbuff shapedFilter(const cbuff& taps, double low, double high, const binGain& gain);

} // namespace larch
