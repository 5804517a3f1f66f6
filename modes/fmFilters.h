// The audio filters of frequency modulation: rising with frequency on transmit, falling on receive, 300 to 3000 Hz.
#pragma once
#include "dsp/buff.h"

namespace larch {

constexpr double fmLow_Hz = 300, fmHigh_Hz = 3000;

// 2048 taps at 48000 Hz: 6 dB an octave up from a gain of 1 at 300 Hz, times the microphone equaliser's `curve`, gains at 1024
// bins of 23.4375 Hz. Not rt.
cbuff fmMicrophoneFilter(const buff<float>& curve);
cbuff fmMicrophoneFilter(); // by the station's curve

// 1024 taps at 48000 Hz: 6 dB an octave down from 300 Hz. Passes one side of the spectrum only, so that the real part of filtered
// real audio is half of it. Not rt.
cbuff fmReceiveFilter();

} // namespace larch
