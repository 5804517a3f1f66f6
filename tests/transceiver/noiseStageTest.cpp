#include "transceiver/noiseStage.h"
#include "tests/support/allocationCounter.h"
#include "tests/transceiver/chainTesting.h"
#include <gtest/gtest.h>
#include <random>

namespace larch::test {
namespace {

std::vector<float> noise(uint64_t count, unsigned seed) {
  std::mt19937 random(seed);
  std::normal_distribution<float> value(0.0f, 0.05f);
  std::vector<float> samples(count);
  for (float& x : samples) x = value(random);
  return samples;
}

std::vector<float> run(noiseStage& stage, const std::vector<float>& in, double strength) {
  buff<float> block(in.size());
  std::copy(in.begin(), in.end(), block.data);
  stage.process(block, strength);
  return {block.data, block.data + block.count};
}

// At strength 0 the audio comes back later, by way of the 16-bit scale.
float throughScale(float x) { return x * 32000.0f * 3.125e-05f; }

TEST(noiseStageTest, strengthOfZeroOnlyDelays) {
  noiseStage stage;
  const auto in = noise(512 * 6, 1);
  std::vector<float> out;
  for (size_t at = 0; at < in.size(); at += 512) {
    const auto block = run(stage, {in.begin() + static_cast<long>(at), in.begin() + static_cast<long>(at) + 512}, 0.0);
    out.insert(out.end(), block.begin(), block.end());
  }
  const size_t delay = noiseReducer::delay();
  ASSERT_LT(delay, 512u * 5);
  for (size_t i = delay; i < in.size(); i++) ASSERT_EQ(out[i], throughScale(in[i - delay])) << i;
}

TEST(noiseStageTest, changedStrengthTakesEffectOnTheNextFrame) {
  noiseStage stage, reference;
  for (unsigned i = 0; i < 20; i++) {
    const auto in = noise(512, i);
    EXPECT_EQ(run(stage, in, 0.0), run(reference, in, 0.0));
  }
  const auto in = noise(512, 100);
  const auto delayed = run(reference, in, 0.0), reduced = run(stage, in, 100.0);
  double delayedPower = 0, reducedPower = 0;
  for (size_t i = 0; i < 512; i++) {
    delayedPower += delayed[i] * static_cast<double>(delayed[i]);
    reducedPower += reduced[i] * static_cast<double>(reduced[i]);
  }
  EXPECT_LT(reducedPower, 0.8 * delayedPower) << "noise is reduced";
}

// Blocks of another length pass through one frame: written at a place that then moves on, read behind it.
TEST(noiseStageTest, otherLengthsPassThroughTheFrameAsADelay) {
  for (uint64_t length : {1, 7, 64, 256, 511, 513}) {
    noiseStage stage;
    std::vector<float> frame(512, 0.0f);
    uint64_t place = 0;
    int overruns = 0, written = 0;
    for (unsigned i = 0; i < 40; i++) {
      const auto in = noise(length, i);
      if (place + length <= 512)
        std::copy(in.begin(), in.end(), frame.begin() + static_cast<long>(place));
      else
        overruns++;
      place += length;
      if (place > 512) place = 0;
      std::vector<float> expected(length, 0.0f);
      for (uint64_t k = 0; k < length && place + k < 512; k++) expected[k] = frame[place + k];
      testing::internal::CaptureStdout();
      EXPECT_EQ(run(stage, in, 100.0), expected) << length << " block " << i;
      written += testing::internal::GetCapturedStdout() == "buff copyTo error";
    }
    EXPECT_EQ(written, overruns) << length;
    if (length == 64) {
      EXPECT_EQ(overruns, 4) << "every ninth block finds the frame full";
    }
  }
}

TEST(noiseStageTest, onlyTheFirstBlockTakesMemory) {
  noiseStage stage;
  const buff<float> whole(512, 0.01f), wide(64, 0.01f);
  stage.process(whole, 80.0);
  const int64_t before = allocationsOfThisThread();
  for (int i = 0; i < 50; i++) stage.process(whole, 80.0);
  for (int i = 0; i < 8; i++) stage.process(wide, 80.0); // the ninth would print a line
  EXPECT_EQ(allocationsOfThisThread() - before, 0);
}

TEST(noiseStageTest, emptyBlockDoesNothing) {
  noiseStage stage;
  EXPECT_TRUE(run(stage, {}, 100.0).empty());
}

} // namespace
} // namespace larch::test
