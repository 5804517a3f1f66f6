#include "dsp/agc.h"
#include "tests/runtime/testGroup.h"
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

namespace larch {
namespace {

constexpr float noSquelch_dB = -180.0f;

class agcTest : public testing::Test {
 protected:
  buff<float> run(const std::vector<float>& samples, bool holdover = false, bool volume = true, float strength = noSquelch_dB) {
    buff<float> block(samples.size());
    std::copy(samples.begin(), samples.end(), block.data);
    const auto out = gain->process(block, holdover, volume, strength);
    EXPECT_EQ(out.data, block.data) << "works in place";
    return out;
  }
  // The gain as it stands: a block that isn't measured, quiet enough not to be clamped, loud enough for full precision.
  double presentGain() {
    constexpr float probe = 1e-6f;
    return run({probe}, true, false).data[0] / static_cast<double>(probe);
  }

  testGroup env;
  std::shared_ptr<agc> gain = keptByCore(std::make_shared<agc>(env.group));
};

TEST_F(agcTest, disabledWithManualGainZeroIsUnitGainWithClamping) {
  gain->Enabled.set(false);
  gain->ManualGain.set(0.0);
  const auto out = run({0.5f, -0.25f, 1.5f, -3.0f});
  EXPECT_EQ(out.data[0], 0.5f);
  EXPECT_EQ(out.data[1], -0.25f);
  EXPECT_EQ(out.data[2], 1.0f);
  EXPECT_EQ(out.data[3], -1.0f);
  gain->ManualGain.set(1.0);
  EXPECT_FLOAT_EQ(run({0.05f}).data[0], 0.5f) << "1.0 is a gain of 10";
}

TEST_F(agcTest, squelchAboveTheSignalSilencesAndBelowPassesTimesVolumeUnclamped) {
  gain->Volume.set(3.0f);
  const double before = presentGain();
  gain->Squelch.set(-100.0f);
  for (float closed : {run({0.5f, 1.0f}, false, true, -120.0f).data[0], run({0.5f, 1.0f}, false, true, -120.0f).data[1]})
    EXPECT_EQ(closed, 0.0f);
  const auto open = run({0.5f, 1.0f}, false, true, -80.0f);
  EXPECT_EQ(open.data[0], 1.5f);
  EXPECT_EQ(open.data[1], 3.0f);
  gain->Squelch.set(noSquelch_dB);
  EXPECT_EQ(presentGain(), before) << "no automatic gain acts while a squelch is set";
}

TEST_F(agcTest, silenceRaisesTheGainOnlyAfterTheHangUpToTheLimit) {
  gain->Hang.set(0.01f); // 480 samples
  gain->Decay.set(0.001f);
  gain->MaxGain.set(40.0f);
  run(std::vector<float>(48000, 1.0f));
  const double low = presentGain();
  EXPECT_NEAR(low, 1 / 1.2, 1e-3);
  run(std::vector<float>(479, 0.0f));
  EXPECT_EQ(presentGain(), low) << "hangs";
  run(std::vector<float>(480, 0.0f));
  EXPECT_GT(presentGain(), 2 * low) << "rises towards 200";
  run(std::vector<float>(48000, 0.0f));
  EXPECT_NEAR(presentGain(), 100.0, 1e-3) << "40 dB";
}

TEST_F(agcTest, loudBlockAfterSilenceFallsAtOnceAndRenewsTheHang) {
  gain->Hang.set(0.001f); // 48 samples
  gain->Decay.set(1e-5f);
  run({1.0f});
  const double first = presentGain(), a = std::exp(-1 / (0.01 * 48000));
  EXPECT_NEAR(first, (1 - a) / 1.2 + a * 200.0, 2e-4);
  for (int i = 0; i < 4800; i++) run({1.0f});
  // the last falling sample is the newest one: all 48 samples of the hang are still to come
  const double fallen = presentGain();
  run(std::vector<float>(47, 1e-3f));
  EXPECT_EQ(presentGain(), fallen);
  run(std::vector<float>(10, 1e-3f));
  EXPECT_GT(presentGain(), 10 * fallen);
}

TEST_F(agcTest, holdoverKeepsGainAndHang) {
  gain->Hang.set(0.001f);
  gain->Decay.set(1e-5f);
  for (int i = 0; i < 4800; i++) run({1.0f});
  const double before = presentGain();
  for (int i = 0; i < 2; i++) {
    const auto block = run(std::vector<float>(1000, 0.5f), true);
    EXPECT_EQ(block.data[0], static_cast<float>(0.5f * static_cast<float>(before)));
    EXPECT_EQ(block.data[999], block.data[0]);
  }
  EXPECT_EQ(presentGain(), before);
  run(std::vector<float>(47, 1e-3f));
  EXPECT_EQ(presentGain(), before) << "the hang was neither used nor renewed";
  run(std::vector<float>(10, 1e-3f));
  EXPECT_GT(presentGain(), 10 * before);
}

TEST_F(agcTest, withoutVolumeTheLevelIsFull) {
  gain->Volume.set(0.0f);
  std::vector<float> loud(48000, 1.0f);
  const auto muted = run(loud), full = run(loud, false, false);
  EXPECT_EQ(muted.data[47999], 0.0f);
  EXPECT_NEAR(full.data[47999], 1 / 1.2, 1e-4);
}

TEST_F(agcTest, attackOfZeroFallsWithTheFirstSample) {
  gain->Attack.set(0.0f);
  run({1.0f});
  EXPECT_FLOAT_EQ(static_cast<float>(presentGain()), 1.0f / 1.2f);
}

TEST_F(agcTest, emptyBlockChangesNothing) {
  const double before = presentGain();
  EXPECT_EQ(run({}).count, 0u);
  EXPECT_EQ(presentGain(), before);
}

TEST_F(agcTest, noInputSpoilsTheGainForGood) {
  const float nan = std::numeric_limits<float>::quiet_NaN(), infinite = std::numeric_limits<float>::infinity();
  gain->Attack.set(0.001f);
  for (float bad : {nan, infinite, -infinite, std::numeric_limits<float>::denorm_min()}) run(std::vector<float>(64, bad));
  gain->MaxGain.set(80.0f);
  run(std::vector<float>(48000, 1.0f));
  EXPECT_NEAR(presentGain(), 1 / 1.2, 1e-3);
}

TEST_F(agcTest, setsTakeEffectWithTheNextBlockWithoutAnObserver) {
  gain->Enabled.set(false);
  gain->ManualGain.set(0.0);
  EXPECT_EQ(run({0.25f}).data[0], 0.25f);
  gain->Volume.set(2.0f);
  EXPECT_EQ(run({0.25f}).data[0], 0.5f);
}

} // namespace
} // namespace larch
