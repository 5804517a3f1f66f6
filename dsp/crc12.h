// The 12-bit check value of the timed-slot modes' messages.
#pragma once
#include <cstdint>

namespace larch {

// Any thread. 0 for no bytes. A message that carries its own check value in its last 12 bits gives 0.
uint16_t crc12(const uint8_t* data, int32_t n);

} // namespace larch
