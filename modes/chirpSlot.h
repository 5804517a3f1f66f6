// One of the places in a frame where the bits of the chirp mode may fall, and the words that they make there.
#pragma once
#include "modes/golay.h"
#include <array>
#include <cstdint>

namespace larch {

constexpr uint32_t chirpPattern = 0x7AFAFA; // sync word: what a code word is mixed with on the air
constexpr uint32_t chirpOffset = 101;       // and then moved up by, modulo 2^23

// One alignment of the words in the stream of bits.
struct chirpWord {
  int32_t phase = 0;         // 0 to 22: bits already counted at the start
  int32_t bits = 0;          // counted so far
  int32_t shiftRegister = 0; // those bits, the oldest on top
  int32_t syndromeState = 0; // of the last whole word
  int32_t decoded = 0;       // its 12 bits of data, corrected
  double score = 0.0; // smoothed number of corrected bits: the lowest is the most likely alignment, 2.85 is what noise gives

  void finish();
};

// Used on one group; rt.
struct chirpSlot {
  chirpSlot();
  // The magnitudes of both matched filters at this place in the next frame: the stronger makes the bit, up a 1, a draw a 0.
  // Returns the word that this bit completes: there is one each time.
  const chirpWord& add(double up, double down);

  double difference = 0.0;                  // of the last bit, absolute
  double upLevel = 0.0, downLevel = 0.0;    // smoothed
  std::array<chirpWord, golayBits> words{}; // by phase
};

} // namespace larch
