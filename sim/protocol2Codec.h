// Protocol 2 datagrams from the radio's side: what it sends, and the lengths of what it takes. Free functions, no state.
#pragma once
#include <array>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <span>

namespace larch::sim {

constexpr int p2MaxReceivers = 16;

// ---- host to radio: one port a packet
enum class p2Packet { general, downConverter, upConverter, highPriority };
constexpr size_t p2Packets = 4;
constexpr std::array<uint16_t, p2Packets> p2CommandPorts{1024, 1025, 1026, 1027};
constexpr std::array<size_t, p2Packets> p2CommandBytes{60, 1444, 60, 1444};
const char* p2PacketName(p2Packet kind); // "general"

// ---- radio to host: the source port tells what it is
constexpr uint16_t p2StatusPort = 1025, p2MicrophonePort = 1026, p2WidebandPort = 1027, p2FirstReceiverPort = 1035;
constexpr size_t p2StatusBytes = 60, p2MicrophoneBytes = 132, p2WidebandBytes = 1028, p2IqBytes = 1444;
constexpr size_t p2MicrophoneSamples = 64, p2WidebandSamples = 512, p2IqSamples = 238;
constexpr size_t p2IqHeaderBytes = 16, p2IqPayloadBytes = p2IqBytes - p2IqHeaderBytes, p2BytesPerSample = 6;

struct p2Status {
  uint8_t lines = 0;             // byte 4: bit 0 PTT, 1 dot, 2 dash, 4 locked to the reference
  uint8_t overload = 0;          // byte 5: a bit an ADC
  std::array<uint16_t, 4> ain{}; // exciter, forward and reverse power, supply
};
std::array<uint8_t, p2StatusBytes> p2WriteStatus(uint32_t sequence, const p2Status& status);

// The header of a down-converter packet: sequence, 8 bytes of time stamp (unused: 0), bits a sample, samples.
std::array<uint8_t, p2IqHeaderBytes> p2IqHeader(uint32_t sequence);
// Samples of 24 bits, I before Q, 1.0 full scale; returns how many parts were beyond it.
size_t p2PackSamples(uint8_t* payload, const std::complex<double>* samples, size_t count);
// 16 bits, big-endian; `payload` has room for 2 bytes a sample
void p2PackWords(uint8_t* payload, std::span<const int16_t> samples);

} // namespace larch::sim
