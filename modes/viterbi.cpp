#include "modes/viterbi.h"
#include <algorithm>
#include <cmath>
#include <numbers>

namespace larch {

const std::array<uint8_t, viterbiTransitions> convolutionTable = {2, 1, 3, 0, 3, 0, 2, 1, 0, 3, 1, 2, 1, 2, 0, 3,
                                                                  1, 2, 0, 3, 0, 3, 1, 2, 3, 0, 2, 1, 2, 1, 3, 0};

namespace {

constexpr double pi = std::numbers::pi;
constexpr double farAway = 1e100;
constexpr int drawnBit = 12;
// required: two tables instead of a distance around the circle, so that only the angle 0 of phase 1 has a second place
constexpr double idealBelowPi[] = {3 * pi / 2, 0, pi / 2, pi};
constexpr double idealFromPi[] = {3 * pi / 2, 2 * pi, pi / 2, pi};

bool draw(uint32_t& random) {
  random ^= random << 13;
  random ^= random >> 17;
  random ^= random << 5;
  return random >> drawnBit & 1;
}

} // namespace

bool viterbi(viterbiState& state, double angle) {
  const double* ideal = angle < pi ? idealBelowPi : idealFromPi;
  double metric[viterbiTransitions];
  uint32_t bits[viterbiTransitions];
  double least = farAway;
  for (uint32_t j = 0; j < viterbiTransitions; j++) {
    const viterbiSurvivor& from = state.survivors[j / 2];
    metric[j] = std::abs(angle - ideal[convolutionTable[j]]) + from.distance;
    bits[j] = 2 * from.bits + j % 2;
    least = std::min(least, metric[j]);
  }
  int ones = 0;
  for (uint32_t s = 0; s < viterbiStates; s++) {
    const uint32_t j = metric[s + viterbiStates] > metric[s] ? s : s + viterbiStates;
    state.survivors[s] = {metric[j] - least, bits[j]};
    ones += static_cast<int>(bits[j] >> viterbiDelay & 1);
  }
  constexpr int half = viterbiStates / 2;
  return ones == half ? draw(state.random) : ones > half;
}

} // namespace larch
