// The 48000 Hz tick count that both sides of a sound ring share, and the word that carries it.
#pragma once
#include "platform/clock.h"
#include <cstdint>

namespace larch {

constexpr int32_t audioRate = 48000; // Hz

// Ticks of 48000 Hz since the monotonic clock's start, truncated; the low 16 bits. time_ns must not be negative.
constexpr uint16_t sampleClockAt(int64_t time_ns) {
  constexpr int64_t second_ns = 1'000'000'000; // taken apart: the product would leave 64 bits after two days
  return static_cast<uint16_t>(time_ns / second_ns * audioRate + time_ns % second_ns * audioRate / second_ns);
}
inline uint16_t sampleClockNow() { return sampleClockAt(monotonicNow_ns()); }

// Where a callback was in its ring and when: one word, so that the other side always reads a matching pair.
struct ringPosition {
  uint16_t clock = 0; // sample clock when the callback last ran
  uint16_t index = 0; // its place in the ring, in frames, at that moment

  constexpr uint32_t word() const { return uint32_t{clock} << 16 | index; }
  static constexpr ringPosition of(uint32_t word) { return {static_cast<uint16_t>(word >> 16), static_cast<uint16_t>(word)}; }
};

} // namespace larch
