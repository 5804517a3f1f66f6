// Numbers in the datagrams of the protocols: big-endian, two's complement.
#pragma once
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace larch::sim {

constexpr double fullScale24 = 8388607; // 24-bit value of amplitude 1.0

inline void put16(uint8_t* p, uint16_t v) {
  p[0] = static_cast<uint8_t>(v >> 8);
  p[1] = static_cast<uint8_t>(v);
}

inline void put32(uint8_t* p, uint32_t v) {
  put16(p, static_cast<uint16_t>(v >> 16));
  put16(p + 2, static_cast<uint16_t>(v));
}

inline uint16_t get16(const uint8_t* p) { return static_cast<uint16_t>(p[0] << 8 | p[1]); }

inline uint32_t get32(const uint8_t* p) { return static_cast<uint32_t>(get16(p)) << 16 | get16(p + 2); }

// Returns 1 when the value had to be clipped.
inline size_t put24(uint8_t* p, double amplitude) {
  double v = amplitude * fullScale24;
  size_t clipped = 0;
  if (!(v <= fullScale24))
    v = fullScale24, clipped = 1; // NaN too
  else if (v < -fullScale24 - 1)
    v = -fullScale24 - 1, clipped = 1;
  const auto bits = static_cast<uint32_t>(static_cast<int32_t>(std::lrint(v)));
  p[0] = static_cast<uint8_t>(bits >> 16);
  p[1] = static_cast<uint8_t>(bits >> 8);
  p[2] = static_cast<uint8_t>(bits);
  return clipped;
}

} // namespace larch::sim
