// The speech modes' microphone filter: a band-pass, shaped by the microphone equaliser where that is wanted.
#pragma once
#include "dsp/buff.h"

namespace larch {

constexpr int32_t microphoneTaps = 2048;

// Taps at 48000 Hz for low to high, Hz of displayed frequency; negative edges are the lower sideband. `curve`: gains at bins of
// 23.4375 Hz, 1024 of them. Not rt.
cbuff equalisedFilter(double low, double high, const buff<float>& curve);

// The same by the station's equaliser curve, or flat. Not rt.
cbuff microphoneFilter(double low, double high, bool equalised);

} // namespace larch
