// Text to the phase steps of PSK31 and its relatives.
#pragma once
#include <string>
#include <string_view>
#include <vector>

namespace larch::sim {

// The bits of a text, '0' and '1': Varicode, two zeros after each character. What has no code is skipped.
std::string varicodeBits(std::string_view text);

// Quarter turns that the phase advances at radio frequency, one for each symbol.
// Two-phase: 1 keeps the phase, 0 reverses it.
std::vector<int> bpskTurns(std::string_view bits);
// Four-phase: the convolutional code of rate 1/2 and constraint length 5, polynomials 0x19 and 0x17, from the all-zero state.
std::vector<int> qpskTurns(std::string_view bits);

} // namespace larch::sim
