#include "tests/transceiver/chainTesting.h"
#include "tests/radio/logCapture.h"
#include <algorithm>
#include <gtest/gtest.h>
#include <limits>

namespace larch::test {
namespace {

constexpr int32_t centre = 7'100'000, rate = 192000;
constexpr uint64_t chunkCount = 2048;

int updates = 0, frames = 0, lastPeak = 0;
bool lastFlag = false;
double lastValue = 0, lastLow = 0, lastHigh = 0;
int32_t lastRate = 0;
void onFlag(bool v) {
  updates++;
  lastFlag = v;
}
void onValue(double v) {
  updates++;
  lastValue = v;
}
void onFrame(buff<float>* frame, double low, double high, int32_t hardwareRate) {
  frames++;
  EXPECT_EQ(frame->count, 2048u);
  lastPeak = static_cast<int>(std::max_element(frame->data, frame->data + frame->count) - frame->data);
  lastLow = low;
  lastHigh = high;
  lastRate = hardwareRate;
  delete frame;
}

class vtrxReceiveTest : public testing::Test {
 protected:
  vtrxReceiveTest() {
    t->vfo.set(centre);
    s.useMode();
    t->start();
    t->newSpectrum = onFrame;
  }
  // The spectrum's first frame after a tuning: still at the old centre.
  void passFirstFrame() {
    hear(centre, 1);
    s.env.pool->getRenderUpdates();
    frames = 0;
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

TEST_F(vtrxReceiveTest, aModeInWhichAnotherTransceiverIsHearsNothing) {
  {
    const modeTurn ofAnother(s.mode.get());
    hear(centre, 1);
    EXPECT_EQ(s.mode->blocks, 0);
  }
  hear(centre, 1);
  EXPECT_EQ(s.mode->blocks, 1);
  hear(centre, 1);
  EXPECT_EQ(s.mode->blocks, 2) << "its own turn is over with its chunk";
}

TEST_F(vtrxReceiveTest, streamsOfTwoAdcsAreJoined) {
  t->ADCs.set(3);
  s.chunk(cbuff(2048, 1.0), centre, rate, 0);
  s.chunk(cbuff(2048, 0.25), centre, rate, 0);
  EXPECT_EQ(s.mode->blocks, 0) << "one stream alone is nothing";
  s.chunk(cbuff(2048, 0.5), centre, rate, 1);
  EXPECT_EQ(s.mode->blocks, 1);
  for (int i = 0; i < 8; i++)
    for (int adc : {0, 1}) s.chunk(cbuff(2048, adc ? 0.5 : 0.25), centre, rate, adc);
  EXPECT_NEAR(std::abs(s.mode->heard.back()), 0.75, 1e-6);
  t->ADC1Gain.set(0.0);
  for (int i = 0; i < 8; i++)
    for (int adc : {0, 1}) s.chunk(cbuff(2048, adc ? 0.5 : 0.25), centre, rate, adc);
  EXPECT_NEAR(std::abs(s.mode->heard.back()), 0.25, 1e-6) << "ADC 0's stream alone";
}

TEST_F(vtrxReceiveTest, modeFasterThanTheRadioIsTooWideUntilTheRadioIsFaster) {
  updates = 0;
  t->bandwidthSufficient.bind(t.get(), onFlag);
  t->foregroundDisplay.set(true);
  s.mode->rate = 384000;
  hear(centre, 2);
  EXPECT_EQ(s.mode->blocks, 0) << "no audio";
  s.env.pool->getUpdates();
  EXPECT_EQ(updates, 1);
  EXPECT_FALSE(lastFlag);
  frames = 0;
  s.env.pool->getRenderUpdates();
  EXPECT_EQ(frames, 2) << "the spectrum goes on";
  for (int i = 0; i < 2; i++) s.chunk(cbuff(4096, 0.1), centre, 384000);
  s.env.pool->getUpdates();
  EXPECT_EQ(updates, 2);
  EXPECT_TRUE(lastFlag);
  EXPECT_EQ(s.mode->blocks, 16);
}

TEST_F(vtrxReceiveTest, signalTunedExactlyAtTheCentreBypassesTheMixer) {
  channelReceiver reference;
  const cbuff chunk = mirroredTone(1234, rate, chunkCount, 0.1);
  std::vector<cdouble> expected;
  for (int i = 0; i < 3; i++) {
    s.chunk(chunk, centre, rate);
    reference.process(chunk, 0.0, 4, [&](const cbuff& b) {
      const auto samples = samplesOf(b);
      expected.insert(expected.end(), samples.begin(), samples.end());
    });
  }
  EXPECT_EQ(s.mode->heard, expected);
}

TEST_F(vtrxReceiveTest, meterReportsOnThe18thBlock) {
  updates = 0;
  t->signalStrength.bind(t.get(), onValue);
  hear(centre + 500, 17);
  s.env.pool->getUpdates();
  EXPECT_EQ(updates, 0);
  hear(centre + 500, 1);
  s.env.pool->getUpdates();
  EXPECT_EQ(updates, 1);
  EXPECT_NEAR(lastValue, -10.0, 0.01) << "10 log10(10 * 0.01)";
  hear(centre + 500, 17, 0.01);
  s.env.pool->getUpdates();
  EXPECT_EQ(updates, 1);
  hear(centre + 500, 1, 0.01);
  s.env.pool->getUpdates();
  EXPECT_EQ(updates, 2);
  EXPECT_NEAR(lastValue, -30.0, 0.01);
}

TEST_F(vtrxReceiveTest, vfoOutsideTheStreamIsSilence) {
  t->vfo.set(centre + 96000); // step 3.1416
  hear(centre + 1000, 18);
  EXPECT_NEAR(t->signalStrength.value, -1800.0, 1e-9);
  for (const cdouble& z : s.mode->heard) ASSERT_EQ(z, cdouble(0));
  t->vfo.set(std::numeric_limits<int32_t>::min());
  hear(centre + 1000, 1);
  EXPECT_EQ(s.mode->heard.back(), cdouble(0));
}

TEST_F(vtrxReceiveTest, swallowedBlockDisturbsNothing) {
  s.mode->swallow = true;
  t->foregroundDisplay.set(true);
  frames = 0;
  hear(centre, 5);
  s.env.pool->getRenderUpdates();
  EXPECT_EQ(s.mode->blocks, 5);
  EXPECT_EQ(frames, 5);
}

TEST_F(vtrxReceiveTest, emptyModeHearsNothingAndTheSpectrumRuns) {
  const auto plain = keptByCore(std::make_shared<modDemod>(s.env.group));
  t->setModulation(plain);
  t->foregroundDisplay.set(true);
  frames = 0;
  hear(centre, 3);
  s.env.pool->getRenderUpdates();
  EXPECT_EQ(frames, 3);
  EXPECT_TRUE(t->bandwidthSufficient.value);
  t->ptt.set(true);
  t->modulateTask();
  s.env.turns();
  EXPECT_EQ(s.radio->sent, std::vector<cdouble>(126, cdouble(0)));
}

TEST_F(vtrxReceiveTest, receivingGoesOnWhileTransmittingOnAGainOfItsOwn) {
  hear(centre, 3);
  EXPECT_GT(s.mode->spoken.data[511], 0.5f);
  t->ptt.set(true);
  hear(centre, 3);
  EXPECT_EQ(s.mode->blocks, 6);
  EXPECT_EQ(s.mode->spoken.data[511], 0.0f) << "silent until the host raises the monitor";
  t->txagc.value->Volume.set(0.5f);
  hear(centre, 1);
  EXPECT_GT(s.mode->spoken.data[511], 0.1f);
}

TEST_F(vtrxReceiveTest, swallowedBlocksDontCountForTheReturnToTheReceiveGain) {
  t->ptt.set(true);
  hear(centre, 1);
  t->ptt.set(false);
  s.mode->swallow = true;
  hear(centre, 60);
  s.mode->swallow = false;
  hear(centre, 29);
  EXPECT_EQ(s.mode->spoken.data[511], 0.0f) << "still on the transmit gain";
  hear(centre, 1);
  EXPECT_NE(s.mode->spoken.data[511], 0.0f);
}

TEST_F(vtrxReceiveTest, missingGainControlsAndOddRatesAreBorne) {
  t->rxagc.set(nullptr);
  t->txagc.set(nullptr);
  hear(centre, 2);
  t->ptt.set(true);
  hear(centre, 2);
  for (int32_t odd : {std::numeric_limits<int32_t>::min(), -1, 0, 1, 47999}) s.chunk(cbuff(64, 0.1), centre, odd);
  EXPECT_EQ(s.mode->blocks, 4);
  s.chunk({}, centre, 48000);
  s.mode->rate = 0;
  hear(centre, 1);
  EXPECT_FALSE(t->bandwidthSufficient.value);
}

// The level without a microphone is 0: a threshold below it keys at once, one above half of it holds.
TEST_F(vtrxReceiveTest, voxKeysOnlyInTheForegroundAndWhenSwitchedOn) {
  t->VoxThreshold.set(-1.0);
  hear(centre, 1);
  EXPECT_FALSE(t->ptt.value);
  t->useVox.set(true);
  hear(centre, 1);
  EXPECT_FALSE(t->ptt.value) << "in the background";
  t->useVox.set(false);
  t->foregroundDisplay.set(true);
  hear(centre, 1);
  EXPECT_FALSE(t->ptt.value) << "off";
  t->useVox.set(true);
  hear(centre, 1);
  EXPECT_TRUE(t->ptt.value);
  s.env.turns();
  EXPECT_EQ(s.radio->take().back(), "setPtt true");
  EXPECT_EQ(s.mode->take(), std::vector<std::string>{"pttChanged true"});
  t->VoxThreshold.set(0.4);
  int chunks = 0;
  for (; t->ptt.value && chunks < 1000; chunks++) hear(centre, 1);
  EXPECT_EQ(chunks, 47) << "0.5 s of chunks";
  EXPECT_EQ(s.mode->take(), std::vector<std::string>{"pttChanged false"});
}

TEST_F(vtrxReceiveTest, voxThatDecidesNothingWritesNothing) {
  t->useVox.set(true);
  t->foregroundDisplay.set(true);
  hear(centre, 3);
  EXPECT_FALSE(t->ptt.hasValue);
}

TEST_F(vtrxReceiveTest, framesComeInThePollWithHandlesOfTheHost) {
  t->foregroundDisplay.set(true);
  passFirstFrame();
  hear(centre + 9375, 1); // 100 points
  s.env.pool->getUpdates();
  EXPECT_EQ(frames, 0) << "the update road carries no frames";
  s.env.pool->getRenderUpdates();
  ASSERT_EQ(frames, 1);
  EXPECT_EQ(lastPeak, 1123);
  EXPECT_EQ(lastLow, centre - 96000.0);
  EXPECT_EQ(lastHigh, centre + 96000.0);
  EXPECT_EQ(lastRate, rate);
}

TEST_F(vtrxReceiveTest, frameInProgressIsFinishedAtTheOldCentre) {
  t->foregroundDisplay.set(true);
  passFirstFrame();
  s.chunk(cbuff(1024, 0.1), centre, rate);
  t->specOffset.set(30000);
  EXPECT_EQ(t->specFreq.value, centre + 30000);
  s.chunk(cbuff(1024, 0.1), centre, rate);
  s.env.pool->getRenderUpdates();
  EXPECT_EQ(lastLow, centre - 96000.0);
  hear(centre, 1);
  s.env.pool->getRenderUpdates();
  EXPECT_EQ(lastLow, centre + 30000 - 96000.0);
}

TEST_F(vtrxReceiveTest, firstFrameShowsTheCentreOfTheInit) {
  t->foregroundDisplay.set(true);
  hear(centre, 1);
  s.env.pool->getRenderUpdates();
  EXPECT_EQ(lastLow, 14095600 - 96000.0);
}

TEST_F(vtrxReceiveTest, sixtyFifthFrameWithoutAPollIsLostAndFreed) {
  t->foregroundDisplay.set(true);
  hear(centre, 70);
  frames = 0;
  s.env.pool->getRenderUpdates();
  EXPECT_EQ(frames, 64);
}

TEST_F(vtrxReceiveTest, unboundSpectrumIsLoggedAndFreed) {
  logCapture log;
  t->newSpectrum = nullptr;
  t->foregroundDisplay.set(true);
  hear(centre, 2);
  s.env.pool->getRenderUpdates();
  EXPECT_EQ(log.times("getRenderUpdates bad_function_call"), 2);
}

} // namespace
} // namespace larch::test
