// A transceiver with real devices of the sound library: the test card's.
#include "audio/deviceLists.h"
#include "modes/ssbModDemod.h"
#include "platform/clock.h"
#include "tests/transceiver/chainTesting.h"
#include <functional>
#include <gtest/gtest.h>

namespace larch::test {
namespace {

constexpr int32_t centre = 7'100'000, rate = 48000;
constexpr int heardLength = 4800;

class vtrxSoundTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!useSoundCards()) GTEST_SKIP() << "the sound library has been started without cards";
    outputDevices();
    s = std::make_unique<station>();
    t = s->transceiver;
    const auto ssb = keptByCore(std::make_shared<ssbModDemod>(s->env.group));
    t->vfo.set(centre);
    t->setModulation(ssb);
    t->setRxFilter(300, 2700);
    t->newSpectrum = [](buff<float>* frame, double, double, int32_t) { delete frame; };
    t->start();
  }
  // Chunks of a signal 1000 Hz above the tuned frequency at the pace of the radio until `done`; false after a time that only a
  // broken machine needs.
  bool receiveUntil(const std::function<bool()>& done) {
    constexpr int64_t limit_ns = 60'000'000'000;
    const int64_t start = monotonicNow_ns();
    for (uint64_t sent = 0; !done(); sent += 512) {
      if (monotonicNow_ns() > start + limit_ns) return false;
      s->chunk(mirroredTone(1000, rate, 512, 0.1, at), centre, rate);
      at += 512;
      sleepFor_ns(start + static_cast<int64_t>(sent) * 1'000'000'000 / rate - monotonicNow_ns());
    }
    return true;
  }
  // Part of the bus's last tenth of a second at 1000 Hz, and all of it.
  bool toneIsHeard(double& level) const {
    const auto sound = bus.tap(bus.now() - heardLength - 480, heardLength);
    cdouble sum = 0;
    double power = 0;
    for (size_t i = 0; i < sound.size(); i++) {
      sum += static_cast<double>(sound[i]) * std::polar(1.0, -2 * pi * 1000 / rate * static_cast<double>(i));
      power += static_cast<double>(sound[i]) * static_cast<double>(sound[i]);
    }
    level = 2 * std::abs(sum) / heardLength;
    return level > 0.01 && level * level / 2 > 0.97 * power / heardLength; // at most 3 % of the block is from before
  }

  std::unique_ptr<station> s;
  std::shared_ptr<vtrx> t;
  soundBusControl bus{"a"};
  uint64_t at = 0;
};

TEST_F(vtrxSoundTest, signalOnTheUpperSidebandIsHeardOnTheSystemsCard) {
  EXPECT_GE(t->audioOutput.value, 0) << "the default device";
  ASSERT_TRUE(t->audioOut.isOpen());
  double level = 0;
  ASSERT_TRUE(receiveUntil([&] { return toneIsHeard(level); }));
  EXPECT_NEAR(level, 1 / 1.2, 0.05) << "as the gain control brings it";
  t->muted.set(true);
  EXPECT_FALSE(t->audioOut.isOpen());
  EXPECT_TRUE(receiveUntil([&] { return !toneIsHeard(level); }));
  t->muted.set(false);
  EXPECT_TRUE(receiveUntil([&] { return toneIsHeard(level); }));
  t->stop();
  EXPECT_FALSE(t->audioOut.isOpen());
}

TEST_F(vtrxSoundTest, microphoneIsMeteredAndKeysByVoice) {
  for (size_t i = 0; i < inputDevices().entries.size(); i++)
    if (inputDevices().entries[i]->name == "loop") t->audioInput.set(static_cast<int32_t>(i));
  ASSERT_GT(t->micIn.id(), 0);
  // the card's input hears what the transceiver itself plays
  ASSERT_TRUE(receiveUntil([&] { return t->micLevel.value > 0.5; }));
  EXPECT_LT(t->micLevel.value, 1.0);
  EXPECT_FALSE(t->ptt.value);
  t->VoxHold.set(0.05);
  t->useVox.set(true);
  t->foregroundDisplay.set(true);
  ASSERT_TRUE(receiveUntil([&] { return t->ptt.value; }));
  // keyed, the monitor is silent, so that the voice ends and the key goes up
  ASSERT_TRUE(receiveUntil([&] { return !t->ptt.value; }));
  t->useVox.set(false);
  t->stop();
  EXPECT_EQ(t->micIn.level(), 0.0) << "None has no level";
}

} // namespace
} // namespace larch::test
