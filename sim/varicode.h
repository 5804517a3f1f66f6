// The Varicode of PSK31: one bit pattern for each ASCII character.
#pragma once

namespace larch::sim {

// "1" and "0" in the order of sending. Each begins and ends with 1 and has no two zeros in a row: two zeros end it on the air.
// nullptr from 128 on.
const char* varicode(char c);

} // namespace larch::sim
