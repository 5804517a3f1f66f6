// What a Protocol 1 radio is told of a frequency: its alias in the first Nyquist zone of the ADC clock.
#pragma once
#include <cstdint>

namespace larch {

// `frequency` and `clockFrequency` in Hz, `calibration` the factor on every frequency sent. The rounding is half away from zero.
// 0 for a clock of less than 2 Hz and for a product that isn't a number. rt.
uint32_t frequencyWord(int32_t frequency, double calibration, int32_t clockFrequency);

// Whether the frequency lies in an odd Nyquist zone, whose spectrum comes mirrored: I and Q are swapped for it. rt.
bool inOddZone(int32_t frequency, int32_t clockFrequency);

} // namespace larch
