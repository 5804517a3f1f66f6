// The decoder of the QPSK modes: rate one half, constraint length five, symbols as angles.
#pragma once
#include <array>
#include <cstdint>

namespace larch {

constexpr int viterbiStates = 16, viterbiTransitions = 2 * viterbiStates;
constexpr int viterbiDelay = 20; // symbols from a bit's entry into the encoder to its decision

// The phase number that a transition emits, by the five newest bits, the newest lowest. 0: phase kept, 1: a quarter turn on,
// 2: reversed, 3: a quarter turn back.
extern const std::array<uint8_t, viterbiTransitions> convolutionTable;

struct viterbiSurvivor {
  double distance = 0; // radians above the best state's
  uint32_t bits = 0;   // its path, the newest bit lowest
};

struct viterbiState {
  std::array<viterbiSurvivor, viterbiStates> survivors{};
  uint32_t random = 1; // generator of tied votes; not 0
};

// One symbol: the angle, 0 to 2 pi, at which the phase numbers 0 to 3 lie at 3 pi / 2, 0, pi / 2 and pi. Returns the bit that
// entered the encoder viterbiDelay symbols ago, by the majority of all states; a tie is drawn. rt.
bool viterbi(viterbiState& state, double angle);

} // namespace larch
