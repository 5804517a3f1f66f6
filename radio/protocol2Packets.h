// The packets of Protocol 2 (UDP, told apart by the radio's port) as free functions: writing ours, reading the radio's.
#pragma once
#include <cstddef>
#include <cstdint>
#include <span>

namespace larch::protocol2 {

// Where ours go.
constexpr uint16_t generalPort = 1024, downConverterPort = 1025, upConverterPort = 1026, highPriorityPort = 1027;
// Where the radio's come from.
constexpr int statusPort = 1025, microphonePort = 1026, widebandPort = 1027, firstSamplePort = 1035, lastSamplePort = 1050;

constexpr uint32_t shortBytes = 60;  // of a general and of an up-converter packet
constexpr uint32_t longBytes = 1444; // of a down-converter and of a high-priority packet

// Phase words that a high-priority packet has room for behind its head. All but the first sixteen are other fields' in today's
// radios.
constexpr std::size_t mostReceivers = 358;

// Writing: every byte of a packet, in order of sending at a start. All numbers are big-endian; the sequence number at the head
// stays 0. rt.
void writeGeneral(uint8_t* packet);
// The first `receivers` are enabled, rate and sample size stand for `mostReceivers`, whether enabled or not. Hz.
void writeDownConverters(uint8_t* packet, std::size_t receivers, int32_t maxReceivers, int32_t sampleRate);
void writeUpConverter(uint8_t* packet);

struct highPriority {
  bool running = false;
  std::span<const int32_t> frequencies; // Hz, of the receivers; the first one stands for what lacks
  int32_t maxReceivers = 0;             // so many are told a frequency at least
  int32_t clockFrequency = 0;           // Hz
  int32_t attenuation_dB = 0;           // cut to 8 bits
};
void writeHighPriority(uint8_t* packet, const highPriority& content);

// frequency * 2^32 / clockFrequency, rounded half away from zero, the low 32 bits. 0 when the clock is 0.
uint32_t phaseWord(int32_t frequency, int32_t clockFrequency);

// Reading.
constexpr std::size_t statusBytes = 6; // that are read of a high-priority status
constexpr int samples = 238, sampleBytes = 6, sampleOffset = 16;
constexpr std::size_t samplePacketBytes = sampleOffset + samples * sampleBytes; // 1444
constexpr int widebandSamples = 512, widebandOffset = 4;
constexpr std::size_t widebandPacketBytes = widebandOffset + 2 * widebandSamples; // 1028

// The bytes that must be there of a packet from this port; the microphone's are a clock alone and read by nobody. rt.
constexpr std::size_t bytesRead(int port) {
  if (port == statusPort) return statusBytes;
  if (port == widebandPort) return widebandPacketBytes;
  return port >= firstSamplePort && port <= lastSamplePort ? samplePacketBytes : 0;
}

inline uint32_t sequenceOf(const uint8_t* packet) { // rt
  return uint32_t{packet[0]} << 24 | uint32_t{packet[1]} << 16 | uint32_t{packet[2]} << 8 | packet[3];
}
inline bool overloadOf(const uint8_t* status) { return status[5] != 0; } // rt
inline int16_t widebandSample(const uint8_t* packet, int index) {        // rt
  const uint8_t* at = packet + widebandOffset + 2 * index;
  return static_cast<int16_t>(at[0] << 8 | at[1]);
}

} // namespace larch::protocol2
