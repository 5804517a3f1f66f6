// Voice keying from the microphone to the wire, in real time, with a host that never polls.
#include "audio/deviceLists.h"
#include "modes/ssbModDemod.h"
#include "platform/clock.h"
#include "tests/radio/transmitStation.h"
#include <cmath>

namespace larch::test {
namespace {

// Speaks or is silent on the bus, a little ahead of the time.
struct speaker {
  soundBusControl bus{"a"};
  int64_t fed = bus.now();
  void keepTalking(float level) {
    constexpr int64_t ahead = 9600, block = 480;
    fed = std::max(fed, bus.now());
    std::vector<float> sound(block);
    while (fed < bus.now() + ahead) {
      for (std::size_t i = 0; i < sound.size(); i++)
        sound[i] =
            level * static_cast<float>(std::sin(2 * M_PI * 1000 * static_cast<double>(fed + static_cast<int64_t>(i)) / 48000));
      bus.feed(fed, sound);
      fed += block;
    }
  }
};

TEST(HpsdrRadioVoiceTest, theMicrophoneKeysAndUnkeysTheBoard) {
  if (!useSoundCards()) GTEST_SKIP() << "the sound library has been started without cards";
  transmitStation s;
  const auto v = s.add(7100000, std::make_shared<ssbModDemod>(std::make_shared<syncTask>(s.pool)));
  v->audioOutput.set(-1); // what it hears isn't to be its own sound
  const auto& inputs = inputDevices().entries;
  for (std::size_t i = 0; i < inputs.size(); i++)
    if (inputs[i]->name == "loop") v->audioInput.set(static_cast<int32_t>(i));
  ASSERT_GT(v->micIn.id(), 0);
  v->setTxFilter(300, 2700);
  v->foregroundDisplay.set(true);
  v->useVox.set(true);
  v->VoxHold.set(0.05);
  s.start();
  speaker voice;
  // the radio's stream at its own pace, until so many further datagrams had that key
  const auto run = [&](float level, bool wanted, int datagrams) {
    constexpr int64_t limit_ns = 60'000'000'000;
    const int64_t start = monotonicNow_ns();
    for (int64_t n = 0; datagrams > 0; n++) {
      if (monotonicNow_ns() > start + limit_ns) return false;
      voice.keepTalking(level);
      datagrams -= mox(s.runOne()) == wanted;
      sleepFor_ns(start + n * 126 * 1'000'000'000 / 48000 - monotonicNow_ns());
    }
    return true;
  };
  ASSERT_TRUE(run(0.1f, false, 30)) << "quiet";
  s.board->recordTransmit(true);
  s.board->clearRecords();
  ASSERT_TRUE(run(0.8f, true, 300));
  ASSERT_TRUE(run(0.1f, false, 60));
  const auto report = s.board->report();
  EXPECT_EQ(report.transmit.withoutMox, 0u);
  EXPECT_EQ(report.problems, 0u) << s.board->problems().summary();
  // the tone of the voice is on the air, at 1000 Hz
  std::vector<sim::recordedSample> keyed;
  for (const auto& each : s.board->transmitted())
    if (each.mox) keyed.push_back(each);
  ASSERT_GT(keyed.size(), 300u * 126);
  std::complex<double> upper = 0, lower = 0;
  double power = 0;
  constexpr std::size_t first = 9600, count = 19200;
  for (std::size_t i = first; i < first + count; i++) {
    const std::complex<double> z(keyed[i].sample.i, keyed[i].sample.q);
    const double turn = 2 * M_PI * 1000 * static_cast<double>(i) / 48000;
    upper += z * std::polar(1.0, -turn);
    lower += z * std::polar(1.0, turn);
    power += std::norm(z);
  }
  const double share = std::max(std::norm(upper), std::norm(lower)) / static_cast<double>(count) / power;
  EXPECT_GT(share, 0.5) << "most of the power";
}

} // namespace
} // namespace larch::test
