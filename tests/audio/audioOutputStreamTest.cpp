#include "tests/audio/streamSimulation.h"
#include "tests/radio/logCapture.h"
#include <algorithm>
#include <atomic>
#include <gtest/gtest.h>
#include <thread>

using namespace larch;
using namespace larch::test;

namespace {

buff<float> constant(uint64_t n, float value) { return buff<float>(n, value); }

// A stream whose reader stands at frame 0 at the clock's present time, past its skipped chunks.
struct steadyStream {
  simulatedClock clock;
  audioOutputStream stream;
  bool useResampler;

  explicit steadyStream(bool resampler) : useResampler(resampler) {
    stream.openOutput(unknownDevice);
    play(0);
    for (int i = 0; i < 32; i++) stream.write(constant(512, 1), resampler);
    if (resampler) stream.write(constant(512, 1), true);
  }
  std::vector<float> play(unsigned long frames) {
    std::vector<float> out(2 * frames);
    stream.play(out.data(), frames, 0.0); // a card without output times
    return out;
  }
  void write(float value = 1, uint64_t n = 512) { stream.write(constant(n, value), useResampler); }
  // Puts the reader `fill` frames behind the writer, as the next write will estimate it.
  void setFill(int32_t fill) {
    const uint16_t reader = static_cast<uint16_t>(stream.writeFrame() - fill);
    while (stream.position().index != reader)
      play(std::min<uint16_t>(static_cast<uint16_t>(reader - stream.position().index), 4096));
  }
};

int zeroFrames(const std::vector<float>& stereo) {
  int n = 0;
  for (size_t i = 0; i < stereo.size(); i += 2) n += stereo[i] == 0;
  return n;
}

} // namespace

TEST(audioOutputStreamTest, closedStreamIgnoresChunks) {
  audioOutputStream stream;
  stream.openOutput(-1);
  for (int i = 0; i < 40; i++) stream.write(constant(512, 1), true);
  EXPECT_FALSE(stream.isOpen());
  EXPECT_EQ(stream.skip(), 32);
  EXPECT_EQ(stream.writeFrame(), 0);
  EXPECT_EQ(stream.lastWrite_ns(), 0);
}

TEST(audioOutputStreamTest, streamThatWasNeverOpenedIgnoresChunksAndPlaysNothing) {
  audioOutputStream stream;
  stream.write(constant(512, 1), true);
  float out[4] = {5, 5, 5, 5};
  stream.play(out, 2, 0.0);
  EXPECT_EQ(out[0], 5);
  EXPECT_EQ(stream.writeFrame(), 0);
}

TEST(audioOutputStreamTest, unknownDeviceIsLoggedAndHarmless) {
  logCapture log;
  audioOutputStream stream;
  for (const int32_t id : {unknownDevice, 1000 + unknownDevice}) {
    stream.openOutput(id);
    EXPECT_FALSE(stream.isOpen());
    EXPECT_EQ(stream.deviceId(), id);
    for (int i = 0; i < 40; i++) stream.write(constant(512, 1), true);
  }
  EXPECT_EQ(log.times("pa_openstream failed"), 2);
}

TEST(audioOutputStreamTest, first33ChunksWithResamplerMakeNoSound) {
  simulatedClock clock;
  audioOutputStream stream;
  stream.openOutput(unknownDevice);
  stream.play(nullptr, 0, 0.0); // the reader stands at frame 0 now
  for (int i = 0; i < 33; i++) {
    stream.write(constant(512, 1), true);
    EXPECT_EQ(stream.writeFrame(), 0);
  }
  EXPECT_EQ(stream.skip(), -1);
  stream.write(constant(512, 1), true);
  EXPECT_NEAR(stream.writeFrame(), 512, 1); // the last sample of a chunk may wait for its neighbour
  std::vector<float> out(1024);
  stream.play(out.data(), 512, 0.0);
  EXPECT_LE(zeroFrames(out), 1);
}

TEST(audioOutputStreamTest, withoutResampler32ChunksAreDropped) {
  simulatedClock clock;
  audioOutputStream stream;
  stream.openOutput(unknownDevice);
  stream.play(nullptr, 0, 0.0);
  for (int i = 0; i < 32; i++) stream.write(constant(512, 1), false);
  EXPECT_EQ(stream.writeFrame(), 0);
  stream.write(constant(512, 1), false);
  EXPECT_EQ(stream.writeFrame(), 512 + 511); // the first decision jumps to the target
  EXPECT_EQ(stream.skip(), 0);
}

TEST(audioOutputStreamTest, reopenSkipsAgainAndStartsSilent) {
  steadyStream s(true);
  s.setFill(500);
  s.write();
  s.stream.openOutput(unknownDevice);
  EXPECT_EQ(s.stream.skip(), 32);
  EXPECT_EQ(s.stream.writeFrame(), 0);
  for (int i = 0; i < 16; i++) EXPECT_EQ(zeroFrames(s.play(4096)), 4096);
}

TEST(audioOutputStreamTest, firstDecisionAfterAReopenJumpsToTheTargetAgain) {
  steadyStream s(false);
  s.write();
  s.stream.openOutput(unknownDevice);
  for (int i = 0; i < 32; i++) s.write();
  s.setFill(5000);
  const uint16_t reader = s.stream.position().index;
  s.write();
  EXPECT_NEAR(static_cast<uint16_t>(s.stream.writeFrame() - reader), 512 + 512, 1);
}

TEST(audioOutputStreamTest, frameIsPlayedOnceOnBothChannels) {
  steadyStream s(false);
  s.write(1, 1); // the decision
  buff<float> ramp(512);
  for (uint64_t i = 0; i < 512; i++) ramp.data[i] = static_cast<float>(i + 1);
  s.setFill(0);
  s.stream.write(ramp, false);
  const auto out = s.play(512);
  EXPECT_EQ(out[0], 1.0f); // the sample that waited
  for (size_t i = 1; i < 512; i++) {
    ASSERT_EQ(out[2 * i], static_cast<float>(i));
    ASSERT_EQ(out[2 * i + 1], static_cast<float>(i));
  }
  for (int i = 0; i < 127; i++) s.play(512); // round the ring
  EXPECT_EQ(zeroFrames(s.play(512)), 512);
}

TEST(audioOutputStreamTest, ringWrapsInWriterAndReader) {
  steadyStream s(false);
  s.write();
  s.setFill(100);
  int64_t zeros = 0;
  for (int i = 0; i < 300; i++) { // more than twice round
    s.write();
    zeros += zeroFrames(s.play(512));
  }
  EXPECT_EQ(zeros, 0);
}

TEST(audioOutputStreamTest, emptyAndOddChunksAreTaken) {
  steadyStream s(false);
  s.write();
  s.setFill(600);
  const uint16_t before = s.stream.writeFrame();
  uint16_t expected = before;
  for (const uint64_t n : {0u, 1u, 7u, 511u, 512u, 513u}) {
    s.write(1, n);
    expected = static_cast<uint16_t>(expected + n);
    EXPECT_EQ(s.stream.writeFrame(), expected) << n;
  }
}

TEST(audioOutputStreamTest, callbackWithoutBufferOnlyPublishesItsPosition) {
  simulatedClock clock(2'000'000'000);
  audioOutputStream stream;
  stream.openOutput(unknownDevice);
  float out[2];
  stream.play(out, 1, 0.0);
  clock.advance_ns(1'000'000'000);
  stream.play(nullptr, 64, 9.0);
  EXPECT_EQ(stream.position().index, 1);
  EXPECT_EQ(stream.position().clock, sampleClockAt(3'000'000'000));
}

TEST(audioOutputStreamTest, missedCallbacksAreSkippedBeyondTwoAndAHalfBuffers) {
  simulatedClock clock;
  audioOutputStream stream;
  stream.openOutput(unknownDevice);
  std::vector<float> out(2 * 480);
  const auto at = [&] { return stream.position().index; };
  const double buffer_s = 480.0 / 48000;
  stream.play(out.data(), 480, 1 * buffer_s); // one buffer behind 0: none missed
  EXPECT_EQ(at(), 480);
  stream.play(out.data(), 480, 3.4 * buffer_s);
  EXPECT_EQ(at(), 960); // 2.4 buffers aren't enough
  stream.play(out.data(), 480, 6.4 * buffer_s + 1e-9);
  EXPECT_EQ(at(), 960 + 960 + 480); // three: two have been missed
  stream.play(out.data(), 480, 6.4 * buffer_s);
  EXPECT_EQ(at(), 2880); // time going back is no gap
}

TEST(audioOutputStreamTest, firstOutputTimeSinceBootIsTakenThroughSixtyFourBits) {
  simulatedClock clock;
  audioOutputStream stream;
  stream.openOutput(unknownDevice);
  std::vector<float> out(512);
  const double upTime_s = 5'000'000.5; // two months: 2.4e11 frames
  stream.play(out.data(), 256, upTime_s);
  const auto missed = static_cast<int64_t>(upTime_s * 48000 - 256);
  EXPECT_EQ(stream.position().index, static_cast<uint16_t>(missed + 256));
}

TEST(audioOutputStreamTest, uselessOutputTimesAndEmptyCallbacksAreHarmless) {
  simulatedClock clock;
  audioOutputStream stream;
  stream.openOutput(unknownDevice);
  std::vector<float> out(512);
  const double infinity = std::numeric_limits<double>::infinity();
  for (const double t : {infinity, -infinity, std::nan(""), 1e300, 0.0, 0.0}) stream.play(out.data(), 256, t);
  stream.play(out.data(), 0, 1.0);
  stream.play(out.data(), 0, 1e9);
  EXPECT_EQ(stream.position().index, 6 * 256);
}

TEST(audioOutputStreamTest, eitherKeyTurnsTheToneOnInPlaceOfAudio) {
  for (int which = 0; which < 2; which++) {
    steadyStream s(false);
    s.stream.toneFrequency = 1000;
    s.stream.toneVolume = 0.5f;
    (which ? s.stream.keyB : s.stream.keyA).exchange(true);
    s.play(512);
    s.setFill(0);
    s.write(0.25f);
    const auto out = s.play(480);
    const auto [low, high] = std::minmax_element(out.begin(), out.end());
    EXPECT_NEAR(*high, 0.5 * 0.99, 0.01);
    EXPECT_NEAR(*low, -0.5 * 0.99, 0.01);
  }
}

TEST(audioOutputStreamTest, underrunsWithResamplerRaiseTheTargetAndTheFourthJumps) {
  steadyStream s(true);
  double target = s.stream.targetFill();
  s.setFill(2000);
  s.write();
  EXPECT_EQ(s.stream.underruns(), 0);
  for (int n = 1; n <= 4; n++) {
    s.setFill(-700);
    const uint16_t before = s.stream.writeFrame();
    s.write();
    target = target * 10 / 9;
    EXPECT_DOUBLE_EQ(s.stream.targetFill(), target);
    EXPECT_EQ(s.stream.underruns(), n);
    const int moved = static_cast<int16_t>(s.stream.writeFrame() - before);
    const int jump = n < 4 ? 0 : 700 + static_cast<int>(target);
    EXPECT_NEAR(moved, jump + 512, 2) << n;
  }
  s.write();
  EXPECT_EQ(s.stream.underruns(), 0); // the writer is ahead again
}

TEST(audioOutputStreamTest, underrunWithoutResamplerJumpsAtOnce) {
  steadyStream s(false);
  s.write();
  const double target = s.stream.targetFill() * 10 / 9;
  s.setFill(-1);
  const uint16_t reader = s.stream.position().index;
  s.write();
  EXPECT_DOUBLE_EQ(s.stream.targetFill(), target);
  EXPECT_EQ(s.stream.writeFrame(), static_cast<uint16_t>(reader + static_cast<int>(target) + 512));
}

TEST(audioOutputStreamTest, overrunJumpsBackToTheTargetAndKeepsIt) {
  for (const bool resampler : {true, false}) {
    steadyStream s(resampler);
    s.setFill(1000);
    s.write();
    const double target = s.stream.targetFill();
    s.setFill(16384);
    uint16_t reader = s.stream.position().index;
    s.write();
    EXPECT_GT(static_cast<uint16_t>(s.stream.writeFrame() - reader), 16384); // the most that counts as a fill
    s.setFill(16385);
    reader = s.stream.position().index;
    s.write();
    EXPECT_NEAR(static_cast<uint16_t>(s.stream.writeFrame() - reader), target + 512, 2);
    EXPECT_EQ(s.stream.underruns(), 0);
    EXPECT_DOUBLE_EQ(s.stream.targetFill(), target);
  }
}

TEST(audioOutputStreamTest, targetGrowsToJustOver8192) {
  steadyStream s(false);
  for (int i = 0; i < 60; i++) {
    s.setFill(-10);
    s.write();
  }
  double expected = 512;
  while (expected < 8192) expected = expected * 10 / 9;
  EXPECT_DOUBLE_EQ(s.stream.targetFill(), expected);
}

TEST(audioOutputStreamTest, ratioFollowsTheMeanFillAndStaysWithinItsClamp) {
  steadyStream s(true);
  double sum = 32 * 512 + 96, ratio = 1; // what the window has got by now
  int count = 33;
  EXPECT_EQ(s.stream.ratio(), 1.0);
  for (int i = 0; i < 900; i++) {
    s.setFill(12000);
    s.write();
    sum += 12000;
    count++;
    const double wanted = 0.1 * (1 + (512 - sum / count) * 1e-6) + 0.9 * ratio;
    ratio = std::min(1.003, std::max(0.997, wanted));
    ASSERT_NEAR(s.stream.ratio(), ratio, 1e-12) << i;
  }
  EXPECT_EQ(s.stream.ratio(), 0.997);
}

TEST(audioOutputStreamTest, ratioStaysBelowItsUpperClamp) {
  steadyStream s(true);
  while (s.stream.targetFill() < 8192) {
    s.setFill(-10);
    s.write();
  }
  for (int i = 0; i < 1200; i++) {
    s.setFill(600); // 7600 frames below the target
    s.write();
  }
  EXPECT_EQ(s.stream.ratio(), 1.003);
}

TEST(audioOutputStreamTest, resamplerSwitchedOffLeavesTheRatioAtOne) {
  steadyStream s(true);
  for (int i = 0; i < 50; i++) {
    s.setFill(9000);
    s.write();
  }
  EXPECT_LT(s.stream.ratio(), 1.0);
  s.useResampler = false;
  s.write();
  EXPECT_EQ(s.stream.ratio(), 1.0);
}

TEST(audioOutputStreamTest, stoppedWriterMeansSilenceAndItComesBack) {
  streamSimulation sim;
  int64_t zeros = 0, frames = 0;
  sim.heard = [&](double, const std::vector<float>& stereo) {
    zeros += zeroFrames(stereo);
    frames += static_cast<int64_t>(stereo.size() / 2);
  };
  sim.run(5);
  sim.writing = false;
  sim.run(1);
  zeros = frames = 0;
  sim.run(30);
  EXPECT_EQ(zeros, frames);
  sim.writing = true;
  sim.run(1);
  zeros = 0;
  sim.run(30);
  EXPECT_EQ(zeros, 0);
}

TEST(audioOutputStreamTest, missedCallbacksOfTheCardDontCostTheStream) {
  streamSimulation sim;
  sim.run(10);
  sim.missCallbacks(0.05);
  sim.run(1);
  int64_t zeros = 0;
  sim.heard = [&](double, const std::vector<float>& stereo) { zeros += zeroFrames(stereo); };
  sim.run(10);
  EXPECT_EQ(zeros, 0);
}

namespace {

struct driftCase {
  double radioPpm, cardPpm;
  int callbackFrames;
};
void PrintTo(const driftCase& c, std::ostream* text) {
  *text << "radio " << c.radioPpm << " ppm, card " << c.cardPpm << " ppm, callbacks of " << c.callbackFrames;
}
class audioOutputStreamDriftTest : public testing::TestWithParam<driftCase> {};

} // namespace

// The error that the ratio needs: one millionth for each frame between target and mean fill.
TEST_P(audioOutputStreamDriftTest, tenMinutesPassWithoutADropoutAndTheFillSettles) {
  const driftCase c = GetParam();
  streamSimulation sim(17);
  sim.radioPpm = c.radioPpm;
  sim.cardPpm = c.cardPpm;
  sim.callbackFrames = c.callbackFrames;
  sim.jitter_s = 0.003;
  sim.run(2); // the start: skipped chunks, the first jump
  int64_t zeros = 0;
  float previous = 0, largestStep = 0;
  sim.heard = [&](double, const std::vector<float>& stereo) {
    zeros += zeroFrames(stereo);
    for (size_t i = 0; i < stereo.size(); i += 2) {
      if (previous != 0) largestStep = std::max(largestStep, std::abs(stereo[i] - previous));
      previous = stereo[i];
    }
  };
  const double settled = sim.stream.targetFill() + c.radioPpm - c.cardPpm;
  fillWindow mean;
  double settling_s = 0;
  sim.written = [&](double now) {
    mean.push(sim.stream.fill() - 512.0); // as the next decision saw it, before the chunk
    if (mean.count() == fillWindow::length && std::abs(mean.mean() - settled) > 25) settling_s = now;
  };
  sim.run(598);
  EXPECT_EQ(zeros, 0);
  EXPECT_LT(largestStep, 2 * std::numbers::pi * 100 / 48000 * 1.01); // nothing was left out or repeated
  EXPECT_EQ(sim.stream.underruns(), 0);
  EXPECT_NEAR(mean.mean(), settled, 5);
  EXPECT_NEAR((sim.stream.ratio() - 1) * 1e6, c.cardPpm - c.radioPpm, 5);
  EXPECT_LT(settling_s, 300);
  std::printf("radio %+.0f ppm, card %+.0f ppm: target %.0f, mean fill %.1f, within 25 frames from %.0f s on\n", c.radioPpm,
              c.cardPpm, sim.stream.targetFill(), mean.mean(), settling_s);
}

INSTANTIATE_TEST_SUITE_P(clocks, audioOutputStreamDriftTest,
                         testing::Values(driftCase{0, 0, 256}, driftCase{200, 0, 256}, driftCase{-200, 0, 256},
                                         driftCase{0, 200, 128}, driftCase{0, -200, 480}, driftCase{200, -200, 256}));

// The group and the callback side by side: the race checker looks on.
TEST(audioOutputStreamConcurrentTest, writerKeysAndCallbackShareTheStream) {
  audioOutputStream stream;
  stream.openOutput(unknownDevice);
  std::atomic<bool> stop{false};
  std::atomic<int> torn{0};
  std::thread card([&] {
    std::vector<float> out(2 * 128);
    for (double t = 0; !stop; t += 128 / 48000.0) {
      stream.play(out.data(), 128, t);
      for (size_t i = 0; i < 128; i++) torn += out[2 * i] != out[2 * i + 1];
    }
  });
  std::thread radio([&] {
    for (int i = 0; !stop; i++) {
      stream.keyB.exchange(i & 1);
      stream.toneFrequency.exchange(600 + i % 100);
      stream.toneVolume.exchange(0.5f);
    }
  });
  for (int i = 0; i < 4000; i++) stream.write(constant(512, static_cast<float>(i)), i % 50 != 0);
  stop = true;
  card.join();
  radio.join();
  EXPECT_EQ(torn, 0);
}
