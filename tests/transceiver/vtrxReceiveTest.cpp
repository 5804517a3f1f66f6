#include "tests/transceiver/chainTesting.h"
#include "transceiver/chainConstants.h"
#include <gtest/gtest.h>
#include <map>

namespace larch::test {
namespace {

constexpr int32_t centre = 7'100'000, rate = 192000;
constexpr uint64_t chunkCount = 2048;

class vtrxReceiveTest : public testing::Test {
 protected:
  vtrxReceiveTest() {
    t->vfo.set(centre);
    s.useMode();
    t->start();
  }
  // `n` chunks of a signal at radio frequency `f`.
  void hear(int32_t f, int n, double level = 0.1) {
    for (int i = 0; i < n; i++, at += chunkCount) s.chunk(mirroredTone(f - centre, rate, chunkCount, level, at), centre, rate);
  }

  station s;
  std::shared_ptr<vtrx> t = s.transceiver;
  uint64_t at = 0;
};

TEST_F(vtrxReceiveTest, signalAboveTheTunedFrequencyStandsMirroredInTheBlock) {
  t->vfo.set(centre + 20000);
  t->setRxFilter(300, 2700);
  hear(centre + 21000, 8);
  ASSERT_EQ(s.mode->blocks, 8);
  // the last block is settled: 0.1 at -1000 Hz of baseband, 48000 samples/s
  const auto* block = s.mode->heard.data() + 7 * 512;
  for (int i = 1; i < 512; i++) {
    EXPECT_NEAR(std::abs(block[i]), 0.1, 1e-4);
    EXPECT_NEAR(std::arg(block[i] / block[i - 1]), -2 * pi * 1000 / 48000, 1e-6);
  }
}

TEST_F(vtrxReceiveTest, otherSidebandIsStopped) {
  t->vfo.set(centre + 20000);
  t->setRxFilter(300, 2700);
  hear(centre + 19000, 8);
  for (int i = 7 * 512; i < 8 * 512; i++) EXPECT_LT(std::abs(s.mode->heard[static_cast<size_t>(i)]), 1e-8);
}

TEST_F(vtrxReceiveTest, chunkBeforeStartAndAfterStopIsDropped) {
  t->stop();
  cbuff chunk = mirroredTone(0, rate, chunkCount);
  const std::weak_ptr<pooledRawBuffer> block = chunk.owner;
  t->processRxChunk(std::move(chunk), centre, rate, {}, 0, 0);
  EXPECT_TRUE(block.expired()) << "its block is released";
  EXPECT_EQ(s.mode->blocks, 0);
  t->start();
  hear(centre, 1);
  EXPECT_EQ(s.mode->blocks, 1);
}

TEST_F(vtrxReceiveTest, chunkWithoutAModeIsDropped) {
  t->setModulation(nullptr);
  t->foregroundDisplay.set(true);
  hear(centre, 5);
  EXPECT_EQ(s.mode->blocks, 0);
  t->setModulation(s.mode);
  hear(centre, 1);
  EXPECT_EQ(s.mode->blocks, 1);
}

} // namespace
} // namespace larch::test
