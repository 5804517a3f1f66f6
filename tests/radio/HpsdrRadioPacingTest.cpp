#include "tests/radio/hpsdrBench.h"
#include <random>

using namespace larch;
using namespace larch::test;

namespace {

// Whether a multiple of the period lies in the samples of this datagram, the first excluded, one past the last included.
bool due(uint64_t sequence, uint64_t samples, uint64_t period) { return sequence * samples % period + samples >= period; }

int drain(hpsdrBench& b) {
  int n = 0;
  for (; b.radio->sendRing.front(); b.radio->sendRing.pop()) n++;
  return n;
}

} // namespace

TEST(HpsdrRadioPacingTest, sentDatagramsFollowTheIntegerRuleOnTheReceivedNumbers) {
  const std::pair<int, int32_t> cases[] = {{1, 48000}, {1, 384000}, {2, 96000}, {3, 192000}, {4, 48000}, {8, 384000}};
  for (const auto& [receivers, rate] : cases) {
    std::mt19937 random(static_cast<unsigned>(receivers * rate));
    hpsdrBench b;
    b.radio->maxAdcValue.set(0); // samples don't matter here
    b.radio->SampleRate.set(rate);
    for (int i = 1; i < receivers; i++) b.addReceiver(7000000);
    const uint64_t samples = 2 * static_cast<uint64_t>(504 / (6 * receivers + 2)),
                   period = static_cast<uint64_t>(rate) * 126 / 48000;
    bytes d = received(6, 0);
    uint64_t sequence = 0, total = 0, expected = 0;
    for (int i = 0; i < 100000; i++) {
      for (std::size_t j = 0; j < 4; j++) d[4 + j] = static_cast<uint8_t>(sequence >> (24 - 8 * j));
      b.radio->handleDatagram(d.data(), 0);
      const int sent = drain(b);
      ASSERT_EQ(sent, due(sequence, samples, period)) << receivers << " " << rate << " " << sequence;
      total += static_cast<uint64_t>(sent);
      expected += due(sequence, samples, period);
      sequence += random() % 50 == 0 ? 1 + random() % 9 : 1; // some are lost
    }
    EXPECT_EQ(total, expected);
    EXPECT_EQ(b.radio->txSequence, expected);
  }
}

TEST(HpsdrRadioPacingTest, withoutLossesEachPeriodPaysForOneDatagram) {
  hpsdrBench b;
  b.radio->maxAdcValue.set(0);
  b.radio->SampleRate.set(192000);
  b.addReceiver(7000000);
  int total = 0;
  constexpr uint32_t datagrams = 70000; // of 72 samples each; the period is 504
  for (uint32_t s = 0; s < datagrams; s++) {
    b.radio->handleDatagram(received(6, s).data(), 0);
    total += drain(b);
  }
  EXPECT_EQ(total, datagrams * 72 / 504);
}

TEST(HpsdrRadioPacingTest, theNumberKeepsItsPhaseUpToItsEnd) {
  hpsdrBench b;
  b.radio->maxAdcValue.set(0);
  b.radio->SampleRate.set(384000);
  b.addReceiver(7000000);
  b.addReceiver(7000000);
  for (uint64_t s = 0xffffff00; s <= 0xffffffff; s++) {
    b.radio->handleDatagram(received(6, static_cast<uint32_t>(s)).data(), 0);
    ASSERT_EQ(drain(b), due(s, 50, 1008)) << s;
  }
}

TEST(HpsdrRadioPacingTest, aKeyedTransmitterIsAskedForSamplesInstead) {
  hpsdrBench b;
  const auto v = b.transmitter(7100000);
  v->radio = b.radio;
  v->drive.set(255);
  b.radio->ptt.write(true);
  b.radio->handleDatagram(received(6, 0).data(), 0);
  EXPECT_EQ(drain(b), 0);
  runAll(); // modulate on the transceiver's group, then transmit on the radio's
  const auto sent = b.sent();
  ASSERT_EQ(sent.size(), 1u);
  EXPECT_TRUE(sent[0].frame[0].mox());
  b.radio->transmitter.reset();
  b.keyed.reset();
  b.radio->handleDatagram(received(6, 1).data(), 0);
  EXPECT_EQ(drain(b), 1) << "without a transmitter silence goes out";
}
