// The contents C1 to C4 of the command registers of Protocol 1, each from the plain values that it tells the radio. All rt.
#pragma once
#include "radio/protocol1Frames.h"
#include <span>

namespace larch::protocol1 {

constexpr int registers = 46; // 0 to 45, sent round-robin
constexpr int generalRegister = 0, transmitFrequencyRegister = 1, firstFrequencyRegister = 2, driveRegister = 9,
              gainRegister = 10, adcRegister = 14, keyerRegister = 15, hangTimeRegister = 16, furtherFrequencyRegister = 18,
              lastFrequencyRegister = 42;
constexpr int firstReceivers = 7;               // tuned by registers 2 to 8; the rest from 18 on
constexpr int32_t missingReceiver = 10'000'000; // Hz: what a receiver that doesn't exist is tuned to

// The receiver that a register tunes; -1 for other registers.
constexpr int receiverOf(int index) {
  if (index >= firstFrequencyRegister && index < firstFrequencyRegister + firstReceivers) return index - firstFrequencyRegister;
  if (index >= furtherFrequencyRegister && index <= lastFrequencyRegister)
    return index - furtherFrequencyRegister + firstReceivers;
  return -1;
}

// Sample rate (Hz; unknown ones count as 48000), the filter board's bits, the low-noise amplifier, the second antenna.
registerBytes general(int32_t sampleRate, int32_t filterBits, bool lnaOn, bool secondAntenna, int receivers);
registerBytes frequency(uint32_t word);
// Boards of type 6 and 7 know the switches.
registerBytes drive(uint8_t level, int32_t boardType, bool disableTR, bool enablePA, bool tune);

// Which gain code a board wants.
enum class gainForm { plain, wide, separate };
// separate: from the receive gain and its least value, dB; otherwise the code is given.
registerBytes gain(gainForm form, uint8_t code, int32_t rxGain, int32_t leastGain);
// `adcs`: of each receiver, 0 to 3; only the first eight have a place. The transmit gain goes along in the separate form.
registerBytes adcAssignment(std::span<const int32_t> adcs, gainForm form, int32_t txGain, int32_t leastGain);
registerBytes keyer(bool internal);
registerBytes hangTime(int32_t time_ms);

} // namespace larch::protocol1
