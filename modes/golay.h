// The binary Golay code (23,12): 12 bits of data in words of 23, of which any three wrong bits are corrected.
#pragma once
#include <cstdint>

namespace larch {

constexpr uint32_t golayBits = 23, golayDataBits = 12, golayCheckBits = golayBits - golayDataBits;
constexpr uint32_t golayPolynomial = 0xC75; // x^11 + x^10 + x^6 + x^5 + x^4 + x^2 + 1
constexpr uint32_t golaySyndromes = 1u << golayCheckBits;

// The data in the upper 12 bits of the word, the rest of its division by the polynomial below.
uint32_t golayEncode(uint32_t data);
// 11 bits, 0 for a word of the code. What lies above bit 22 isn't looked at.
uint32_t golaySyndrome(uint32_t word);
// The bits that stand wrong in a word with this syndrome: one of at most three for each syndrome, since the code is perfect.
uint32_t golayErrors(uint32_t syndrome);
int32_t golayWeight(uint32_t syndrome); // their number, 0 to 3

} // namespace larch
