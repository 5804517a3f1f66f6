// The tones of a message against the sum of their turns.
#include "modes/slotTones.h"
#include "tests/support/allocationCounter.h"
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

namespace larch::test {
namespace {

using cdouble = std::complex<double>;
constexpr double nan = std::numeric_limits<double>::quiet_NaN(), inf = std::numeric_limits<double>::infinity();

buff<float> listOf(const std::vector<float>& tones) {
  buff<float> list(tones.size());
  std::copy(tones.begin(), tones.end(), list.data);
  return list;
}

std::vector<cdouble> produce(slotTones& tones, uint64_t samples, const slotTones::controls& with, uint64_t block = 512,
                             int* ends = nullptr) {
  std::vector<cdouble> sent;
  while (sent.size() < samples) {
    const cbuff out(std::min<uint64_t>(block, samples - sent.size()), cdouble(7, 7));
    const bool ended = tones.produce(out, with);
    if (ends) *ends += ended;
    sent.insert(sent.end(), out.data, out.data + out.count);
  }
  return sent;
}

// Turns of one sample, one by one; from the first sample on the phase has turned already.
std::vector<cdouble> formula(const std::vector<float>& tones, const slotTones::controls& with, double* angle = nullptr) {
  std::vector<cdouble> sent;
  double phase = angle ? *angle : 0;
  for (const float tone : tones) {
    const double f = tone * with.toneSpacing + with.txFreq;
    const double from = phase;
    for (int32_t i = 1; i <= with.samplesPerSymbol; i++) {
      phase = from + i * (2 * f * 3.1415927 / 48000.0);
      sent.push_back({0.98 * std::cos(phase), -0.98 * std::sin(phase)});
    }
  }
  if (angle) *angle = phase;
  return sent;
}

void expectNear(const std::vector<cdouble>& got, const std::vector<cdouble>& wanted, double tolerance) {
  ASSERT_GE(got.size(), wanted.size());
  for (size_t i = 0; i < wanted.size(); i++) ASSERT_LT(std::abs(got[i] - wanted[i]), tolerance) << i;
  for (size_t i = wanted.size(); i < got.size(); i++) ASSERT_EQ(got[i], cdouble(0.0)) << i;
}

std::vector<float> ft8Like() {
  std::vector<float> tones;
  for (int i = 0; i < 79; i++) tones.push_back(static_cast<float>(i * 5 % 8));
  return tones;
}

// With the exact pi the end of the message would be 0.0018 rad off.
TEST(slotTonesTest, aWholeMessageFollowsTheFormulaOfTheShortPi) {
  const slotTones::controls with{7680, 6.25, 1500};
  const auto tones = ft8Like();
  slotTones sender;
  sender.begin(listOf(tones), 0);
  const auto sent = produce(sender, 79 * 7680 + 1000, with);
  expectNear(sent, formula(tones, with), 1e-7);
}

TEST(slotTonesTest, toneNumbersMayHaveFractionsAndSigns) {
  const slotTones::controls with{100, 1.4648, -700};
  const std::vector<float> tones{0.5f, -3.25f, 1000.125f, -0.0f, 2e4f};
  slotTones sender;
  sender.begin(listOf(tones), 0);
  expectNear(produce(sender, 700, with), formula(tones, with), 1e-9);
}

TEST(slotTonesTest, noJumpBetweenTonesNorBetweenMessages) {
  const slotTones::controls with{333, 50, 1000};
  slotTones sender;
  double angle = 0;
  for (const std::vector<float>& tones : {std::vector<float>{0, 7, 1, 6, 2.5}, std::vector<float>{3, 0}, ft8Like()}) {
    const auto wanted = formula(tones, with, &angle);
    sender.begin(listOf(tones), 0);
    const auto sent = produce(sender, wanted.size() + 77, with); // the silence between them turns nothing
    expectNear(sent, wanted, 1e-8);
    for (size_t i = 1; i < wanted.size(); i++) // the turn of one sample is that of the tone in force
      ASSERT_NEAR(std::arg(sent[i] / sent[i - 1]), -2 * 3.1415927 * (1000 + 50.0 * tones[i / 333]) / 48000, 1e-9) << i;
  }
}

TEST(slotTonesTest, oneBlockEqualsManyBlocks) {
  const slotTones::controls with{700, 6.25, 1500};
  const auto tones = ft8Like();
  for (const uint64_t block : {1u, 7u, 126u, 511u, 512u, 513u, 100000u}) {
    slotTones sender;
    sender.begin(listOf(tones), 0);
    int ends = 0;
    expectNear(produce(sender, 79 * 700 + 600, with, block, &ends), formula(tones, with), 1e-8);
    EXPECT_EQ(ends, 1) << block;
  }
}

// The end shows when the next symbol is due: with the block behind the last one when that fills its block.
TEST(slotTonesTest, theEndIsToldInTheBlockThatHasNoMoreTones) {
  const slotTones::controls with{256, 6.25, 1500};
  slotTones sender;
  sender.begin(listOf({1, 2}), 0);
  EXPECT_FALSE(sender.produce(cbuff(512), with));
  const cbuff behind(512, cdouble(7, 7));
  EXPECT_TRUE(sender.produce(behind, with));
  for (uint64_t i = 0; i < 512; i++) ASSERT_EQ(behind.data[i], cdouble(0.0));
  EXPECT_FALSE(sender.produce(behind, with)) << "once";
}

TEST(slotTonesTest, withoutTonesThereAreZeros) {
  slotTones sender;
  const cbuff out(513, cdouble(7, 7));
  EXPECT_FALSE(sender.produce(out, {7680, 6.25, 1500}));
  for (uint64_t i = 0; i < out.count; i++) ASSERT_EQ(out.data[i], cdouble(0.0));
}

TEST(slotTonesTest, aLaterStartLeavesTonesOut) {
  const slotTones::controls with{100, 6.25, 1500};
  const auto tones = ft8Like();
  for (const int64_t first : {0, 1, 40, 78}) {
    slotTones sender;
    sender.begin(listOf(tones), first);
    expectNear(produce(sender, 10000, with), formula({tones.begin() + first, tones.end()}, with), 1e-9);
  }
  for (const int64_t first : {79, 80, 144000}) {
    slotTones sender;
    sender.begin(listOf(tones), first);
    const cbuff out(512, cdouble(7, 7));
    EXPECT_TRUE(sender.produce(out, with)) << "it is over at once";
    EXPECT_EQ(out.data[0], cdouble(0.0));
  }
}

TEST(slotTonesTest, aNewMessageTakesThePlaceOfTheOldOne) {
  const slotTones::controls with{1000, 100, 0};
  slotTones sender;
  sender.begin(listOf({10, 10, 10}), 0);
  produce(sender, 1500, with);
  sender.begin(listOf({20}), 0);
  const auto sent = produce(sender, 1200, with);
  for (size_t i = 1; i < 1000; i++) ASSERT_NEAR(std::arg(sent[i] / sent[i - 1]), -2 * 3.1415927 * 2000 / 48000, 1e-9);
  EXPECT_EQ(sent[1000], cdouble(0.0));
}

// A host that sets no length would hold the first tone for ever.
TEST(slotTonesTest, noLengthKeepsTheTransmitterOnTheAir) {
  for (const int32_t length : {0, -1, std::numeric_limits<int32_t>::min()}) {
    slotTones sender;
    sender.begin(listOf({1, 2, 3}), 0);
    const cbuff out(512);
    EXPECT_TRUE(sender.produce(out, {length, 6.25, 1500}));
    EXPECT_NE(out.data[2], cdouble(0.0));
    EXPECT_EQ(out.data[3], cdouble(0.0));
  }
}

TEST(slotTonesTest, noToneLeavesFullScale) {
  for (const double spacing : {0.0, nan, inf, -inf, 1e300}) {
    slotTones sender;
    const auto bad = static_cast<float>(nan), huge = static_cast<float>(inf);
    sender.begin(listOf({1, bad, huge, -huge, 3e38f, 0}), 0);
    for (const cdouble& x : produce(sender, 600, {100, spacing, std::numeric_limits<int32_t>::max()}))
      ASSERT_NEAR(std::abs(x), 0.98, 1e-9) << spacing;
  }
}

TEST(slotTonesTest, aLongToneKeepsItsLevel) {
  slotTones sender;
  sender.begin(listOf({1}), 0);
  const cbuff out(48000);
  for (int i = 0; i < 60; i++) sender.produce(out, {std::numeric_limits<int32_t>::max(), 6.25, 1500});
  EXPECT_NEAR(std::abs(out.data[47999]), 0.98, 1e-10);
}

TEST(slotTonesTest, aTransmissionTakesNoMemory) {
  slotTones sender;
  sender.begin(listOf(ft8Like()), 0);
  const cbuff out(512);
  const int64_t before = allocationsOfThisThread();
  for (int i = 0; i < 1300; i++) sender.produce(out, {7680, 6.25, 1500});
  EXPECT_EQ(allocationsOfThisThread() - before, 0);
}

} // namespace
} // namespace larch::test
