#include "modes/golay.h"
#include "tests/modes/chirpGolden.h"
#include <algorithm>
#include <bit>
#include <gtest/gtest.h>
#include <map>
#include <vector>

namespace larch::test {
namespace {

constexpr uint32_t datas = 4096, wordMask = 0x7FFFFF;

// All patterns of one to three wrong bits of 23.
std::vector<uint32_t> errorPatterns() {
  std::vector<uint32_t> patterns;
  for (uint32_t p = 1; p <= wordMask; p++)
    if (std::popcount(p) <= 3) patterns.push_back(p);
  return patterns;
}

TEST(golayTest, wordsAreMultiplesOfThePolynomialWithTheDataOnTop) {
  for (const goldenChirpWord& g : goldenChirpWords) EXPECT_EQ(golayEncode(g.data), g.codeword) << g.data;
}

// The numbers of words of each weight belong to this code alone.
TEST(golayTest, wordsHaveTheWeightsOfTheCode) {
  std::map<int, int> counts;
  for (uint32_t d = 0; d < datas; d++) {
    EXPECT_EQ(golayEncode(d) >> 11, d);
    EXPECT_EQ(golaySyndrome(golayEncode(d)), 0u);
    counts[std::popcount(golayEncode(d))]++;
  }
  const std::map<int, int> expected{{0, 1}, {7, 253}, {8, 506}, {11, 1288}, {12, 1288}, {15, 506}, {16, 253}, {23, 1}};
  EXPECT_EQ(counts, expected);
}

TEST(golayTest, turnedWordsAreWords) {
  for (uint32_t d = 0; d < datas; d++) {
    const uint32_t word = golayEncode(d);
    EXPECT_EQ(golaySyndrome((word << 1 | word >> 22) & wordMask), 0u);
  }
}

TEST(golayTest, everySyndromeHasOneErrorOfAtMostThreeBits) {
  std::vector<uint32_t> patterns = errorPatterns(), found;
  ASSERT_EQ(patterns.size(), 23u + 253 + 1771);
  for (uint32_t s = 1; s < golaySyndromes; s++) {
    found.push_back(golayErrors(s));
    EXPECT_EQ(golaySyndrome(golayErrors(s)), s);
    EXPECT_EQ(golayWeight(s), std::popcount(golayErrors(s)));
  }
  EXPECT_EQ(golayErrors(0), 0u);
  EXPECT_EQ(golayWeight(0), 0);
  std::sort(found.begin(), found.end());
  EXPECT_EQ(found, patterns);
}

TEST(golayTest, anyThreeWrongBitsOfAnyWordAreCorrected) {
  const auto patterns = errorPatterns();
  uint64_t wrong = 0;
  for (uint32_t d = 0; d < datas; d++) {
    const uint32_t word = golayEncode(d);
    for (const uint32_t p : patterns) {
      const uint32_t received = word ^ p, syndrome = golaySyndrome(received);
      wrong += (received ^ golayErrors(syndrome)) != word || golayWeight(syndrome) != std::popcount(p);
    }
  }
  EXPECT_EQ(wrong, 0u);
}

TEST(golayTest, fourWrongBitsMakeAnotherWord) {
  for (uint32_t d = 0; d < datas; d += 37) {
    const uint32_t received = golayEncode(d) ^ 0x400109u;
    EXPECT_NE(received ^ golayErrors(golaySyndrome(received)), golayEncode(d));
  }
}

TEST(golayTest, bitsBeyondTheWordAreNotLookedAt) {
  EXPECT_EQ(golayEncode(0xABCDE123), golayEncode(0x123));
  EXPECT_EQ(golaySyndrome(golayEncode(5) | 0xFF800000), 0u);
  EXPECT_EQ(golayErrors(5 + golaySyndromes), golayErrors(5));
  EXPECT_EQ(golayWeight(5 + golaySyndromes), golayWeight(5));
}

} // namespace
} // namespace larch::test
