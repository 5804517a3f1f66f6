#include "modes/golay.h"
#include <array>
#include <bit>

namespace larch {
namespace {

constexpr uint32_t wordMask = (1u << golayBits) - 1, dataMask = (1u << golayDataBits) - 1, syndromeMask = golaySyndromes - 1;

constexpr uint32_t divisionRest(uint32_t word) {
  word &= wordMask;
  for (uint32_t bit = golayBits - 1; bit >= golayCheckBits; bit--)
    if (word >> bit & 1) word ^= golayPolynomial << (bit - golayCheckBits);
  return word;
}

struct syndromeTables {
  std::array<uint32_t, golaySyndromes> errors{};
  std::array<int32_t, golaySyndromes> weights{};
};

// A bit shift of 23 is no bit at all, so that one loop makes all patterns of up to three.
constexpr syndromeTables makeTables() {
  syndromeTables tables;
  for (uint32_t a = 0; a <= golayBits; a++)
    for (uint32_t b = a; b <= golayBits; b++)
      for (uint32_t c = b; c <= golayBits; c++) {
        const uint32_t pattern = (1u << a | 1u << b | 1u << c) & wordMask, syndrome = divisionRest(pattern);
        tables.errors[syndrome] = pattern;
        tables.weights[syndrome] = std::popcount(pattern);
      }
  return tables;
}

const syndromeTables& tables() {
  static const syndromeTables made = makeTables();
  return made;
}

} // namespace

uint32_t golayEncode(uint32_t data) {
  const uint32_t shifted = (data & dataMask) << golayCheckBits;
  return shifted | divisionRest(shifted);
}

uint32_t golaySyndrome(uint32_t word) { return divisionRest(word); }
uint32_t golayErrors(uint32_t syndrome) { return tables().errors[syndrome & syndromeMask]; }
int32_t golayWeight(uint32_t syndrome) { return tables().weights[syndrome & syndromeMask]; }

} // namespace larch
