#include "radio/protocol1Registers.h"
#include <algorithm>

namespace larch::protocol1 {
namespace {

constexpr uint32_t wideOffset = 0x40, plainOffset = 0x20;

uint8_t rateCode(int32_t sampleRate) {
  switch (sampleRate) {
  case 96000: return 1;
  case 192000: return 2;
  case 384000: return 3;
  default: return 0;
  }
}
// Gain above its least value, modulo 256.
uint32_t gainSteps(int32_t gain, int32_t least) { return (static_cast<uint32_t>(gain) - static_cast<uint32_t>(least)) & 255; }

} // namespace

registerBytes general(int32_t sampleRate, int32_t filterBits, bool lnaOn, bool secondAntenna, int receivers) {
  const auto filter = static_cast<uint8_t>(static_cast<uint32_t>(filterBits) << 1);
  const auto switches = static_cast<uint8_t>(lnaOn << 3 | secondAntenna << 5);
  const auto count = static_cast<uint8_t>(static_cast<uint32_t>(receivers - 1) << 3 | 4);
  return {rateCode(sampleRate), filter, switches, count};
}

registerBytes frequency(uint32_t word) {
  return {static_cast<uint8_t>(word >> 24), static_cast<uint8_t>(word >> 16), static_cast<uint8_t>(word >> 8),
          static_cast<uint8_t>(word)};
}

registerBytes drive(uint8_t level, int32_t boardType, bool disableTR, bool enablePA, bool tune) {
  constexpr int32_t withSwitches[] = {6, 7};
  const bool known = std::ranges::find(withSwitches, boardType) != std::end(withSwitches);
  const auto switches = static_cast<uint8_t>(known ? disableTR << 2 | enablePA << 3 | tune << 4 : 0);
  return {level, switches, 0, 0};
}

registerBytes gain(gainForm form, uint8_t code, int32_t rxGain, int32_t leastGain) {
  uint32_t c4 = code + (form == gainForm::wide ? wideOffset : plainOffset);
  if (form == gainForm::separate) c4 = gainSteps(rxGain, leastGain) + wideOffset;
  return {0, 0, 0, static_cast<uint8_t>(c4)};
}

registerBytes adcAssignment(std::span<const int32_t> adcs, gainForm form, int32_t txGain, int32_t leastGain) {
  constexpr std::size_t inAByte = 4;
  registerBytes r{};
  for (std::size_t i = 0; i < std::min(adcs.size(), 2 * inAByte); i++)
    r[i / inAByte] = static_cast<uint8_t>(r[i / inAByte] | (adcs[i] & 3) << (2 * (i % inAByte)));
  if (form == gainForm::separate) r[2] = static_cast<uint8_t>(gainSteps(txGain, leastGain) - wideOffset);
  return r;
}

registerBytes keyer(bool internal) { return {static_cast<uint8_t>(internal), 0, 0, 0}; }

registerBytes hangTime(int32_t time_ms) { return {static_cast<uint8_t>(time_ms >> 2), static_cast<uint8_t>(time_ms & 3), 0, 0}; }

} // namespace larch::protocol1
