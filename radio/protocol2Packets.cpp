#include "radio/protocol2Packets.h"
#include <algorithm>
#include <cmath>
#include <cstring>

namespace larch::protocol2 {
namespace {

constexpr std::size_t wordOffset = 9, transmitWordOffset = 329; // of a high-priority packet
constexpr std::size_t rowOffset = 17, rowBytes = 6;             // of a down-converter packet
constexpr uint8_t bitsASample = 24;
static_assert(wordOffset + 4 * mostReceivers <= longBytes && wordOffset + 4 * (mostReceivers + 1) > longBytes);

void put16(uint8_t* to, uint32_t value) {
  to[0] = static_cast<uint8_t>(value >> 8);
  to[1] = static_cast<uint8_t>(value);
}
void put32(uint8_t* to, uint32_t value) {
  put16(to, value >> 16);
  put16(to + 2, value);
}

std::size_t atLeast0(int32_t count) { return static_cast<std::size_t>(std::max(count, 0)); }

} // namespace

void writeGeneral(uint8_t* packet) {
  constexpr uint32_t transmitPort = 1029, audioPort = 1028;
  constexpr uint8_t bits = 16;
  std::memset(packet, 0, shortBytes);
  put16(packet + 5, downConverterPort);
  put16(packet + 7, upConverterPort);
  put16(packet + 9, highPriorityPort);
  put16(packet + 11, statusPort);
  put16(packet + 13, audioPort);
  put16(packet + 15, transmitPort);
  put16(packet + 17, firstSamplePort);
  put16(packet + 19, microphonePort);
  put16(packet + 21, widebandPort);
  packet[23] = 1; // wideband on
  put16(packet + 24, widebandSamples);
  packet[26] = bits;
  packet[27] = 20;
  packet[28] = 32;
  packet[37] = 8;
  packet[58] = 1;
  packet[59] = 3;
}

void writeDownConverters(uint8_t* packet, std::size_t receivers, int32_t maxReceivers, int32_t sampleRate) {
  constexpr std::size_t enabledAtMost = 16, rows = (longBytes - rowOffset) / rowBytes;
  std::memset(packet, 0, longBytes);
  packet[4] = 2;
  for (std::size_t i = 0; i < std::min(receivers, enabledAtMost); i++)
    packet[7 + i / 8] = static_cast<uint8_t>(packet[7 + i / 8] | 1u << i % 8);
  for (std::size_t i = 0; i < std::min(atLeast0(maxReceivers), rows); i++) {
    uint8_t* row = packet + rowOffset + rowBytes * i; // its first byte is the ADC: 0
    put16(row + 1, static_cast<uint32_t>(sampleRate / 1000));
    row[5] = bitsASample;
  }
}

void writeUpConverter(uint8_t* packet) {
  static constexpr struct {
    uint8_t at, value;
  } constants[] = {{4, 1},     {5, 0xb8},  {7, 0x02},  {8, 0x58},  {9, 0x19},  {10, 0x32}, {11, 1},   {12, 0x36},
                   {13, 0x14}, {15, 0xc0}, {50, 0x04}, {51, 0x17}, {57, 0x1f}, {58, 0x1f}, {59, 0x1f}};
  std::memset(packet, 0, shortBytes);
  for (const auto& c : constants) packet[c.at] = c.value;
}

void writeHighPriority(uint8_t* packet, const highPriority& content) {
  static constexpr uint8_t constants[] = {0x21, 0x00, 0x10, 0x00};
  std::memset(packet, 0, longBytes);
  packet[4] = content.running;
  const auto wordOf = [&](std::size_t i) { return phaseWord(content.frequencies[i], content.clockFrequency); };
  const std::size_t present = std::min(content.frequencies.size(), mostReceivers);
  const uint32_t first = present > 0 ? wordOf(0) : 0;
  const std::size_t told = std::max(present, std::min(atLeast0(content.maxReceivers), mostReceivers));
  for (std::size_t i = 0; i < told; i++) put32(packet + wordOffset + 4 * i, i < present ? wordOf(i) : first);
  put32(packet + transmitWordOffset, first);
  std::memcpy(packet + 1432, constants, sizeof constants);
  packet[1443] = static_cast<uint8_t>(content.attenuation_dB);
}

uint32_t phaseWord(int32_t frequency, int32_t clockFrequency) {
  constexpr double turn = 4294967296.0; // 2^32
  if (clockFrequency == 0) return 0;
  const double word = std::round(frequency * turn / clockFrequency);
  return static_cast<uint32_t>(static_cast<int64_t>(std::fmod(word, turn)));
}

} // namespace larch::protocol2
