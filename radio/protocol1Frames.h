// The bytes of Protocol 1 (1032-byte datagrams of two 512-byte frames) as free functions: reading the radio's, writing ours.
#pragma once
#include <array>
#include <complex>
#include <cstdint>

namespace larch::protocol1 {

constexpr int datagramBytes = 1032;
constexpr int controlBytes = 64; // of a start or stop datagram
constexpr int headBytes = 8;
constexpr int frameBytes = 512;
constexpr int sampleAreaOffset = 8; // in a frame
constexpr int sampleAreaBytes = 504;
constexpr int transmitSamples = 63; // in a frame
constexpr int transmitRate = 48000; // Hz
constexpr int widebandPacket = 512; // samples in a datagram of endpoint 4

constexpr int iqEndpoint = 6, widebandEndpoint = 4, hostEndpoint = 2;

constexpr int slotBytes(int receivers) { return 6 * receivers + 2; } // one sample of each receiver, and 2 bytes of microphone
constexpr int samplesPerFrame(int receivers) { return sampleAreaBytes / slotBytes(receivers); } // of each receiver

// Reading. All of these read inside datagramBytes from the start of the datagram, or frameBytes from the start of the frame.
struct datagramHead {
  bool data = false; // byte 2 is 1; the magic before it isn't tested
  int endpoint = 0;
  uint32_t sequence = 0;
};
datagramHead readHead(const uint8_t* datagram); // rt

constexpr const uint8_t* frameOf(const uint8_t* datagram, int frame) { return datagram + headBytes + frame * frameBytes; }

// How many receivers' samples this frame holds, given the number that was asked for: the frame may say fewer. rt.
int receiversIn(const uint8_t* frame, int asked);

// One sample of a wideband packet: 16 bit, little-endian, unlike everything else. rt.
inline int16_t widebandSample(const uint8_t* datagram, int index) {
  const uint8_t* at = datagram + headBytes + 2 * index;
  return static_cast<int16_t>(at[0] | at[1] << 8);
}

// What C0 to C4 say. The line and the words that a frame doesn't carry are left out.
struct frameStatus {
  bool present = false; // false with C0 bit 7: nothing else counts then
  bool ptt = false;     // the radio's own PTT input
  bool key = false;     // its key line
  bool hasOverload = false, overload = false;
  int ainIndex[2] = {-1, -1}; // which analogue inputs' words these are; -1: none
  int ainWord[2] = {0, 0};
};
frameStatus readStatus(const uint8_t* frame); // rt

// Writing.
using registerBytes = std::array<uint8_t, 4>; // C1 to C4

void writeHead(uint8_t* datagram, uint32_t sequence);                       // rt; endpoint 2
void writeControl(uint8_t* datagram, uint8_t streams);                      // rt; bit 0 IQ, bit 1 wideband, 0 stops
void writeRegister(uint8_t* frame, uint8_t c0, const registerBytes& bytes); // rt; with the sync bytes

// How the samples of a datagram are to be written.
struct transmitForm {
  bool keyLine = false;  // no signal: a key line in the low bits of I, down where the integer part of a sample isn't 0
  double multiplier = 1; // on the samples
  bool mirrored = false; // the transmit frequency lies in an odd Nyquist zone
  bool ramp = false;     // a running ramp in the audio words
};
// `count` samples, full scale 1.0, as 8 bytes each from `to`: L, R, I, Q, 16 bits big-endian. A magnitude over full scale is
// scaled back, the direction kept; what isn't a number counts as 0. rt. rampPosition runs from 0 to 4095.
void writeTransmitSamples(uint8_t* to, const std::complex<double>* samples, int count, const transmitForm& form,
                          uint32_t& rampPosition);

} // namespace larch::protocol1
