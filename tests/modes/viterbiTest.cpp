#include "modes/viterbi.h"
#include <bit>
#include <cmath>
#include <gtest/gtest.h>
#include <numbers>
#include <random>
#include <vector>

using namespace larch;

namespace {

constexpr double pi = std::numbers::pi;

// The encoder by its polynomials; 0: (0, 0), 1: (1, 1) ... as phase numbers.
int phaseNumber(uint32_t fiveBits) {
  constexpr int numbers[2][2] = {{2, 3}, {0, 1}};
  return numbers[std::popcount(fiveBits & 0b11001u) % 2][std::popcount(fiveBits & 0b10111u) % 2];
}

double angleOf(int phase) { return phase == 0 ? 3 * pi / 2 : phase == 1 ? 2 * pi : phase == 2 ? pi / 2 : pi; }

std::vector<bool> randomBits(size_t count, uint32_t seed) {
  std::mt19937 random(seed);
  std::vector<bool> bits;
  for (size_t k = 0; k < count; k++) bits.push_back(random() & 1);
  return bits;
}

std::vector<double> anglesOf(const std::vector<bool>& bits) {
  std::vector<double> angles;
  uint32_t encoder = 0;
  for (const bool bit : bits) {
    encoder = encoder << 1 | (bit ? 1u : 0u);
    angles.push_back(angleOf(phaseNumber(encoder & 31)));
  }
  return angles;
}

// Wrong bits, the decoder's delay taken out, its start left out.
int errors(const std::vector<bool>& bits, const std::vector<double>& angles) {
  viterbiState state;
  int wrong = 0;
  for (size_t k = 0; k < bits.size(); k++) {
    const bool bit = viterbi(state, angles[k]);
    if (k >= 40 && bit != bits[k - viterbiDelay]) wrong++;
  }
  return wrong;
}

double wrapped(double angle) { return angle - 2 * pi * std::floor(angle / (2 * pi)); }

} // namespace

TEST(viterbiTest, tableIsTheCodeOfItsPolynomials) {
  for (uint32_t j = 0; j < viterbiTransitions; j++) EXPECT_EQ(convolutionTable[j], phaseNumber(j)) << j;
}

TEST(viterbiTest, decodesACleanSignalTwentySymbolsLater) {
  for (uint32_t seed = 1; seed <= 5; seed++) {
    const auto bits = randomBits(2000, seed);
    EXPECT_EQ(errors(bits, anglesOf(bits)), 0) << seed;
  }
}

TEST(viterbiTest, repairsSymbolsThatAreWrong) {
  const auto bits = randomBits(4000, 7);
  auto angles = anglesOf(bits);
  std::mt19937 random(8);
  for (size_t k = 50; k < angles.size(); k += 25) angles[k] = angleOf(static_cast<int>(random() % 4)); // up to one in 25
  EXPECT_EQ(errors(bits, angles), 0);
}

TEST(viterbiTest, bearsNoiseOnEveryAngle) {
  const auto bits = randomBits(4000, 9);
  auto angles = anglesOf(bits);
  std::mt19937 random(10);
  std::normal_distribution<double> noise(0, 0.35);
  for (double& a : angles) a = wrapped(a + noise(random));
  EXPECT_LT(errors(bits, angles), 20);
}

// Phase 1 lies at 0 and at 2 pi; phase 0 at 3 pi / 2 only, however near the angle comes from the other side.
TEST(viterbiTest, anglesBelowPiMeasureTheirDistanceToTheFirstTable) {
  viterbiState state;
  viterbi(state, 0.25);
  // state 0 is reached by transitions 0 (phase 2) and 16 (phase 1): distances pi / 2 - 0.25 and 0.25
  EXPECT_DOUBLE_EQ(state.survivors[0].distance, 0.0);
  EXPECT_EQ(state.survivors[0].bits, 0u);
  // state 3: transitions 3 (phase 0) and 19 (phase 3): 3 pi / 2 - 0.25 and pi - 0.25; the best of all is 0.25
  EXPECT_NEAR(state.survivors[3].distance, pi - 0.5, 1e-12);
  state = {};
  viterbi(state, 2 * pi - 0.25);
  EXPECT_NEAR(state.survivors[3].distance, pi / 2 - 0.5, 1e-12); // phase 0: pi / 2 - 0.25
}

TEST(viterbiTest, bestSurvivorStaysAtDistanceZero) {
  viterbiState state;
  std::mt19937 random(3);
  std::uniform_real_distribution<double> angle(0, 2 * pi);
  for (int k = 0; k < 1000; k++) {
    viterbi(state, angle(random));
    double least = 1e9;
    for (const viterbiSurvivor& s : state.survivors) least = std::min(least, s.distance);
    ASSERT_EQ(least, 0.0);
  }
}

// Of two equal ways into a state the one from the upper half survives.
TEST(viterbiTest, aTieBetweenTwoWaysTakesTheUpperOne) {
  viterbiState state;
  for (size_t s = 0; s < 16; s++) state.survivors[s].bits = static_cast<uint32_t>(s);
  viterbi(state, pi / 4); // state 0: phases 2 and 1 are equally far
  EXPECT_EQ(state.survivors[0].bits, 2 * 8u);
}

// At the angle of phase 0 eight states are reached from the upper half, eight from the lower one: so marked, they vote 8 to 8.
TEST(viterbiTest, aTiedVoteIsDrawnFromTheOwnGenerator) {
  const auto tied = [](uint32_t& random) {
    viterbiState state;
    state.random = random;
    for (size_t s = 8; s < 16; s++) state.survivors[s].bits = 1u << (viterbiDelay - 1);
    const bool bit = viterbi(state, 3 * pi / 2);
    random = state.random;
    return bit;
  };
  uint32_t random = 1, again = 1;
  int ones = 0;
  for (int k = 0; k < 1000; k++) {
    const bool bit = tied(random);
    ASSERT_EQ(tied(again), bit);
    ones += bit;
  }
  EXPECT_GT(ones, 400);
  EXPECT_LT(ones, 600);
}

TEST(viterbiTest, majorityDecidesWithoutTheGenerator) {
  viterbiState state;
  state.random = 77;
  for (viterbiSurvivor& s : state.survivors) s.bits = 1u << (viterbiDelay - 1);
  EXPECT_TRUE(viterbi(state, 1.0));
  for (viterbiSurvivor& s : state.survivors) s.bits = 0;
  EXPECT_FALSE(viterbi(state, 1.0));
  EXPECT_EQ(state.random, 77u);
}
