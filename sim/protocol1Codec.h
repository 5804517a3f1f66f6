// Protocol 1 datagrams from the radio's side: bytes to records and back. Free functions, no state, no allocation.
#pragma once
#include <array>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <span>

namespace larch::sim {

constexpr size_t p1DatagramBytes = 1032; // every data datagram, both ways
constexpr size_t p1HeaderBytes = 8;      // EF FE 01, endpoint, 32-bit sequence number, big-endian
constexpr size_t p1FrameBytes = 512;     // two a datagram
constexpr size_t p1SampleAreaBytes = 504;
constexpr size_t p1StartBytes = 64; // the start and stop word's datagram
constexpr size_t p1TxSamplesPerFrame = 63;
constexpr size_t p1WidebandSamples = 512; // a datagram
constexpr uint8_t p1EndpointHost = 2, p1EndpointWideband = 4, p1EndpointIq = 6;

// Samples of each receiver in one frame: 1 receiver 63, 2: 36, 3: 25, 4: 19, 8: 10.
size_t p1SamplesPerFrame(int receivers);

void p1WriteHeader(uint8_t* datagram, uint8_t endpoint, uint32_t sequence);

// ---- radio to host

// What the status bytes C0 to C4 of the frames tell, four groups in turn.
struct boardStatus {
  std::array<uint16_t, 6> ain{}; // analogue inputs: 0 and 1 forward and reverse power, 2 PA current, 4 temperature
  bool ptt = false;              // C0 bit 0
  bool key = false;              // C0 bit 2
  bool adcOverload = false;      // group 0, C1 bit 0
  bool hidden = false;           // C0 bit 7: the frame carries no status
  uint8_t firmware = 0;          // group 0, C4
};

constexpr int p1StatusGroups = 4;
// C0 to C4 of one frame. group 0: overload, 1: AIN 4 and 0, 2: AIN 1 and 2, 3: AIN 3 and 5; others: lines only.
std::array<uint8_t, 5> p1Status(const boardStatus& status, int group);

// Writes one 512-byte frame: sync bytes with `countByte` as the third (0x7F or receivers - 1), status and samples.
// receiver[r] points at p1SamplesPerFrame(receivers) samples, 1.0 is full scale; microphone bytes are 0.
// Returns how many samples were beyond full scale and clipped.
size_t p1PackFrame(uint8_t* frame, uint8_t countByte, const std::array<uint8_t, 5>& status,
                   const std::complex<double>* const* receiver, int receivers);

// A whole wideband datagram: 512 samples, 16 bits, little-endian.
void p1PackWideband(uint8_t* datagram, uint32_t sequence, const int16_t* samples);

// ---- host to radio

enum class hostDatagramKind { discovery, otherDiscovery, startStop, data, bad }; // otherDiscovery: of Protocol 2

struct txSample {
  int16_t left = 0, right = 0, i = 0, q = 0;
  bool operator==(const txSample&) const = default;
};

struct commandFrame {
  bool syncOk = false;
  std::array<uint8_t, 5> c{}; // C0 to C4
  std::array<txSample, p1TxSamplesPerFrame> samples{};
  bool mox() const { return (c[0] & 1) != 0; }
  int address() const { return c[0] >> 1; } // the register, or 0x7D for a queued command
};

// The record of any datagram that may come in; what `kind` doesn't need is undefined.
struct hostDatagram {
  hostDatagramKind kind = hostDatagramKind::bad;
  int problem = -1;      // with kind bad, or beside a kind that is still used: a sim::problem
  uint8_t startBits = 0; // startStop: bit 0 IQ, bit 1 wideband; 0 is stop
  uint32_t sequence = 0; // data
  commandFrame frame[2]; // data
};

// Reads a datagram of any length and content.
void p1ReadHostDatagram(std::span<const uint8_t> datagram, hostDatagram& out);

} // namespace larch::sim
