// The streams on real devices of the sound library: the test card's.
#include "audio/audioInputRef.h"
#include "audio/audioOutputStream.h"
#include "tests/radio/logCapture.h"
#include "tests/support/testSoundCard.h"
#include <algorithm>
#include <atomic>
#include <cmath>
#include <complex>
#include <csignal>
#include <functional>
#include <gtest/gtest.h>
#include <numbers>
#include <thread>

using namespace larch;
using namespace larch::test;

namespace {

constexpr double pi = std::numbers::pi, limit_s = 60;

int32_t outputNamed(const std::string& name) {
  for (const outputDevice& d : outputDevices())
    if (d.name == name) return d.id;
  ADD_FAILURE() << "no output " << name;
  return -1;
}
int32_t inputNamed(const std::string& name) {
  const auto& entries = inputDevices().entries;
  for (size_t i = 0; i < entries.size(); i++)
    if (entries[i]->name == name) return static_cast<int32_t>(i);
  ADD_FAILURE() << "no input " << name;
  return 0;
}

// True as soon as `condition` is; false after a time that only a broken machine needs.
bool waitFor(const std::function<bool()>& condition) {
  const int64_t end = monotonicNow_ns() + static_cast<int64_t>(limit_s * 1e9);
  while (!condition()) {
    if (monotonicNow_ns() > end) return false;
    sleepFor_ns(1'000'000);
  }
  return true;
}

// What a block of 48 kHz sound holds, if it holds one sine and next to nothing else.
struct sine {
  double frequency = 0, level = 0;
};
// A pure block is fitted: frequency by the phase between its halves, level by projection; the rest of its power is the residue.
bool pureSine(const std::vector<float>& block, double near, sine& found) {
  const size_t half = block.size() / 2;
  const auto project = [&](double f, size_t from, size_t n) {
    std::complex<double> sum = 0;
    double weight = 0;
    for (size_t i = 0; i < n; i++) {
      const double w = 0.5 - 0.5 * std::cos(2 * pi * (static_cast<double>(i) + 0.5) / static_cast<double>(n));
      sum += w * block[from + i] * std::polar(1.0, -2 * pi * f * static_cast<double>(from + i) / 48000);
      weight += w;
    }
    return 2.0 * sum / weight;
  };
  double f = near;
  for (int i = 0; i < 3; i++)
    f += std::arg(project(f, half, half) * std::conj(project(f, 0, half))) * 48000 / (2 * pi * static_cast<double>(half));
  const std::complex<double> a = project(f, 0, block.size());
  double rest = 0;
  for (size_t i = 0; i < block.size(); i++)
    rest += std::pow(block[i] - (a * std::polar(1.0, 2 * pi * f * static_cast<double>(i) / 48000)).real(), 2);
  found = {f, std::abs(a)};
  return rest / static_cast<double>(block.size()) < 1e-4 * std::norm(a) / 2;
}

// A transceiver's group at work: a chunk of a sine every 512 samples of real time.
class player {
 public:
  player(audioOutputStream& stream, double frequency, double level)
      : thread_([this, &stream, frequency, level] {
          int64_t sent = 0;
          const int64_t start = monotonicNow_ns();
          while (!stop_) {
            buff<float> chunk(512);
            for (uint64_t i = 0; i < 512; i++)
              chunk.data[i] = static_cast<float>(level * std::sin(2 * pi * frequency * static_cast<double>(sent++) / 48000));
            stream.write(chunk, true);
            sleepFor_ns(start + sent * 1'000'000'000 / 48000 - monotonicNow_ns());
          }
        }) {}
  ~player() {
    stop_ = true;
    thread_.join();
  }

 private:
  std::atomic<bool> stop_{false};
  std::thread thread_;
};

constexpr int blockLength = 4096;

bool heardOnBus(const soundBusControl& bus, double near, sine& found) {
  return waitFor(
      [&] { return pureSine(bus.tap(bus.now() - blockLength - 480, blockLength), near, found) && found.level > 0.01; });
}
bool heardOnInput(audioInputRef& ref, double near, sine& found) {
  std::vector<float> heard;
  const int64_t start = monotonicNow_ns();
  int64_t read = 0;
  return waitFor([&] {
    buff<float> part(512);
    ref.readMicrophone(part);
    read += 512;
    sleepFor_ns(start + read * 1'000'000'000 / 48000 - monotonicNow_ns());
    heard.insert(heard.end(), part.data, part.data + 512);
    if (heard.size() < blockLength) return false;
    heard.erase(heard.begin(), heard.end() - blockLength);
    return pureSine(heard, near, found) && found.level > 0.01;
  });
}

class soundCardTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!useSoundCards()) GTEST_SKIP() << "the sound library has been started without cards";
    outputDevices();
  }
  logCapture log;
  soundBusControl bus{"a"};
};

} // namespace

TEST_F(soundCardTest, soundOfTheWriterIsHeardOnTheLoopback) {
  audioOutputStream out;
  out.openOutput(outputNamed("loop"));
  ASSERT_TRUE(out.isOpen());
  audioInputRef in;
  in.setInput(inputNamed("loop"));
  player p(out, 1000, 0.5);
  sine played, heard;
  ASSERT_TRUE(heardOnBus(bus, 1000, played));
  EXPECT_NEAR(played.frequency, 1000, 4); // the resampler may bend it by 0.3 %
  EXPECT_NEAR(played.level, 0.5, 0.005);
  ASSERT_TRUE(heardOnInput(in, 1000, heard));
  EXPECT_NEAR(heard.frequency, 1000, 4);
  EXPECT_NEAR(heard.level, 0.5, 0.005);
  EXPECT_GT(inputDevices().entries[static_cast<size_t>(in.id())]->peak(), 0.4f);
}

TEST_F(soundCardTest, lowLatencyEntryIsTheSameDeviceWithSmallBuffers) {
  audioOutputStream out;
  out.openOutput(outputNamed("tight"));
  ASSERT_TRUE(out.isOpen());
  ASSERT_NE(bus.period(), 128);
  out.openOutput(outputNamed("tight-L"));
  ASSERT_TRUE(out.isOpen());
  EXPECT_EQ(bus.period(), 128);
  player p(out, 700, 0.25);
  sine played;
  ASSERT_TRUE(heardOnBus(bus, 700, played));
  EXPECT_NEAR(played.level, 0.25, 0.003);
}

TEST_F(soundCardTest, streamComesBackAfterTheCardStoodStill) {
  audioOutputStream out;
  out.openOutput(outputNamed("loop"));
  player p(out, 1000, 0.5);
  sine played;
  ASSERT_TRUE(heardOnBus(bus, 1000, played));
  bus.stall(400);
  ASSERT_TRUE(waitFor([&] { return bus.tap(bus.now() - 480, 1)[0] == 0; }));
  ASSERT_TRUE(heardOnBus(bus, 1000, played));
}

TEST_F(soundCardTest, sidetoneIsHeardWithoutAnyAudio) {
  audioOutputStream out;
  out.toneFrequency = 650;
  out.toneVolume = 0.5f;
  out.openOutput(outputNamed("loop"));
  out.keyB.exchange(true);
  sine played;
  ASSERT_TRUE(heardOnBus(bus, 650, played));
  EXPECT_NEAR(played.frequency, 650, 0.1);
  EXPECT_NEAR(played.level, 0.495, 0.001);
}

TEST_F(soundCardTest, busyOutputIsLoggedAndHarmlessAndALaterOpenSucceeds) {
  audioOutputStream out;
  bus.busy(true);
  out.openOutput(outputNamed("loop"));
  EXPECT_FALSE(out.isOpen());
  EXPECT_EQ(log.times("pa_openstream failed"), 1);
  for (int i = 0; i < 50; i++) out.write(buff<float>(512, 0.1f), true);
  bus.busy(false);
  out.openOutput(outputNamed("loop"));
  EXPECT_TRUE(out.isOpen());
  player p(out, 1000, 0.5);
  sine played;
  EXPECT_TRUE(heardOnBus(bus, 1000, played));
}

TEST_F(soundCardTest, busyInputGivesSilenceAndALaterChoiceSucceeds) {
  const int32_t id = inputNamed("loop");
  const auto& device = *inputDevices().entries[static_cast<size_t>(id)];
  audioInputRef in;
  bus.busy(true);
  in.setInput(id);
  for (int i = 0; i < 20; i++) {
    buff<float> part(126, 9.0f);
    in.readMicrophone(part);
    EXPECT_EQ(*std::max_element(part.data, part.data + 126), 0.0f);
  }
  EXPECT_EQ(log.times("pa_openstream failed " + std::to_string(device.device)), 1); // not again at each read
  bus.busy(false);
  in.setInput(0);
  in.setInput(id);
  audioOutputStream out;
  out.openOutput(outputNamed("loop"));
  player p(out, 1000, 0.5);
  sine heard;
  EXPECT_TRUE(heardOnInput(in, 1000, heard));
}

TEST_F(soundCardTest, readersOfOneDeviceShareAStreamThatEndsWhenBothHaveLeft) {
  const int32_t id = inputNamed("loop");
  const auto& device = *inputDevices().entries[static_cast<size_t>(id)];
  {
    audioInputRef a, b;
    a.setInput(id);
    b.setInput(id);
    EXPECT_EQ(bus.openStreams(), 1);
    a.setInput(0);
    buff<float> part(126);
    sleepFor_ns(50'000'000); // many callbacks
    EXPECT_TRUE(device.running());
    EXPECT_EQ(device.users(), 1);
  }
  EXPECT_TRUE(waitFor([&] { return !device.running(); }));
  audioInputRef c;
  c.setInput(id); // the ended stream is closed and a new one opened
  EXPECT_TRUE(device.running());
  EXPECT_EQ(bus.openStreams(), 1);
  audioOutputStream out;
  out.openOutput(outputNamed("loop"));
  player p(out, 500, 0.5);
  sine heard;
  EXPECT_TRUE(heardOnInput(c, 500, heard));
}

TEST_F(soundCardTest, inputOf44100HzIsHeardAtItsTrueFrequency) {
  audioOutputStream out;
  out.openOutput(outputNamed("loop"));
  audioInputRef in;
  in.setInput(inputNamed("mic44"));
  player p(out, 1000, 0.5);
  sine played, heard;
  ASSERT_TRUE(heardOnInput(in, 1000, heard));
  EXPECT_NEAR(heard.frequency, 1000, 5); // 1088 if its samples were taken for 48000 Hz
  EXPECT_NEAR(heard.level, 0.5, 0.01);
}

TEST_F(soundCardTest, openStreamMayDieOnAnotherThread) {
  auto out = std::make_unique<audioOutputStream>();
  auto in = std::make_unique<audioInputRef>();
  out->openOutput(outputNamed("loop"));
  in->setInput(inputNamed("tight"));
  std::thread([&] {
    out.reset();
    in.reset();
  }).join();
  const auto& device = *inputDevices().entries[static_cast<size_t>(inputNamed("tight"))];
  EXPECT_TRUE(waitFor([&] { return !device.running(); }));
}

TEST_F(soundCardTest, threadsThatOpenAndCloseAtOnceDontMeet) {
  const auto work = [](const std::string& output, const std::string& input) {
    for (int i = 0; i < 8; i++) {
      audioOutputStream out;
      audioInputRef in;
      out.openOutput(outputNamed(output));
      in.setInput(inputNamed(input));
      EXPECT_TRUE(out.isOpen());
      out.openOutput(-1);
      in.setInput(0);
    }
  };
  std::thread a(work, "loop", "loop"), b(work, "tight", "loop"), c(work, "fast", "tight");
  a.join();
  b.join();
  c.join();
}

namespace {

// A process with open streams in both directions, and the sound of one transceiver under way.
struct busyStation {
  audioOutputStream* out = new audioOutputStream; // held by nobody when the process ends
  audioInputRef* in = new audioInputRef;
  player* p = nullptr;

  busyStation() {
    outputDevices();
    out->openOutput(outputNamed("tight"));
    in->setInput(inputNamed("tight"));
    p = new player(*out, 1000, 0.5);
    sleepFor_ns(50'000'000);
  }
};

} // namespace

TEST(soundCardDeathTest, processEndsCleanlyWithOpenStreams) {
  testing::FLAGS_gtest_death_test_style = "threadsafe"; // a new process for each
  if (!useSoundCards()) GTEST_SKIP() << "the sound library has been started without cards";
  for (int i = 0; i < 5; i++) {
    EXPECT_EXIT(
        {
          static busyStation* station = new busyStation;
          std::exit(station->out->isOpen() ? 0 : 3);
        },
        testing::ExitedWithCode(0), "");
    EXPECT_EXIT(
        {
          static busyStation* station = new busyStation;
          raise(station->out->isOpen() ? SIGTERM : SIGKILL);
        },
        testing::KilledBySignal(SIGTERM), "");
  }
}
