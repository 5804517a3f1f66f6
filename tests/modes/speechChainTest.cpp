#include "modes/speechChain.h"
#include "dsp/filterDesign.h"
#include "dsp/vectorOps.h"
#include <cmath>
#include <gtest/gtest.h>
#include <random>

namespace larch::test {
namespace {

struct speechChainTest : testing::Test {
  cbuff speak(double compression, double factor, double level) {
    cbuff in(512), out(512);
    for (uint64_t i = 0; i < 512; i++) in.data[i] = level * value(random);
    chain.process(in, compression, factor, out);
    return out;
  }
  std::mt19937 random{3};
  std::uniform_real_distribution<double> value{-1.0, 1.0};
  speechChain chain{makeBandpass(300, 3000, 48000, 2048, 2048), makeBandpass(300, 3000, 48000, 1536, 1536)};
};

TEST_F(speechChainTest, leavesAtMostTheFactor) {
  double largest = 0;
  for (int i = 0; i < 200; i++) largest = std::max(largest, peakMagnitude(speak(50.0, 0.8, 1.0)));
  EXPECT_LE(largest, 0.8 + 1e-12);
  EXPECT_GT(largest, 0.79);
}

TEST_F(speechChainTest, compressionOfZeroIsSilence) {
  for (int i = 0; i < 10; i++) EXPECT_EQ(peakMagnitude(speak(0.0, 1.0, 1.0)), 0.0);
}

TEST_F(speechChainTest, compressionIsLinearBelowTheClip) {
  speechChain other(makeBandpass(300, 3000, 48000, 2048, 2048), makeBandpass(300, 3000, 48000, 1536, 1536));
  for (int i = 0; i < 10; i++) {
    cbuff in(512), out(512), half(512);
    for (uint64_t k = 0; k < 512; k++) in.data[k] = 0.01 * value(random);
    chain.process(in, 3.0, 1.0, out);
    scale(in, 6.0, in);
    other.process(in, 0.5, 1.0, half);
    for (uint64_t k = 0; k < 512; k++) ASSERT_LT(std::abs(out.data[k] - half.data[k]), 1e-12);
  }
}

TEST_F(speechChainTest, recoversFromADriveThatIsNoNumber) {
  for (double wild : {std::nan(""), HUGE_VAL, -HUGE_VAL}) {
    for (int i = 0; i < 5; i++) speak(wild, 1.0, 1.0);
    for (int i = 0; i < 10; i++) speak(1.0, 1.0, 1.0);
    const cbuff out = speak(1.0, 1.0, 1.0);
    for (uint64_t i = 0; i < 512; i++) ASSERT_TRUE(std::isfinite(std::abs(out.data[i])));
    EXPECT_GT(peakMagnitude(out), 0.1);
  }
}

} // namespace
} // namespace larch::test
