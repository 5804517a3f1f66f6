#include "audio/audioInputRef.h"
#include "tests/radio/logCapture.h"
#include "tests/support/simulatedClock.h"
#include <atomic>
#include <cmath>
#include <gtest/gtest.h>
#include <numbers>
#include <thread>

using namespace larch;
using namespace larch::test;

namespace {

// "None" and two devices that have a ring but no stream, so that a test is their card.
struct inputs {
  inputDeviceList list;
  simulatedClock clock;

  inputs() {
    for (const int32_t rate : {48000, 48000, 44100})
      list.entries.push_back(std::make_unique<audioInputDevice>("device", -1, rate));
  }
  audioInputDevice& device(size_t i) { return *list.entries[i]; }
  // The card delivers samples numbered from where it is.
  void record(size_t device_, int count) {
    std::vector<float> block(static_cast<size_t>(count));
    for (auto& s : block) s = static_cast<float>(recorded_++);
    device(device_).record(block.data(), static_cast<unsigned long>(count));
  }
  int64_t recorded_ = 0;
};

void flushLog() { logError("end of the test's lines"); } // errors flush, other lines wait

std::vector<float> read(audioInputRef& ref, uint64_t n, float before = -1) {
  buff<float> out(n, before);
  ref.readMicrophone(out);
  return {out.data, out.data + n};
}

} // namespace

TEST(audioInputDeviceTest, callbackFillsTheRingRoundItsEndAndPublishes) {
  simulatedClock clock(3'000'000'000);
  audioInputDevice device("x", -1, 48000);
  device.join();
  ringPosition at;
  const buff<float> ring = device.acquire(at);
  ASSERT_EQ(ring.count, 65536u);
  EXPECT_EQ(at.index, 0);
  for (uint64_t i = 0; i < ring.count; i++) ASSERT_EQ(ring.data[i], 0);
  std::vector<float> block(50000);
  for (size_t i = 0; i < block.size(); i++) block[i] = static_cast<float>(i + 1);
  EXPECT_TRUE(device.record(block.data(), 50000));
  EXPECT_TRUE(device.record(block.data(), 50000));
  device.acquire(at);
  EXPECT_EQ(at.index, 100000 - 65536);
  EXPECT_EQ(at.clock, sampleClockAt(3'000'000'000));
  EXPECT_EQ(ring.data[65535], 65536 - 50000);
  EXPECT_EQ(ring.data[0], 65536 - 50000 + 1);
  EXPECT_EQ(ring.data[34463], 50000);
  EXPECT_EQ(ring.data[34464], 34465); // of the first block
}

TEST(audioInputDeviceTest, peakIsTheLargestMagnitudeOfTheLastBlock) {
  audioInputDevice device("x", -1, 48000);
  device.join();
  ringPosition at;
  device.acquire(at);
  const float loud[] = {0.1f, -0.9f, 0.5f}, soft[] = {0.1f, -0.2f};
  device.record(loud, 3);
  EXPECT_EQ(device.peak(), 0.9f);
  device.record(soft, 2);
  EXPECT_EQ(device.peak(), 0.2f);
  device.record(nullptr, 2);
  EXPECT_EQ(device.peak(), 0.2f);
  device.acquire(at);
  EXPECT_EQ(at.index, 5);
  device.finished(); // the card is pulled out
  device.acquire(at);
  EXPECT_TRUE(device.running());
  EXPECT_EQ(device.peak(), 0) << "nothing holds VOX";
}

TEST(audioInputDeviceTest, callbackEndsTheStreamWhenNobodyListensAndTheNextStartHasANewRing) {
  audioInputDevice device("x", -1, 48000);
  device.join();
  device.join();
  ringPosition at;
  const buff<float> first = device.acquire(at);
  const float one[] = {1};
  EXPECT_TRUE(device.record(one, 1));
  EXPECT_EQ(device.acquire(at).data, first.data);
  device.leave();
  EXPECT_TRUE(device.record(one, 1));
  device.leave();
  EXPECT_FALSE(device.record(one, 1));
  device.finished();
  EXPECT_FALSE(device.running());
  device.join();
  const buff<float> second = device.acquire(at);
  EXPECT_TRUE(device.running());
  EXPECT_NE(second.data, first.data);
  EXPECT_EQ(second.data[0], 0);
  EXPECT_EQ(first.data[0], 1); // a reader that still holds the old ring isn't disturbed
  EXPECT_EQ(at.index, 3);
}

TEST(audioInputDeviceTest, startIsLoggedOnceWithTheDevice) {
  logCapture log;
  audioInputDevice none("None", -1, 48000);
  none.join();
  ringPosition at;
  none.acquire(at);
  none.acquire(at);
  flushLog();
  EXPECT_EQ(log.times("pa_start -1"), 1);
  EXPECT_FALSE(log.has("pa_openstream"));
  EXPECT_FALSE(log.has("pa_startstream"));
}

TEST(audioInputDeviceTest, unknownDeviceIsLoggedOnceAndTriedAgainAtTheNextJoin) {
  logCapture log;
  audioInputDevice device("gone", 900, 48000);
  device.join();
  ringPosition at;
  for (int i = 0; i < 10; i++) EXPECT_EQ(device.acquire(at).count, 65536u);
  EXPECT_EQ(log.times("pa_openstream failed 900"), 1);
  device.leave();
  device.join();
  device.acquire(at);
  EXPECT_EQ(log.times("pa_openstream failed 900"), 2);
  EXPECT_FALSE(log.has("pa_startstream"));
}

TEST(audioInputRefTest, noneLeavesTheBufferAlone) {
  inputs in;
  audioInputRef ref(&in.list);
  EXPECT_EQ(ref.id(), -1);
  ref.setInput(0);
  for (const float s : read(ref, 16, 3.5f)) EXPECT_EQ(s, 3.5f);
}

TEST(audioInputRefTest, silenceBeforeTheFirstInput) {
  inputs in;
  audioInputRef ref(&in.list);
  for (const float s : read(ref, 16, 3.5f)) EXPECT_EQ(s, 0);
}

TEST(audioInputRefTest, changeIsLoggedWithNewAndOldId) {
  logCapture log;
  inputs in;
  audioInputRef ref(&in.list);
  ref.setInput(1);
  ref.setInput(0);
  flushLog();
  EXPECT_TRUE(log.has("set stream id 1 -1"));
  EXPECT_TRUE(log.has("set stream id 0 1"));
}

TEST(audioInputRefTest, idOutsideTheListIsLoggedAndTheOldInputStays) {
  logCapture log;
  inputs in;
  audioInputRef ref(&in.list);
  ref.setInput(1);
  for (const int32_t bad : {-1, 3, 1000, INT32_MAX, INT32_MIN}) {
    ref.setInput(bad);
    EXPECT_TRUE(log.has("Invalid audio stream id " + std::to_string(bad)));
    EXPECT_EQ(ref.id(), 1);
  }
  EXPECT_EQ(in.device(1).users(), 1);
}

TEST(audioInputRefTest, listenersAreCounted) {
  inputs in;
  {
    audioInputRef a(&in.list), b(&in.list);
    a.setInput(1);
    b.setInput(1);
    a.setInput(1);
    EXPECT_EQ(in.device(1).users(), 2);
    a.setInput(2);
    EXPECT_EQ(in.device(1).users(), 1);
    EXPECT_EQ(in.device(2).users(), 1);
  }
  EXPECT_EQ(in.device(1).users(), 0);
  EXPECT_EQ(in.device(2).users(), 0);
}

TEST(audioInputRefTest, choosingTheSameInputAgainDoesNothing) {
  logCapture log;
  inputs in;
  in.list.entries.push_back(std::make_unique<audioInputDevice>("gone", 900, 48000));
  audioInputRef ref(&in.list);
  ref.setInput(3);
  ref.setInput(3);
  EXPECT_EQ(log.times("pa_openstream failed 900"), 1);
  ref.setInput(0);
  ref.setInput(3);
  EXPECT_EQ(log.times("pa_openstream failed 900"), 2);
}

TEST(audioInputRefTest, firstReadStartsAtTheLagBehindTheWriter) {
  inputs in;
  audioInputRef ref(&in.list);
  ref.setInput(1);
  in.record(1, 10000);
  const auto out = read(ref, 126);
  for (size_t i = 0; i < out.size(); i++) ASSERT_EQ(out[i], 10000 - 2048 + static_cast<int>(i));
  EXPECT_EQ(ref.lag(), -2048); // the pause was long: nobody has caught up with the writer
}

TEST(audioInputRefTest, readsContinueWithoutAGapAndRoundTheRing) {
  inputs in;
  audioInputRef ref(&in.list);
  ref.setInput(1);
  in.record(1, 4096);
  int64_t next = 2048;
  for (int i = 0; i < 1000; i++) { // nearly twice round
    const auto out = read(ref, 126);
    for (const float s : out) ASSERT_EQ(s, static_cast<float>(next++));
    in.record(1, 126);
    in.clock.advance_ns(126 * 1'000'000'000LL / 48000);
  }
  EXPECT_EQ(ref.lag(), -2048);
}

TEST(audioInputRefTest, catchingUpWithTheWriterGrowsTheLagByHalfDownToItsEnd) {
  inputs in;
  audioInputRef ref(&in.list);
  ref.setInput(1);
  in.record(1, 60000);
  read(ref, 1);
  std::vector<int32_t> lags{ref.lag()};
  for (int i = 0; i < 20000 && lags.size() < 6; i++) { // the card stands still
    in.clock.advance_ns(1'000'000);
    read(ref, 126);
    if (ref.lag() != lags.back()) lags.push_back(ref.lag());
  }
  EXPECT_EQ(lags, (std::vector<int32_t>{-2048, -3072, -4608, -6912, -8192}));
}

TEST(audioInputRefTest, resynchronisationUsesTheLagBeforeItGrows) {
  inputs in;
  audioInputRef ref(&in.list);
  ref.setInput(1);
  in.record(1, 10000);
  read(ref, 2000);
  const auto out = read(ref, 100); // 48 samples are left
  EXPECT_EQ(out[0], 10000 - 2048);
  EXPECT_EQ(ref.lag(), -3072);
}

TEST(audioInputRefTest, exactlyEnoughSamplesAreNoCatchingUp) {
  inputs in;
  audioInputRef ref(&in.list);
  ref.setInput(1);
  in.record(1, 10000);
  read(ref, 2000);
  const auto out = read(ref, 48);
  EXPECT_EQ(out[0], 10000 - 48);
  EXPECT_EQ(ref.lag(), -2048);
}

TEST(audioInputRefTest, pauseOf101MillisecondsResynchronisesAndKeepsTheLag) {
  inputs in;
  audioInputRef ref(&in.list);
  ref.setInput(1);
  in.record(1, 10000);
  read(ref, 100);
  in.clock.advance_ns(100'999'999);
  EXPECT_EQ(read(ref, 1)[0], 10000 - 2048 + 100);
  in.clock.advance_ns(101'000'000);
  EXPECT_EQ(read(ref, 1)[0], 10000 - 2048);
  EXPECT_EQ(ref.lag(), -2048);
}

TEST(audioInputRefTest, moreThan16384BehindResynchronises) {
  inputs in;
  audioInputRef ref(&in.list);
  ref.setInput(1);
  in.record(1, 10000);
  read(ref, 48); // 2000 behind
  in.record(1, 16384 - 2000);
  EXPECT_EQ(read(ref, 1)[0], 8000); // the furthest
  in.record(1, 2);
  EXPECT_EQ(read(ref, 1)[0], static_cast<float>(in.recorded_ - 2048));
}

TEST(audioInputRefTest, inputOf44100HzIsBroughtTo48000) {
  inputs in;
  audioInputRef ref(&in.list);
  ref.setInput(2);
  in.record(2, 10000);
  const auto out = read(ref, 1000);
  for (size_t i = 0; i < out.size(); i++) ASSERT_NEAR(out[i], 10000 - 2048 + static_cast<double>(i) * 44100 / 48000, 1e-3) << i;
}

TEST(audioInputRefTest, emptyAndOddReadsAreServed) {
  inputs in;
  audioInputRef ref(&in.list);
  ref.setInput(1);
  in.record(1, 30000);
  float next = 30000 - 2048;
  for (const uint64_t n : {0u, 1u, 7u, 511u, 512u, 513u})
    for (const float s : read(ref, n)) ASSERT_EQ(s, next++);
}

// The card's callback, readers of two groups, and starts that follow each other.
TEST(audioInputConcurrentTest, callbackReadersAndRestartsShareTheDevice) {
  inputDeviceList list;
  list.entries.push_back(std::make_unique<audioInputDevice>("None", -1, 48000));
  list.entries.push_back(std::make_unique<audioInputDevice>("device", -1, 48000));
  audioInputDevice& device = *list.entries[1];
  device.join();
  ringPosition first;
  device.acquire(first);
  std::atomic<bool> stop{false};
  std::thread card([&] {
    const std::vector<float> block(128, 0.5f);
    while (!stop) device.record(block.data(), 128);
  });
  const auto reader = [&] {
    audioInputRef ref(&list);
    buff<float> out(126);
    for (int i = 0; i < 3000; i++) {
      ref.setInput(i % 100 == 99 ? 0 : 1);
      ref.readMicrophone(out);
    }
  };
  std::thread a(reader), b(reader);
  a.join();
  b.join();
  stop = true;
  card.join();
  EXPECT_EQ(device.users(), 1);
}

TEST(audioInputConcurrentTest, startsThatFollowEndsHaveOneRingEach) {
  audioInputDevice device("device", -1, 48000);
  device.join();
  std::atomic<int> differing{0};
  std::atomic<bool> stop{false};
  std::thread ender([&] {
    while (!stop) {
      device.finished(); // no stream is open, so no callback runs
      std::this_thread::yield();
    }
  });
  const auto reader = [&] {
    ringPosition at;
    for (int i = 0; i < 200; i++) {
      const buff<float> ring = device.acquire(at);
      differing += ring.count != 65536u && ring.count != 0;
    }
  };
  std::thread a(reader), b(reader);
  a.join();
  b.join();
  stop = true;
  ender.join();
  EXPECT_EQ(differing, 0);
}
