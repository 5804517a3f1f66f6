// Which bits of a radio's seven filter outputs go with a frequency. Rows may be null and are skipped; their places count.
#pragma once
#include "radio/J16.h"
#include "radio/J16Filter.h"
#include "radio/hwReceiver.h"
#include <span>

namespace larch {

// The first row whose band reaches up to the frequency (Hz) decides; 0 above all rows. No order of rows is enforced. rt.
int32_t flatFilterOutputs(const asyncCollection<J16>::list& rows, int32_t frequency, bool transmit);

// The transmit bits of the first band that reaches up to the frequency; 0 above all bands. Not rt: takes the list as published.
int32_t transmitFilterOutputs(const J16Filter& filter, int32_t frequency);

// Each receiver's frequency sets the bit of its band's place in a mask; the row of that number in FilterRx gives the bits, 0
// where there is none. Not rt.
int32_t receiveFilterOutputs(const J16Filter& filter, std::span<const hwReceiver> receivers);

} // namespace larch
