#include "modes/chirpSlot.h"
#include "tests/modes/chirpGolden.h"
#include <gtest/gtest.h>

namespace larch::test {
namespace {

// A bit as both filters would give it.
const chirpWord& addBit(chirpSlot& slot, bool bit) { return bit ? slot.add(1.0, 0.25) : slot.add(0.25, 1.0); }

const chirpWord& addWord(chirpSlot& slot, uint32_t onAir) {
  for (int i = 22; i > 0; i--) addBit(slot, onAir >> i & 1);
  return addBit(slot, onAir & 1);
}

TEST(chirpSlotTest, wordsCountFromTheirOwnStart) {
  const chirpSlot slot;
  for (int32_t k = 0; k < 23; k++) {
    EXPECT_EQ(slot.words[k].phase, k);
    EXPECT_EQ(slot.words[k].bits, k);
    EXPECT_EQ(slot.words[k].score, 0.0);
  }
}

TEST(chirpSlotTest, eachBitCompletesOneWordOfTheNextAlignmentDown) {
  chirpSlot slot;
  for (int n = 0; n < 100; n++) {
    const chirpWord& word = addBit(slot, n % 3 == 0);
    EXPECT_EQ(word.phase, (22 - n % 23)) << n;
    EXPECT_EQ(word.bits, 0);
    EXPECT_EQ(word.shiftRegister, 0);
  }
}

TEST(chirpSlotTest, wordsComeOutAsTheyWereSent) {
  chirpSlot slot;
  for (const goldenChirpWord& g : goldenChirpWords) {
    const chirpWord& word = addWord(slot, g.onAir);
    EXPECT_EQ(word.phase, 0);
    EXPECT_EQ(word.decoded, static_cast<int32_t>(g.data));
    EXPECT_EQ(word.syndromeState, 0);
    EXPECT_EQ(word.score, 0.0);
  }
}

// The offset is taken off by subtraction, which carries: wrong bits are counted in what is left of it.
TEST(chirpSlotTest, upToThreeWrongBitsAreCorrectedAndScored) {
  double score = 0;
  chirpSlot slot;
  int errors = 0;
  for (const goldenChirpWord& g : goldenChirpWords) {
    errors = (errors + 1) % 4;
    const uint32_t wrong = errors == 0 ? 0 : errors == 1 ? 0x10 : errors == 2 ? 0x400010 : 0x408001;
    const uint32_t onAir = (((g.codeword ^ wrong) ^ 0x7AFAFA) + 101) % (1u << 23);
    const chirpWord& word = addWord(slot, onAir);
    EXPECT_EQ(word.decoded, static_cast<int32_t>(g.data)) << errors;
    score = score * 0.5 + errors * 0.5;
    EXPECT_DOUBLE_EQ(word.score, score);
  }
}

// Words below 101 wrap: their value is negative before.
TEST(chirpSlotTest, wordsBelowTheOffsetWrap) {
  for (uint32_t onAir : {0u, 1u, 100u}) {
    chirpSlot slot;
    const uint32_t mixed = ((onAir + 0x800000 - 101) % 0x800000) ^ 0x7AFAFA;
    const chirpWord& word = addWord(slot, onAir);
    EXPECT_EQ(word.syndromeState, static_cast<int32_t>(golaySyndrome(mixed)));
    EXPECT_EQ(word.decoded, static_cast<int32_t>((mixed ^ golayErrors(golaySyndrome(mixed))) >> 11));
  }
}

TEST(chirpSlotTest, levelsAreSmoothedByHalvesAndTheDifferenceIsThatOfTheLastBit) {
  chirpSlot slot;
  slot.add(4.0, 1.0);
  EXPECT_EQ(slot.difference, 3.0);
  EXPECT_EQ(slot.upLevel, 2.0);
  EXPECT_EQ(slot.downLevel, 0.5);
  slot.add(1.0, 6.0);
  EXPECT_EQ(slot.difference, 5.0);
  EXPECT_EQ(slot.upLevel, 1.5);
  EXPECT_EQ(slot.downLevel, 3.25);
}

TEST(chirpSlotTest, aDrawIsAZero) {
  chirpSlot slot;
  slot.add(1.0, 1.0);
  EXPECT_EQ(slot.words[0].shiftRegister, 0);
  slot.add(1.0, 0.5);
  EXPECT_EQ(slot.words[0].shiftRegister, 1);
  slot.add(1.0, 1.0);
  EXPECT_EQ(slot.words[0].shiftRegister, 2);
}

} // namespace
} // namespace larch::test
