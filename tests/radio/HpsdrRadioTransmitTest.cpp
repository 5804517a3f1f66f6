// What happens around an over: stop and start, losses, several transceivers, overs that end by themselves.
#include "modes/PskModDemod.h"
#include "modes/cwModDemod.h"
#include "tests/radio/transmitStation.h"
#include <cmath>

namespace larch::test {
namespace {

constexpr int fallGroups = 9; // 512 samples of fall and 504 of silence in groups of 126

std::vector<int> realPart(const std::vector<sentDatagram>& all) {
  std::vector<int> words;
  for (const auto& d : all)
    for (const auto& f : d.frame)
      for (const auto& s : f.samples) words.push_back(-s[3]);
  return words;
}

std::size_t keyedDatagrams(const std::vector<sentDatagram>& all) {
  return static_cast<std::size_t>(std::ranges::count_if(all, [](const auto& d) { return mox(d); }));
}

TEST(HpsdrRadioTransmitTest, theBoardHearsAWholeOver) {
  transmitStation s;
  s.board->recordTransmit(true);
  const auto v = s.add(7100000, std::make_shared<steadyMode>(true, std::complex(0.6, -0.8)));
  s.start();
  s.run(10);
  s.board->clearRecords();
  s.key(v, true);
  s.run(100);
  s.key(v, false);
  s.run(100);
  const auto report = s.board->report();
  EXPECT_EQ(report.problems, 0u) << s.board->problems().summary();
  EXPECT_EQ(report.transmit.moxFrames, 2u * (100 + fallGroups));
  EXPECT_EQ(report.transmit.withoutMox, 0u);
  EXPECT_NEAR(report.transmit.peak, 32766.0 / 32767, 1e-4);
  EXPECT_EQ(report.settings.txFrequency_Hz, 7100000u);
  EXPECT_FALSE(report.settings.mox);
  const auto heard = s.board->transmitted();
  ASSERT_EQ(heard.size(), 200u * 126);
  EXPECT_EQ(heard[60 * 126].sample, (sim::txSample{0, 0, -26213, -19660}));
}

// required: the key stays as it was; the registers sent ahead of the stream carry it, with silence
TEST(HpsdrRadioTransmitTest, stopAndStartWhileKeyedGoOnKeyed) {
  transmitStation s;
  const auto v = s.add(7100000, std::make_shared<steadyMode>(false));
  s.start();
  s.key(v, true);
  s.run(30);
  const int controls = s.controls;
  s.sent.clear();
  s.stop();
  EXPECT_EQ(s.controls, controls + 1) << "one stop, no data behind it";
  EXPECT_TRUE(s.sent.empty());
  EXPECT_TRUE(s.board->report().settings.mox) << "nobody has told the board to unkey";
  EXPECT_EQ(s.board->emit(1), 0u);
  s.restart();
  ASSERT_EQ(s.sent.size(), 10u);
  for (std::size_t i = 0; i < 10; i++) {
    EXPECT_EQ(s.sent[i].sequence, i);
    EXPECT_TRUE(mox(s.sent[i]) && isSilent(s.sent[i])) << i;
    EXPECT_EQ(s.sent[i].frame[0].index(), static_cast<int>(2 * (i % 5)));
  }
  const auto on = s.run(5);
  EXPECT_EQ(moxRun(on), 5u);
  EXPECT_EQ(on[0].frame[0].samples[0][3], -32766) << "at the level at which it was, without a rise";
  s.key(v, false);
  EXPECT_EQ(moxRun(s.run(100)), static_cast<std::size_t>(fallGroups));
  EXPECT_EQ(s.board->report().problems, 0u) << s.board->problems().summary();
}

TEST(HpsdrRadioTransmitTest, aKeyThatGoesUpWhileStoppedFallsAfterTheStart) {
  transmitStation s;
  const auto v = s.add(7100000, std::make_shared<steadyMode>(false));
  s.start();
  s.key(v, true);
  s.run(30);
  s.stop();
  s.key(v, false);
  EXPECT_TRUE(s.radio->ptt.value) << "no stream, nothing pulls the fall";
  s.sent.clear();
  s.restart();
  EXPECT_EQ(moxRun(s.sent), 10u);
  const auto fall = s.run(100);
  EXPECT_EQ(moxRun(fall), static_cast<std::size_t>(fallGroups));
  EXPECT_EQ(fall[0].frame[0].samples[0][3], -32766);
  EXPECT_TRUE(isSilent(fall[5]));
}

TEST(HpsdrRadioTransmitTest, aKeyedTransceiverThatIsRemovedWhileStoppedLeavesTheRadioUnkeyed) {
  transmitStation s;
  const auto v = s.add(7100000, std::make_shared<steadyMode>(false));
  const auto other = s.add(7000000, std::make_shared<steadyMode>(false));
  s.start();
  s.key(v, true);
  s.run(30);
  s.stop();
  v->remove();
  s.settle();
  s.sent.clear();
  s.restart();
  s.run(10);
  EXPECT_EQ(keyedDatagrams(s.sent), 0u);
}

// What is lost on the way to the host delays the over by as much; not a sample of it is missing.
TEST(HpsdrRadioTransmitTest, lossesOnTheWayInLeaveNoGapInTheSamples) {
  transmitStation s;
  const auto v = s.add(7100000, std::make_shared<steadyMode>(true));
  s.start();
  sim::faultPlan faults;
  faults.lose = 0.2;
  faults.seed = 3;
  s.board->setFaults(faults);
  s.key(v, true);
  s.sent.clear();
  s.run(50);
  s.key(v, false);
  s.run(100);
  EXPECT_GT(s.board->report().faults.lost, 10u);
  EXPECT_GT(s.radio->ep6SeqErrors.value, 10);
  EXPECT_EQ(s.board->report().problems, 0u) << "our own numbers have no gap";
  const auto level = realPart(s.sent);
  const std::size_t keyed = moxRun(s.sent);
  for (std::size_t i = 0; i < 768; i++) ASSERT_EQ(level[i], 0);
  for (int i = 0; i <= 512; i++)
    ASSERT_EQ(level[768 + static_cast<std::size_t>(i)], std::lround(32766 * (0.5 * std::cos(3.1415927 * (512 - i) / 512) + 0.5)));
  for (std::size_t i = 1281; i < (keyed - fallGroups) * 126; i++) ASSERT_EQ(level[i], 32766) << i;
  for (std::size_t i = 0; i < 512; i++)
    ASSERT_EQ(level[(keyed - fallGroups) * 126 + i],
              std::lround(32766 * (0.5 * std::cos(3.1415927 * static_cast<double>(i) / 512) + 0.5)));
  EXPECT_EQ(keyedDatagrams(s.sent), keyed);
}

// What is lost on the way out is gone, and the board sees the gap; the next datagram carries the same key.
TEST(HpsdrRadioTransmitTest, lossesOnTheWayOutDontHoldTheKey) {
  transmitStation s;
  const auto v = s.add(7100000, std::make_shared<steadyMode>(true));
  s.start();
  s.run(5);
  s.board->recordArrivals(true);
  s.loseOnTheWay = 1;
  s.key(v, true);
  s.run(1);
  EXPECT_FALSE(s.board->report().settings.mox) << "the first one of the over got lost";
  s.run(1);
  EXPECT_TRUE(s.board->report().settings.mox);
  s.run(30);
  s.key(v, false);
  s.run(fallGroups - 1);
  s.loseOnTheWay = 3;
  s.run(4);
  EXPECT_FALSE(s.board->report().settings.mox);
  s.run(60);
  EXPECT_EQ(s.board->problems().count(sim::problem::sequenceBreak), 2u);
  EXPECT_EQ(s.board->report().problems, 2u);
}

TEST(HpsdrRadioTransmitTest, aSecondTransceiverTakesOverInMidOver) {
  transmitStation s;
  const auto first = std::make_shared<steadyMode>(false), second = std::make_shared<steadyMode>(true, std::complex(0.0, 0.5));
  const auto a = s.add(7100000, first), b = s.add(7150000, second);
  b->drive.set(100);
  b->TxOffset.set(300);
  s.start();
  s.run(30);
  s.key(a, true);
  s.run(60);
  s.key(b, true);
  const int calls = first->calls;
  const auto over = s.run(60);
  EXPECT_EQ(first->calls, calls) << "who has lost the role is asked no more";
  EXPECT_EQ(moxRun(over), 60u) << "the key stays down";
  EXPECT_NE(over[0].frame[1].index(), 10) << "for the radio's key there is no edge";
  for (std::size_t i = 0; i < 6; i++) EXPECT_TRUE(isSilent(over[i])) << "its own silence";
  EXPECT_EQ(over[20].frame[0].samples[0], (std::array<int, 4>{0, 0, 16383, 0}));
  const auto report = s.board->report().settings;
  EXPECT_EQ(report.txFrequency_Hz, 7150300u);
  EXPECT_EQ(report.drive, 100);
  s.key(a, false);
  EXPECT_EQ(moxRun(s.run(30)), 30u) << "a fall that nobody pulls doesn't end the other's over";
  s.key(b, false);
  EXPECT_EQ(moxRun(s.run(60)), static_cast<std::size_t>(fallGroups));
  s.key(a, true);
  const auto again = s.run(30);
  EXPECT_EQ(moxRun(again), 30u);
  EXPECT_EQ(again[10].frame[0].samples[0][3], -32766);
  s.key(a, false);
  s.run(60);
  EXPECT_EQ(s.board->report().problems, 0u) << s.board->problems().summary();
  EXPECT_EQ(s.board->report().transmit.withoutMox, 0u);
}

// required: whoever drops it unkeys the radio, whosever over it is
TEST(HpsdrRadioTransmitTest, anyTransceiverThatDropsItUnkeysTheRadio) {
  transmitStation s;
  const auto mode = std::make_shared<steadyMode>(false);
  const auto a = s.add(7100000, mode), b = s.add(7150000);
  s.start();
  s.key(b, true);
  s.key(a, true);
  s.run(30);
  s.key(b, false); // without a mode: at once
  const auto after = s.run(10);
  EXPECT_EQ(keyedDatagrams(after), 0u);
  EXPECT_TRUE(isSilent(after[0]));
  EXPECT_TRUE(a->ptt.value) << "nobody has told it";
  const int calls = mode->calls;
  s.run(10);
  EXPECT_EQ(mode->calls, calls);
  EXPECT_EQ(s.radio->transmitter.lock(), a) << "its frequency and drive stay in force";
  s.key(a, false);
  s.key(a, true);
  EXPECT_EQ(moxRun(s.run(10)), 10u);
}

// A group that was asked for before the radio was unkeyed by another goes out as it is, without MOX: the board doesn't send it.
TEST(HpsdrRadioTransmitTest, aGroupOnItsWayGoesOutWithoutTheKey) {
  for (bool removal : {true, false}) {
    transmitStation s;
    const auto mode = std::make_shared<steadyMode>(false);
    const auto a = s.add(7100000, mode), b = s.add(7150000);
    s.start();
    s.key(b, true);
    s.key(a, true);
    s.run(30);
    s.sent.clear();
    s.emit(1);
    while (mode->calls == 0 || s.sent.empty()) {
      const int calls = mode->calls;
      ASSERT_TRUE(s.turn());
      if (mode->calls == calls) continue;
      removal ? s.radio->removeVtrx(a) : (b->ptt.set(false), s.radio->setPtt(b));
      break;
    }
    s.settle();
    ASSERT_EQ(s.sent.size(), 1u);
    EXPECT_FALSE(mox(s.sent[0]));
    EXPECT_FALSE(isSilent(s.sent[0]));
    for (const auto& d : s.run(5)) EXPECT_TRUE(!mox(d) && isSilent(d));
    EXPECT_EQ(s.board->report().transmit.withoutMox, 126u);
  }
}

// The host's last resort: the radio's own ptt, with the next datagram and whatever the transceiver does.
TEST(HpsdrRadioTransmitTest, theHostUnkeysTheRadioItself) {
  transmitStation s;
  const auto mode = std::make_shared<steadyMode>(false);
  const auto v = s.add(7100000, mode);
  s.start();
  s.key(v, true);
  s.run(30);
  s.radio->ptt.set(false);
  const int calls = mode->calls;
  for (const auto& d : s.run(70)) EXPECT_TRUE(!mox(d) && isSilent(d));
  EXPECT_EQ(mode->calls, calls);
  EXPECT_TRUE(v->ptt.value);
  s.key(v, false);
  EXPECT_EQ(keyedDatagrams(s.run(30)), 0u);
  s.key(v, true);
  EXPECT_EQ(moxRun(s.run(30)), 30u);
}

// The stream has to stop for a further receiver; the over goes on behind it.
TEST(HpsdrRadioTransmitTest, aReceiverThatIsAddedInMidOver) {
  transmitStation s;
  s.radio->maxHwReceivers.set(2);
  const auto v = s.add(7100000, std::make_shared<steadyMode>(false));
  s.start();
  s.key(v, true);
  s.run(30);
  s.sent.clear();
  const int controls = s.controls;
  s.add(14100000);
  ASSERT_EQ(s.radio->hwReceivers.size(), 2u);
  EXPECT_EQ(s.controls, controls + 2) << "stop and start";
  ASSERT_EQ(s.sent.size(), 10u);
  for (const auto& d : s.sent) EXPECT_TRUE(mox(d) && isSilent(d));
  EXPECT_EQ(s.sent[0].frame[0].c[3], 1 << 3 | 4);
  const auto on = s.run(70); // 72 samples each: four datagrams to seven
  EXPECT_EQ(on.size(), 40u);
  EXPECT_EQ(moxRun(on), 40u);
  EXPECT_EQ(on[0].frame[0].samples[0][3], -32766);
  s.key(v, false);
  EXPECT_EQ(moxRun(s.run(70)), static_cast<std::size_t>(fallGroups));
  EXPECT_EQ(s.board->report().problems, 0u) << s.board->problems().summary();
  EXPECT_EQ(s.board->report().transmit.withoutMox, 0u);
}

TEST(HpsdrRadioTransmitTest, removalOfTheKeyedTransceiverUnkeysAtOnce) {
  for (bool byHost : {true, false}) {
    transmitStation s;
    const auto a = s.add(7100000, std::make_shared<steadyMode>(false)), b = s.add(7150000, std::make_shared<steadyMode>(false));
    s.start();
    s.key(a, true);
    s.run(30);
    byHost ? s.radio->removeVtrx(a) : a->remove();
    s.settle();
    EXPECT_TRUE(s.radio->transmitter.expired());
    EXPECT_EQ(keyedDatagrams(s.run(60)), 0u);
    a->ptt.set(false);
    a->ptt.set(true);
    s.settle();
    EXPECT_EQ(keyedDatagrams(s.run(10)), 0u) << "who has been removed keys nothing";
    s.key(b, true);
    EXPECT_EQ(moxRun(s.run(10)), 10u);
    EXPECT_EQ(s.board->report().transmit.withoutMox, 0u);
  }
}

TEST(HpsdrRadioTransmitTest, removalOfOneThatLostTheRoleLeavesTheOverAlone) {
  transmitStation s;
  const auto a = s.add(7100000, std::make_shared<steadyMode>(false)), b = s.add(7150000, std::make_shared<steadyMode>(false));
  s.start();
  s.key(a, true);
  s.run(10);
  s.key(b, true);
  s.radio->removeVtrx(a);
  s.settle();
  EXPECT_EQ(moxRun(s.run(30)), 30u);
  s.key(b, false);
  EXPECT_EQ(moxRun(s.run(30)), static_cast<std::size_t>(fallGroups));
}

// ---- overs that end by themselves, with a host that never polls

TEST(HpsdrRadioTransmitTest, voiceKeyingEndsWithoutPolls) {
  transmitStation s;
  const auto v = s.add(7100000, std::make_shared<steadyMode>(true));
  v->VoxHold.set(0.1);
  v->foregroundDisplay.set(true);
  v->useVox.set(true);
  int told = 0;
  static int* counter = nullptr;
  counter = &told;
  v->ptt.bind(v.get(), [](bool) { ++*counter; });
  s.start();
  EXPECT_EQ(keyedDatagrams(s.run(30)), 0u);
  v->VoxThreshold.set(-1); // silence counts as loud
  s.run(4);                // a chunk is four datagrams
  EXPECT_TRUE(v->ptt.value);
  EXPECT_EQ(moxRun(s.run(30)), 30u);
  v->VoxThreshold.set(0.4);
  const auto end = s.run(100);
  // the hold counts in chunks of 512 samples: ten of them reach 0.1 s; up to four datagrams until the first one
  const std::size_t keyed = moxRun(end);
  EXPECT_GE(keyed, 10u * 512 / 126 + fallGroups - 4);
  EXPECT_LE(keyed, 10u * 512 / 126 + fallGroups + 4);
  EXPECT_FALSE(v->ptt.value);
  EXPECT_EQ(told, 0) << "the host hasn't polled";
  s.pool->getUpdates();
  EXPECT_EQ(told, 2);
}

TEST(HpsdrRadioTransmitTest, voiceKeyingAndTheHostWorkOnTheSameKey) {
  transmitStation s;
  const auto v = s.add(7100000, std::make_shared<steadyMode>(true));
  v->foregroundDisplay.set(true);
  v->useVox.set(true);
  s.start();
  s.run(8);
  s.key(v, true);
  EXPECT_LE(moxRun(s.run(60)), static_cast<std::size_t>(fallGroups + 4)) << "quiet: it falls in the next chunk";
  v->VoxThreshold.set(-1);
  s.run(8);
  EXPECT_TRUE(v->ptt.value);
  s.key(v, false);
  s.run(4);
  EXPECT_TRUE(v->ptt.value) << "loud: it rises in the next chunk";
  v->VoxThreshold.set(0.4);
  v->useVox.set(false);
  EXPECT_EQ(moxRun(s.run(400)), 400u) << "switched off, it leaves the key as it is";
}

TEST(HpsdrRadioTransmitTest, voiceKeyingEndsBehindAStop) {
  transmitStation s;
  const auto v = s.add(7100000, std::make_shared<steadyMode>(true));
  v->foregroundDisplay.set(true);
  v->useVox.set(true);
  v->VoxThreshold.set(-1);
  v->VoxHold.set(0.02);
  s.start();
  s.run(30);
  EXPECT_TRUE(v->ptt.value);
  s.stop();
  v->VoxThreshold.set(0.4);
  s.settle();
  EXPECT_TRUE(v->ptt.value) << "time stands still";
  s.restart();
  EXPECT_LE(moxRun(s.run(60)), 2u * 512 / 126 + fallGroups + 4);
  EXPECT_FALSE(s.board->report().settings.mox);
}

TEST(HpsdrRadioTransmitTest, voiceKeyingEndsWithTheHostsQueueFull) {
  transmitStation s;
  const auto v = s.add(7100000, std::make_shared<steadyMode>(true));
  v->ptt.bind(v.get(), [](bool) {});
  v->VoxThreshold.set(-1);
  v->foregroundDisplay.set(true);
  v->useVox.set(true);
  s.start();
  while (s.pool->queueUpdate(asTask([] {}, nullptr))) {
  }
  EXPECT_GT(moxRun(s.run(40), 5), 30u);
  v->VoxThreshold.set(0.4);
  s.run(400);
  EXPECT_FALSE(s.radio->ptt.value);
  EXPECT_FALSE(s.board->report().settings.mox);
}

TEST(HpsdrRadioTransmitTest, telegraphyEndsWithoutPolls) {
  transmitStation s;
  const auto cw = std::make_shared<cwModDemod>(std::make_shared<syncTask>(s.pool));
  const auto v = s.add(7100000, cw);
  s.start();
  s.run(20);
  cw->keyDown();
  s.settle();
  EXPECT_TRUE(v->ptt.value);
  const auto down = s.run(60);
  EXPECT_EQ(moxRun(down), 60u);
  EXPECT_EQ(down[59].frame[0].samples[0][3], -std::lround(0.99 * 32766));
  cw->keyUp();
  s.settle();
  auto up = s.run(400);
  // the key's edge, the four blanks that a new text keyer begins with, 201 ms of idle keying, and then the fall
  EXPECT_NEAR(static_cast<double>(moxRun(up)), (256 + 4 * 57600 / 20 + 201 * 48) / 126.0 + fallGroups, 1);
  EXPECT_EQ(keyedDatagrams(up), moxRun(up));
  cw->queueText("ee~", 0);
  s.settle();
  EXPECT_FALSE(v->ptt.value) << "text alone doesn't key";
  s.key(v, true);
  up = s.run(800);
  EXPECT_GT(moxRun(up), 40u);
  EXPECT_LT(moxRun(up), 500u);
  EXPECT_FALSE(isSilent(up[10]));
  EXPECT_EQ(keyedDatagrams(up), moxRun(up));
  EXPECT_FALSE(v->ptt.value);
  EXPECT_FALSE(s.board->report().settings.mox);
  EXPECT_EQ(s.board->report().transmit.withoutMox, 0u);
}

// PSK adds two seconds of carrier to the end of its text.
TEST(HpsdrRadioTransmitTest, pskTextEndsWithoutPolls) {
  transmitStation s;
  const auto psk = std::make_shared<PskModDemod>(std::make_shared<syncTask>(s.pool));
  const auto v = s.add(7100000, psk);
  s.start();
  psk->queueText("e~", 0);
  s.key(v, true);
  int keyed = 0;
  while (v->ptt.value && keyed < 2000) keyed += mox(s.runOne());
  EXPECT_GT(keyed, 48000 / 126) << "a second of idle and the text";
  EXPECT_LT(keyed, 2000);
  const auto tail = s.run(1000);
  EXPECT_EQ(moxRun(tail), (96000u + 504 + 125) / 126 - 1) << "the group in which the key went up was the first of them";
  EXPECT_EQ(keyedDatagrams(tail), moxRun(tail));
  EXPECT_EQ(s.board->report().transmit.withoutMox, 0u);
  EXPECT_LE(s.board->report().transmit.peak, 1.0);
}

} // namespace
} // namespace larch::test
