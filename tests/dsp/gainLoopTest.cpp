#include "tests/dsp/plainGainLoop.h"
#include <bit>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <vector>

namespace larch {
namespace {

constexpr float silent_dB = -180.0f; // a signal strength that no test here looks at
constexpr float infinite = std::numeric_limits<float>::infinity(), notANumber = std::numeric_limits<float>::quiet_NaN();
const uint64_t lengths[] = {0, 1, 7, 511, 512, 513};

buff<float> blockOf(const std::vector<float>& samples) {
  buff<float> b(samples.size());
  std::copy(samples.begin(), samples.end(), b.data);
  return b;
}

std::vector<float> noise(uint64_t n, float level, unsigned seed) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<float> value(-level, level);
  std::vector<float> samples(n);
  for (auto& s : samples) s = value(random);
  return samples;
}

void expectSameBits(const buff<float>& block, const std::vector<float>& expected, const std::string& what) {
  ASSERT_EQ(block.count, expected.size());
  for (uint64_t i = 0; i < block.count; i++)
    ASSERT_EQ(std::bit_cast<uint32_t>(block.data[i]), std::bit_cast<uint32_t>(expected[i])) << what << " at " << i;
}

TEST(gainLoopTest, manualGainOfZeroIsUnitGainAndClamps) {
  gainParameters p{.manualGain = 0.0, .enabled = false};
  gainState state{.hangCount = 5, .gain = 3.0};
  const auto block = blockOf({0.25f, -0.5f, 1.0f, 1.5f, -7.0f});
  const auto out = processGain(p, state, block, false, true, silent_dB);
  expectSameBits(out, {0.25f, -0.5f, 1.0f, 1.0f, -1.0f}, "unit gain");
  EXPECT_EQ(out.data, block.data) << "in place";
  EXPECT_EQ(state.gain, 3.0);
  EXPECT_EQ(state.hangCount, 5);
}

TEST(gainLoopTest, manualGainIsAPowerOfTenTimesVolume) {
  for (uint64_t n : lengths) {
    gainParameters p{.volume = 0.5f, .manualGain = 1.0, .enabled = false};
    gainState state;
    const auto samples = noise(n, 0.3f, 1);
    std::vector<float> expected, withoutVolume;
    for (float s : samples) {
      expected.push_back(std::clamp(s * 5.0f, -1.0f, 1.0f));
      withoutVolume.push_back(std::clamp(s * 10.0f, -1.0f, 1.0f));
    }
    expectSameBits(processGain(p, state, blockOf(samples), false, true, silent_dB), expected, "with volume");
    expectSameBits(processGain(p, state, blockOf(samples), true, false, silent_dB), withoutVolume, "without");
  }
}

TEST(gainLoopTest, closedGateIsSilenceAndOpenGateIsVolumeUnclamped) {
  for (uint64_t n : lengths) {
    gainParameters p{.volume = 3.0f, .squelch = -100.0f};
    gainState state{.hangCount = 7, .gain = 12.0};
    const auto samples = noise(n, 2.0f, 2);
    expectSameBits(processGain(p, state, blockOf(samples), false, true, -120.0f), std::vector<float>(n, 0.0f), "closed");
    std::vector<float> expected;
    for (float s : samples) expected.push_back(s * 3.0f);
    expectSameBits(processGain(p, state, blockOf(samples), false, true, -80.0f), expected, "open");
    expectSameBits(processGain(p, state, blockOf(samples), false, true, -100.0f), expected, "at the threshold");
    expectSameBits(processGain(p, state, blockOf(samples), false, false, -80.0f), samples, "without volume");
    EXPECT_EQ(state.gain, 12.0) << "no automatic gain with a squelch set";
    EXPECT_EQ(state.hangCount, 7);
  }
}

TEST(gainLoopTest, squelchAtItsDefaultIsNoGate) {
  gainParameters p;
  gainState state;
  processGain(p, state, blockOf({1.0f}), false, true, -1800.0f);
  EXPECT_LT(state.gain, 200.0);
}

TEST(gainLoopTest, manualGainGoesBeforeTheGate) {
  gainParameters p{.squelch = -100.0f, .manualGain = 0.0, .enabled = false};
  gainState state;
  expectSameBits(processGain(p, state, blockOf({0.5f}), false, true, -120.0f), {0.5f}, "fixed gain");
}

TEST(gainLoopTest, silenceRaisesTheGainToTwoHundredOnlyAfterTheHang) {
  gainParameters p{.decay_s = 0.01f};
  gainState state{.hangCount = 600, .gain = 10.0};
  const buff<float> silence(512, 0.0f);
  processGain(p, state, silence, false, true, silent_dB);
  EXPECT_EQ(state.gain, 10.0);
  EXPECT_EQ(state.hangCount, 88);
  processGain(p, state, silence, false, true, silent_dB);
  EXPECT_EQ(state.hangCount, 0);
  const double time = 0.01 * 48000; // samples; the rise lasted 424 of them
  EXPECT_NEAR(state.gain, 200 - 190 * std::exp(-424 / time), 1e-3);
  for (int i = 0; i < 100; i++) processGain(p, state, silence, false, true, silent_dB);
  EXPECT_NEAR(state.gain, 200.0, 1e-3);
}

TEST(gainLoopTest, riseEndsAtTheLimit) {
  gainParameters p{.decay_s = 0.01f, .maxGain_dB = 40.0f};
  gainState state{.gain = 10.0};
  const buff<float> silence(512, 0.0f);
  for (int i = 0; i < 20; i++) processGain(p, state, silence, false, true, silent_dB);
  EXPECT_EQ(state.gain, 100.0);
}

TEST(gainLoopTest, loudBlockPullsTheGainDownAtOnceAndRenewsTheHang) {
  gainParameters p;
  gainState state;
  auto block = blockOf(std::vector<float>(512, 0.0f));
  block.data[500] = -1.0f; // the samples before the peak fall too
  processGain(p, state, block, false, true, silent_dB);
  const double time = 0.01 * 48000, target = 1 / 1.2;
  EXPECT_NEAR(state.gain, target + (200 - target) * std::exp(-512 / time), 1e-3);
  EXPECT_EQ(state.hangCount, 96000);
  EXPECT_EQ(block.data[500], -1.0f) << "clamped";
}

TEST(gainLoopTest, attackOfZeroFallsAtOnce) {
  gainParameters p{.attack_s = 0.0f, .hang_s = 0.001f};
  gainState state;
  auto block = blockOf({0.5f, -0.25f, 0.1f});
  processGain(p, state, block, false, true, silent_dB);
  const float target = 1 / (0.5f * 1.2f);
  EXPECT_EQ(state.gain, target);
  expectSameBits(block, {0.5f * target, -0.25f * target, 0.1f * target}, "all of the block");
  EXPECT_EQ(state.hangCount, 48 - 2);
}

TEST(gainLoopTest, holdoverBlocksGetTheSameGainAndChangeNothing) {
  for (uint64_t n : lengths) {
    gainParameters p{.volume = 0.5f};
    gainState state{.hangCount = 77, .gain = 4.0};
    const auto samples = noise(n, 1.0f, 3);
    std::vector<float> expected;
    for (float s : samples) expected.push_back(std::clamp(s * 2.0f, -1.0f, 1.0f));
    for (int i = 0; i < 2; i++)
      expectSameBits(processGain(p, state, blockOf(samples), true, true, silent_dB), expected, "holdover");
    EXPECT_EQ(state.gain, 4.0);
    EXPECT_EQ(state.hangCount, 77);
  }
}

TEST(gainLoopTest, withoutVolumeTheVolumeDoesNotMatter) {
  gainParameters mute{.volume = 0.0f}, full;
  gainState a, b;
  const auto samples = noise(512, 0.01f, 4);
  const auto muted = processGain(mute, a, blockOf(samples), false, false, silent_dB);
  const auto plain = processGain(full, b, blockOf(samples), false, true, silent_dB);
  expectSameBits(muted, std::vector<float>(plain.data, plain.data + plain.count), "volume 0, not applied");
  EXPECT_GT(*std::max_element(muted.data, muted.data + muted.count), 0.5f);
}

TEST(gainLoopTest, fixedAtMaxIsTheLimitWithoutMeasuring) {
  gainParameters p{.maxGain_dB = 20.0f, .volume = 0.5f};
  gainState state{.hangCount = 9, .gain = 3.0, .fixedAtMax = true};
  expectSameBits(processGain(p, state, blockOf({0.1f, -0.15f, 0.9f}), false, true, silent_dB), {0.5f, -0.75f, 1.0f}, "5 times");
  EXPECT_EQ(state.gain, 3.0);
  EXPECT_EQ(state.hangCount, 9);
}

TEST(gainLoopTest, emptyBlockLeavesTheGain) {
  gainState state{.hangCount = 3, .gain = 500.0};
  EXPECT_EQ(processGain({}, state, buff<float>(), false, true, silent_dB).count, 0u);
  EXPECT_EQ(state.gain, 500.0);
  EXPECT_EQ(state.hangCount, 3);
}

// Runs of blocks with levels that jump, so that falls, hangs, rises and limits meet within blocks.
TEST(gainLoopTest, equalsTheLoopOfAllDecisionsToTheBit) {
  std::mt19937 random(20240611);
  const float times[] = {0.0f, -0.0f, 1e-9f, 0.0001f, 0.003f, 0.01f, 0.2f, 5.0f, 1e9f, infinite, -0.01f, notANumber};
  const float limits[] = {80.0f, 20.0f, 0.0f, -40.0f, 46.0206f, 2000.0f, 1e9f, -infinite};
  const float volumes[] = {1.0f, 0.0f, 0.3f, -2.0f};
  const float levels[] = {0.0f, 1.0f, 0.01f, 1e-4f, 3e-7f, 30.0f, 1e-42f, 1e30f};
  auto one = [&random](const auto& list) { return list[random() % std::size(list)]; };
  for (int round = 0; round < 2000; round++) {
    gainParameters p;
    gainState fast, plain;
    for (int block = 0; block < 12; block++) {
      if (block % 4 == 0) p = {one(times), one(times), one(times) * 0.1f, one(limits), one(volumes)};
      const auto samples = noise(one(lengths), one(levels), random());
      auto expected = samples;
      plainFollow(p, plain, expected.data(), expected.size(), p.volume);
      const auto out = processGain(p, fast, blockOf(samples), false, true, silent_dB);
      for (uint64_t i = 0; i < out.count; i++) // NaN samples (0 times infinite) may differ in sign
        ASSERT_TRUE(std::bit_cast<uint32_t>(out.data[i]) == std::bit_cast<uint32_t>(expected[i]) ||
                    (std::isnan(out.data[i]) && std::isnan(expected[i])))
            << "round " << round << " block " << block << " sample " << i << ": " << out.data[i] << " " << expected[i];
      ASSERT_EQ(std::bit_cast<uint64_t>(fast.gain), std::bit_cast<uint64_t>(plain.gain)) << "round " << round;
      ASSERT_EQ(fast.hangCount, plain.hangCount) << "round " << round;
      ASSERT_FALSE(std::isnan(fast.gain));
    }
  }
}

TEST(gainLoopTest, oneBlockEqualsManyWhereTheTargetIsTheSame) {
  gainParameters p{.attack_s = 0.002f, .decay_s = 0.003f, .hang_s = 0.004f};
  std::vector<float> samples(600, 0.125f);
  gainState whole{.gain = 30.0}, cut = whole;
  const auto out = processGain(p, whole, blockOf(samples), false, true, silent_dB);
  uint64_t at = 0;
  for (uint64_t n : {1, 7, 80, 512}) {
    const auto part = blockOf(std::vector<float>(n, 0.125f));
    processGain(p, cut, part, false, true, silent_dB);
    ASSERT_EQ(std::memcmp(part.data, out.data + at, n * sizeof(float)), 0) << at;
    at += n;
  }
  EXPECT_EQ(cut.gain, whole.gain);
}

TEST(gainLoopTest, zeroTimesAnInfiniteTargetKeepsTheGain) {
  gainParameters p{.decay_s = infinite};
  gainState state{.gain = 5.0};
  processGain(p, state, blockOf(std::vector<float>(64, 1e-45f)), false, true, silent_dB); // target: infinite; 1 - d: 0
  EXPECT_EQ(state.gain, 5.0);
  p.decay_s = 0.2f;
  processGain(p, state, blockOf(std::vector<float>(64, 1e-45f)), false, true, silent_dB);
  EXPECT_EQ(state.gain, 1e4) << "an infinite target ends at the limit";
}

TEST(gainLoopTest, anyParameterAndSampleLeavesAGainThatIsANumber) {
  const float odd[] = {notANumber, infinite, -infinite, 0.0f, -1.0f, 3e38f, 1e-45f};
  for (float value : odd)
    for (int which = 0; which < 6; which++) {
      gainParameters p;
      (which == 0 ? p.attack_s : which == 1 ? p.decay_s : which == 2 ? p.hang_s : which == 3 ? p.maxGain_dB : p.volume) = value;
      gainState state;
      for (int i = 0; i < 4; i++) {
        auto samples = noise(512, i % 2 ? 1.0f : 0.001f, 5);
        if (which == 5) samples[100] = value;
        processGain(p, state, blockOf(samples), false, true, silent_dB);
      }
      ASSERT_FALSE(std::isnan(state.gain)) << which << " " << value;
    }
}

TEST(gainLoopTest, samplesThatAreNoNumberDoNotCountAsPeak) {
  gainParameters p{.attack_s = 0.0f};
  gainState state;
  const auto block = blockOf({notANumber, 0.5f, notANumber});
  processGain(p, state, block, false, true, silent_dB);
  EXPECT_EQ(state.gain, 1 / (0.5f * 1.2f));
}

TEST(gainLoopTest, hangBeyondAllNumbersIsCut) {
  for (auto [hang_s, count] : {std::pair{1e30f, INT64_MAX},
                               {infinite, INT64_MAX},
                               {-1e30f, INT64_MIN},
                               {-infinite, INT64_MIN},
                               {notANumber, int64_t(0)},
                               {-1.0f, int64_t(-48000)},
                               {0.00011f, int64_t(5)}}) {
    gainParameters p{.attack_s = 1.0f, .hang_s = hang_s};
    gainState state;
    processGain(p, state, blockOf({1.0f}), false, true, silent_dB);
    EXPECT_EQ(state.hangCount, count) << hang_s;
  }
}

} // namespace
} // namespace larch
