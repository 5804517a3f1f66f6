// Protocol 1 datagrams written by hand from the protocol, byte by byte, for the tests of both sides. No program made them.
#pragma once
#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>

namespace larch::vectors {

// Bytes that aren't named are 0.
struct namedBytes {
  size_t at;
  std::initializer_list<uint8_t> bytes;
};

template <size_t length> std::array<uint8_t, length> datagramOf(std::initializer_list<namedBytes> parts) {
  std::array<uint8_t, length> d{};
  for (const namedBytes& part : parts) {
    size_t at = part.at;
    for (const uint8_t b : part.bytes) d.at(at++) = b;
  }
  return d;
}

// ---- host to radio

inline std::array<uint8_t, 63> discovery() { return datagramOf<63>({{0, {0xEF, 0xFE, 0x02}}}); }
inline std::array<uint8_t, 64> startBoth() { return datagramOf<64>({{0, {0xEF, 0xFE, 0x04, 0x03}}}); } // IQ and wideband
inline std::array<uint8_t, 64> stop() { return datagramOf<64>({{0, {0xEF, 0xFE, 0x04, 0x00}}}); }

// Sequence number 5. First frame, register 0: 192 kHz, filter bits 0x15, amplifier bit, two receivers. Second frame,
// register 2: receiver 0 at 7,100,000 Hz = 0x006C5660. Sample 0 of the first frame: I 0x1234 = 4660, Q 0xFEDC = -292;
// sample 62 of it: I 1, Q -1. Sample 0 of the second frame: L 0x0102, R 0x0304, I 32766 = 0x7FFE, Q -32766 = 0x8002.
inline std::array<uint8_t, 1032> control() {
  return datagramOf<1032>({
      {0, {0xEF, 0xFE, 0x01, 0x02, 0x00, 0x00, 0x00, 0x05}},
      {8, {0x7F, 0x7F, 0x7F, 0x00, 0x02, 0x2A, 0x08, 0x0C}},
      {16, {0x00, 0x00, 0x00, 0x00, 0x12, 0x34, 0xFE, 0xDC}},
      {512, {0x00, 0x00, 0x00, 0x00, 0x00, 0x01, 0xFF, 0xFF}}, // 16 + 62 * 8
      {520, {0x7F, 0x7F, 0x7F, 0x04, 0x00, 0x6C, 0x56, 0x60}},
      {528, {0x01, 0x02, 0x03, 0x04, 0x7F, 0xFE, 0x80, 0x02}},
  });
}

// Sequence number 0x01020304, MOX in both frames. First frame, register 9: drive 200, T/R relay off, PA on, tune. Second frame,
// a device write: 06 A8 00 37, C0 0xFA with MOX.
inline std::array<uint8_t, 1032> controlWithMox() {
  return datagramOf<1032>({
      {0, {0xEF, 0xFE, 0x01, 0x02, 0x01, 0x02, 0x03, 0x04}},
      {8, {0x7F, 0x7F, 0x7F, 0x13, 0xC8, 0x1C, 0x00, 0x00}},
      {520, {0x7F, 0x7F, 0x7F, 0xFB, 0x06, 0xA8, 0x00, 0x37}},
  });
}

// ---- radio to host

struct iqSample {
  size_t frame, sample;
  int receiver;
  int32_t i, q; // 24-bit values
};

// One receiver: 63 samples of 8 bytes a frame. Sequence number 0x00000102. First frame: group 0 with ADC overload, firmware 72.
// Second frame: group 1, AIN 4 = 0x03ED = 1005, AIN 0 = 0x0064 = 100.
inline std::array<uint8_t, 1032> iqOneReceiver() {
  return datagramOf<1032>({
      {0, {0xEF, 0xFE, 0x01, 0x06, 0x00, 0x00, 0x01, 0x02}},
      {8, {0x7F, 0x7F, 0x7F, 0x00, 0x01, 0x00, 0x00, 0x48}},
      {16, {0x40, 0x00, 0x00, 0xC0, 0x00, 0x00}},
      {24, {0x7F, 0xFF, 0xFF, 0x80, 0x00, 0x01}},
      {32, {0x00, 0x00, 0x01, 0xFF, 0xFF, 0xFF}},
      {512, {0x12, 0x34, 0x56, 0xFE, 0xDC, 0xBA}}, // 16 + 62 * 8
      {520, {0x7F, 0x7F, 0x7F, 0x08, 0x03, 0xED, 0x00, 0x64}},
      {528, {0x00, 0x00, 0x80, 0x00, 0x01, 0x00}},
      {1024, {0xFF, 0xFF, 0x00, 0x00, 0xFF, 0x00}}, // 528 + 62 * 8
  });
}
inline constexpr iqSample iqOneReceiverSamples[] = {
    {0, 0, 0, 4194304, -4194304}, {0, 1, 0, 8388607, -8388607}, {0, 2, 0, 1, -1},
    {0, 62, 0, 1193046, -74566},  {1, 0, 0, 128, 256},          {1, 62, 0, -256, 65280},
};

// Two receivers: 36 samples of 14 bytes a frame. Sequence number 0xFFFFFFFF, PTT and key line set. First frame: group 2,
// AIN 1 = 0x0102 = 258, AIN 2 = 0x0304 = 772. Second frame: group 3, AIN 3 = 0x0506 = 1286, AIN 5 = 0x0708 = 1800.
inline std::array<uint8_t, 1032> iqTwoReceivers() {
  return datagramOf<1032>({
      {0, {0xEF, 0xFE, 0x01, 0x06, 0xFF, 0xFF, 0xFF, 0xFF}},
      {8, {0x7F, 0x7F, 0x7F, 0x15, 0x01, 0x02, 0x03, 0x04}},
      {16, {0x00, 0x00, 0x0A, 0x00, 0x00, 0x0B, 0xFF, 0xFF, 0xF6, 0xFF, 0xFF, 0xF5}},
      {30, {0x01, 0x00, 0x00, 0x02, 0x00, 0x00, 0x03, 0x00, 0x00, 0x04, 0x00, 0x00}},
      {506, {0x7F, 0x00, 0x00, 0x00, 0x7F, 0x00, 0x00, 0x00, 0x7F, 0x80, 0x00, 0x01}}, // 16 + 35 * 14
      {520, {0x7F, 0x7F, 0x7F, 0x1D, 0x05, 0x06, 0x07, 0x08}},
      {528, {0x11, 0x11, 0x11, 0x22, 0x22, 0x22, 0x33, 0x33, 0x33, 0x44, 0x44, 0x44}},
  });
}
inline constexpr iqSample iqTwoReceiversSamples[] = {
    {0, 0, 0, 10, 11},          {0, 0, 1, -10, -11},       {0, 1, 0, 65536, 131072},    {0, 1, 1, 196608, 262144},
    {0, 35, 0, 8323072, 32512}, {0, 35, 1, 127, -8388607}, {1, 0, 0, 1118481, 2236962}, {1, 0, 1, 3355443, 4473924},
};

// Wideband, sequence number 7: the last quarter of a block. 16 bits, little-endian.
inline std::array<uint8_t, 1032> wideband() {
  return datagramOf<1032>({
      {0, {0xEF, 0xFE, 0x01, 0x04, 0x00, 0x00, 0x00, 0x07}},
      {8, {0x01, 0x00, 0xFF, 0xFF, 0xFF, 0x07, 0x00, 0xF8, 0xFF, 0x7F, 0x00, 0x80}},
      {1030, {0x34, 0x12}}, // 8 + 511 * 2
  });
}
struct widebandSample {
  size_t sample;
  int16_t value;
};
inline constexpr widebandSample widebandSamples[] = {{0, 1},     {1, -1},     {2, 2047},  {3, -2048},
                                                     {4, 32767}, {5, -32768}, {511, 4660}};

} // namespace larch::vectors
