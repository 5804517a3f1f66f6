#include "tests/radio/hpsdrBench.h"
#include "tests/radio/logCapture.h"
#include <cmath>

using namespace larch;
using namespace larch::test;

namespace {

using four = std::array<int, 4>;

four bytesOf(uint32_t word) {
  return {static_cast<int>(word >> 24), static_cast<int>(word >> 16 & 255), static_cast<int>(word >> 8 & 255),
          static_cast<int>(word & 255)};
}
// round half away from zero, then the alias below half the clock, for the clock of 73.728 MHz
uint32_t alias(double frequency) {
  const auto f = static_cast<int64_t>(std::floor(frequency + 0.5));
  constexpr int64_t clock = 73728000;
  const int64_t inClock = f % clock;
  return static_cast<uint32_t>(inClock < clock / 2 ? inClock : clock - inClock);
}
cbuff constantBlock(std::complex<double> value) { return cbuff(126, value); }

} // namespace

TEST(HpsdrRadioCommandsTest, registersGoRoundTwoADatagram) {
  hpsdrBench b;
  for (int round = 0; round < 3; round++)
    for (int i = 0; i < 23; i++) {
      const auto d = b.sendOne();
      ASSERT_EQ(d.frame[0].index(), 2 * i);
      ASSERT_EQ(d.frame[1].index(), 2 * i + 1);
      ASSERT_EQ(d.sequence, static_cast<uint32_t>(23 * round + i));
    }
}

// Every byte of every register over 23 datagrams, from values that differ wherever they can.
TEST(HpsdrRadioCommandsTest, eachRegisterHasItsBytes) {
  hpsdrBench b;
  auto& r = *b.radio;
  r.SampleRate.set(192000);
  r.rxGain.set(30);
  r.txGain.set(-3);
  r.frequencyCalibration.set(1.000002);
  r.cwInternal.set(true);
  r.cwHangTime.set(355);
  r.RXAntenna.set(true);
  r.TypeID.set(7);
  r.disableTR.set(true);
  const int32_t tuned[] = {7050000, 14200000, 40000000, 50313000, 1840000, 3573000, 10136000, 18100000, 21074000};
  for (std::size_t i = 1; i < 9; i++) b.addReceiver(tuned[i], static_cast<int32_t>(i % 4));
  const auto v = b.transmitter(21285000);
  v->TxOffset.set(-1500);
  v->drive.set(201);
  v->tune.set(true);
  r.initialise();
  r.hwReceivers[0].frequency = 7050000;
  r.J16Set.items[3]->rx.set(0x55);

  std::map<int, four> expected;
  for (int i = 0; i < 46; i++) expected[i] = {};
  expected[0] = {2, 0x55 << 1, 0x20 | 0x08 * 0, 8 << 3 | 4}; // 30 dB: 63 - 12 - 30 = 21, the amplifier stays off
  expected[1] = bytesOf(alias((21285000 - 1500) * 1.000002));
  for (int i = 0; i < 32; i++) {
    const double frequency = i < 9 ? tuned[i] : 10000000;
    expected[i < 7 ? 2 + i : 11 + i] = bytesOf(alias(frequency * 1.000002));
  }
  expected[9] = {201, 4 | 16, 0, 0};
  expected[10] = {0, 0, 0, 21 + 0x20};
  expected[14] = {0 | 1 << 2 | 2 << 4 | 3 << 6, 0 | 1 << 2 | 2 << 4 | 3 << 6, 0, 0};
  expected[15] = {1, 0, 0, 0};
  expected[16] = {355 / 4, 355 % 4, 0, 0};
  const auto round = b.round();
  ASSERT_EQ(round.size(), 46u);
  for (const auto& [index, frame] : round) {
    EXPECT_EQ(frame.c, expected[index]) << "register " << index;
    EXPECT_FALSE(frame.mox());
  }
}

TEST(HpsdrRadioCommandsTest, receiversBeyondTheThirtySecondHaveNoRegister) {
  hpsdrBench b;
  for (int i = 1; i < 40; i++) b.addReceiver(1000000 + i);
  const auto round = b.round();
  EXPECT_EQ(round.at(42).word(), 1000031u);
  for (int index : {11, 12, 13, 17, 43, 44, 45}) EXPECT_EQ(round.at(index).word(), 0u) << index;
  EXPECT_EQ(round.at(0).c[3], (39 << 3 | 4) & 255);
}

TEST(HpsdrRadioCommandsTest, aTuningJumpSendsTheFrequenciesAtOnce) {
  hpsdrBench b;
  for (int i = 0; i < 7; i++) b.sendOne();
  b.radio->hwReceivers[0].frequency = 10120000;
  b.radio->frequenciesChanged();
  const auto d = b.sendOne();
  EXPECT_EQ(d.frame[0].index(), 2);
  EXPECT_EQ(d.frame[0].word(), 10120000u);
  EXPECT_EQ(d.frame[1].index(), 3);
  EXPECT_EQ(b.sendOne().frame[0].index(), 4) << "and the rotation goes on from there";
}

TEST(HpsdrRadioCommandsTest, aRateChangeReachesRegisterZeroTheReceiversAndTheLimit) {
  hpsdrBench b;
  b.addReceiver(7000000);
  EXPECT_EQ(b.radio->dequeueLimit.load(), 2);
  const std::pair<int32_t, int> codes[] = {{48000, 0}, {96000, 1}, {192000, 2}, {384000, 3}, {768000, 0}};
  for (const auto& [rate, code] : codes) {
    b.radio->SampleRate.set(rate);
    EXPECT_EQ(b.round().at(0).c[0], code) << rate;
    for (const auto& hw : b.radio->hwReceivers) EXPECT_EQ(hw.sampleRate, rate);
    EXPECT_EQ(b.radio->dequeueLimit.load(), 2 * rate / 48000);
  }
}

TEST(HpsdrRadioCommandsTest, anAddedReceiverStartsTheRotationAnew) {
  hpsdrBench b;
  b.radio->SampleRate.set(96000);
  for (int i = 0; i < 5; i++) b.sendOne();
  b.radio->addHwReceiver(3600000);
  const auto& added = b.radio->hwReceivers.back();
  EXPECT_EQ(added.frequency, 3600000);
  EXPECT_EQ(added.sampleRate, 96000);
  EXPECT_EQ(added.chunk.count, 512u);
  EXPECT_EQ(added.fillPosition, 0u);
  EXPECT_EQ(added.adc, 0);
  EXPECT_EQ(b.radio->dequeueLimit.load(), 4);
  const auto d = b.sendOne();
  EXPECT_EQ(d.frame[0].index(), 0);
  EXPECT_EQ(d.frame[0].c[3], 1 << 3 | 4);
  EXPECT_EQ(b.round().at(3).word(), 3600000u);
}

TEST(HpsdrRadioCommandsTest, theFirstReceiverAndTheDefaultTransmitFrequency) {
  hpsdrBench b;
  ASSERT_EQ(b.radio->hwReceivers.size(), 1u);
  const auto& hw = b.radio->hwReceivers[0];
  EXPECT_TRUE(hw.frequency == 14095600 && hw.sampleRate == 48000 && hw.adc == 0 && hw.chunk.count == 512);
  const auto round = b.round();
  EXPECT_EQ(round.at(1).word(), 14095600u);
  EXPECT_EQ(round.at(2).word(), 14095600u);
  EXPECT_EQ(round.at(3).word(), 10000000u);
  EXPECT_EQ(b.radio->wideband.count, 2048u);
  EXPECT_EQ(b.radio->widebandFill.count, 2048u);
  EXPECT_TRUE(b.radio->canTransmit.value && b.radio->canTransmit.hasValue);
  EXPECT_TRUE(b.radio->FilterSet.value && b.radio->FilterSet.hasValue);
}

TEST(HpsdrRadioCommandsTest, theTransmitFrequencyIsTakenWhenItsRegisterComesBy) {
  hpsdrBench b;
  b.radio->TransceiverOffset.set(1000000);
  const auto v = b.transmitter(7100000);
  v->TxOffset.set(250);
  b.radio->registerIndex = 2;
  b.sendOne();
  EXPECT_EQ(b.radio->txFrequency, 14095600);
  EXPECT_EQ(b.round().at(1).word(), 6100250u);
  v->vfo.set(500000);
  EXPECT_EQ(b.round().at(1).word(), 250u) << "below the offset: 0 and the transmit offset";
  b.radio->transmitter.reset();
  b.keyed.reset();
  EXPECT_EQ(b.round().at(1).word(), 250u) << "without a transmitter the stored one stands";
}

TEST(HpsdrRadioCommandsTest, driveIsTheTransmittersOrTheRadios) {
  hpsdrBench b;
  b.radio->drive.set(99);
  EXPECT_EQ(b.round().at(9).c[0], 99);
  const auto v = b.transmitter();
  v->drive.set(150);
  EXPECT_EQ(b.round().at(9).c[0], 150);
  v->drive.set(100000);
  EXPECT_EQ(b.round().at(9).c[0], 255);
  v->drive.set(-5);
  EXPECT_EQ(b.round().at(9).c[0], 0);
}

TEST(HpsdrRadioCommandsTest, gainCodesOfTheThreeForms) {
  hpsdrBench b;
  auto& r = *b.radio;
  struct {
    int32_t gain;
    int code, lna;
  } const first[] = {{-12, 31, 1}, {24, 27, 0}, {19, 0, 1}, {20, 31, 0}, {48, 3, 0}};
  for (const auto& [gain, code, lna] : first) {
    r.rxGain.set(gain);
    const auto round = b.round();
    EXPECT_EQ(round.at(10).c[3], code + 0x20) << gain;
    EXPECT_EQ(round.at(0).c[2] >> 3 & 1, lna) << gain;
  }
  r.rxGain.set(60); // -9 % 32 is -9: the sign stays
  EXPECT_EQ(b.round().at(10).c[3], (256 - 9 + 0x20) & 255);
  r.HLiteGain.set(false);
  r.rxGain.set(-12);
  EXPECT_EQ(b.round().at(0).c[2], 0) << "without the first form the amplifier bit stays as it was";
  r.HLite2Gain.set(true);
  r.rxGain.set(20);
  EXPECT_EQ(b.round().at(10).c[3], 32 + 0x40);
  r.HLiteRxTxGain.set(true);
  r.txGain.set(5);
  r.rxGain.set(-20);
  const auto round = b.round();
  EXPECT_EQ(round.at(10).c[3], (248 + 0x40) & 255);
  EXPECT_EQ(round.at(14).c[2], (17 - 0x40) & 255);
}

TEST(HpsdrRadioCommandsTest, theScaleUndoesTheGainAndFollowsPttFourDatagramsLate) {
  hpsdrBench b;
  auto& r = *b.radio;
  r.rxGain.set(20);
  EXPECT_DOUBLE_EQ(r.scale, 0.1);
  r.txGain.set(-20);
  EXPECT_DOUBLE_EQ(r.scale, 0.1);
  b.transmitter();
  for (int i = 0; i < 6; i++) b.sendOne();
  r.ptt.write(true);
  for (int i = 0; i < 4; i++) {
    EXPECT_DOUBLE_EQ(r.scale, 0.1) << i;
    b.sendOne();
  }
  EXPECT_DOUBLE_EQ(r.scale, 0.1);
  b.sendOne();
  EXPECT_DOUBLE_EQ(r.scale, 10);
  r.ptt.write(false);
  for (int i = 0; i < 4; i++) b.sendOne();
  EXPECT_DOUBLE_EQ(r.scale, 10);
  b.sendOne();
  EXPECT_DOUBLE_EQ(r.scale, 0.1);
}

TEST(HpsdrRadioCommandsTest, theRiseOfPttSendsFilterDriveAndGainAtOnce) {
  hpsdrBench b;
  b.radio->initialise();
  b.radio->J16Set.items[3]->tx.set(0x11); // up to 8.565498 MHz
  b.radio->J16Set.items[5]->rx.set(0x22); // up to 16.655136 MHz
  const auto v = b.transmitter(7100000);
  b.round();
  for (int i = 0; i < 7; i++) b.sendOne();
  b.radio->ptt.write(true);
  const auto first = b.sendOne();
  EXPECT_EQ(first.frame[0].index(), 0);
  EXPECT_EQ(first.frame[0].c[1], 0x11 << 1);
  EXPECT_EQ(first.frame[1].index(), 10);
  EXPECT_TRUE(first.frame[0].mox() && first.frame[1].mox());
  const auto second = b.sendOne();
  EXPECT_EQ(second.frame[0].index(), 11) << "and the rotation goes on behind the gain";
  EXPECT_TRUE(second.frame[0].mox());
  for (const auto& [index, frame] : b.round()) EXPECT_TRUE(frame.mox()) << index;
}

TEST(HpsdrRadioCommandsTest, theFiltersStayOnTransmitForFortyNineDatagramsAfterTheFall) {
  hpsdrBench b;
  b.radio->initialise();
  b.radio->J16Set.items[3]->tx.set(0x11);
  b.radio->J16Set.items[5]->rx.set(0x22);
  b.transmitter(7100000);
  b.round();
  b.radio->ptt.write(true);
  for (int i = 0; i < 5; i++) b.sendOne();
  b.radio->ptt.write(false);
  for (int i = 0; i < 49; i++) {
    if (i > 0) b.radio->registerIndex = 0; // ask for the filters in each datagram
    const auto d = b.sendOne();
    EXPECT_EQ(d.frame[0].index(), 0);
    EXPECT_EQ(d.frame[1].index(), 1);
    EXPECT_EQ(d.frame[0].c[1], 0x11 << 1) << i;
    EXPECT_FALSE(d.frame[0].mox() || d.frame[1].mox()) << "the power goes off at once";
  }
  b.radio->registerIndex = 30;
  const auto change = b.sendOne();
  EXPECT_EQ(change.frame[0].index(), 0);
  EXPECT_EQ(change.frame[0].c[1], 0x22 << 1);
  EXPECT_EQ(change.frame[1].index(), 10);
  EXPECT_EQ(b.radio->pttTail, 0);
  EXPECT_EQ(b.sendOne().frame[0].index(), 11);
}

TEST(HpsdrRadioCommandsTest, theFallStartsTheRotationAnew) {
  hpsdrBench b;
  b.radio->ptt.write(true);
  for (int i = 0; i < 9; i++) b.sendOne();
  b.radio->ptt.write(false);
  EXPECT_EQ(b.sendOne().frame[0].index(), 0);
  EXPECT_EQ(b.radio->pttTail, 49);
  EXPECT_EQ(b.sendOne().frame[0].index(), 2);
}

TEST(HpsdrRadioCommandsTest, aRiseDuringTheHoldTransmitsAnew) {
  hpsdrBench b;
  b.radio->ptt.write(true);
  b.sendOne();
  b.radio->ptt.write(false);
  for (int i = 0; i < 20; i++) b.sendOne();
  EXPECT_EQ(b.radio->pttTail, 30);
  b.radio->ptt.write(true);
  const auto d = b.sendOne();
  EXPECT_EQ(b.radio->pttTail, 0);
  EXPECT_EQ(d.frame[0].index(), 0);
  EXPECT_EQ(d.frame[1].index(), 10);
  for (int i = 0; i < 60; i++) EXPECT_TRUE(b.sendOne().frame[0].mox());
  EXPECT_EQ(b.radio->pttTail, 0) << "the hold counts only after the fall";
}

TEST(HpsdrRadioCommandsTest, theGainCodeFollowsTransmitThroughTheHold) {
  hpsdrBench b;
  b.radio->HLite2Gain.set(true);
  b.radio->rxGain.set(20);
  b.radio->txGain.set(-10);
  b.radio->ptt.write(true);
  EXPECT_EQ(b.sendOne().frame[1].c[3], 2 + 0x40);
  b.radio->ptt.write(false);
  EXPECT_EQ(b.radio->gainCode, 32) << "the hold hasn't begun when the fall is seen";
  b.sendOne();
  b.radio->rxGain.set(21); // computed in the hold
  EXPECT_EQ(b.radio->gainCode, 2);
}

TEST(HpsdrRadioCommandsTest, aQueuedCommandTakesTheFrameOfARegister) {
  hpsdrBench b;
  b.radio->writeStatus(0x77);
  for (int i = 0; i < 3; i++) b.sendOne();
  b.radio->registerIndex = 0;
  b.radio->commandQueue.push_back({0xfa, {6, 0xac, 0x60, 0x55}, 4});
  // the first command waits for 40 frames after it
  std::vector<sentFrame> frames;
  for (int i = 0; i < 60; i++)
    for (const auto& f : b.sendOne().frame) frames.push_back(f);
  int at = -1;
  for (std::size_t i = 0; i < frames.size(); i++)
    if (frames[i].c0 == 0xfa) {
      EXPECT_EQ(at, -1);
      at = static_cast<int>(i);
    }
  EXPECT_EQ(at, 41 - 6) << "one frame took the first command, five went by since";
  const auto position = static_cast<std::size_t>(at);
  EXPECT_EQ(frames[position - 1].index() + 2, frames[position + 1].index()) << "that register waits for the next round";
}

TEST(HpsdrRadioCommandsTest, queuedCommandsKeepTheirDistanceAndCarryMox) {
  hpsdrBench b;
  b.radio->biasEnabled.set(true);
  b.radio->ptt.write(true);
  b.sendOne();
  b.radio->paBias0.set(1);
  b.radio->paBias0.set(2);
  b.radio->paBias0.set(3);
  std::vector<int> places;
  for (int i = 0; i < 20; i++) {
    const auto d = b.sendOne();
    for (int f = 0; f < 2; f++)
      if (d.frame[f].c0 == 0xfb) places.push_back(2 * i + f);
  }
  EXPECT_EQ(places, (std::vector<int>{0, 5, 10}));
}

TEST(HpsdrRadioCommandsTest, samplesOfBothFramesComeInOrder) {
  hpsdrBench b;
  b.transmitter(7100000)->drive.set(255);
  cbuff block(126);
  for (uint64_t i = 0; i < 126; i++) block.data[i] = {static_cast<double>(i) / 32766, -static_cast<double>(i) / 32766};
  const auto d = b.sendOne(block);
  for (std::size_t i = 0; i < 126; i++) {
    const auto& s = d.frame[i / 63].samples[i % 63];
    const int n = static_cast<int>(i);
    EXPECT_EQ(s, (std::array<int, 4>{0, 0, -n, -n}));
  }
}

TEST(HpsdrRadioCommandsTest, aTransmitFrequencyInAnOddZoneSwapsTheWords) {
  hpsdrBench b;
  const auto v = b.transmitter(50100000);
  b.round(); // stores the frequency
  const auto d = b.sendOne(constantBlock({0.5, 0.25}));
  EXPECT_EQ(d.frame[0].samples[0], (std::array<int, 4>{0, 0, -16383, 8192}));
  v->vfo.set(7100000);
  b.radio->registerIndex = 0;
  const auto change = b.sendOne(constantBlock({0.5, 0.25}));
  EXPECT_EQ(change.frame[0].samples[62], (std::array<int, 4>{0, 0, -16383, 8192})) << "until register 1 has come by";
  EXPECT_EQ(change.frame[1].samples[0], (std::array<int, 4>{0, 0, 8192, -16383}));
}

TEST(HpsdrRadioCommandsTest, driveZeroWithSixteenLevelsIsSilence) {
  hpsdrBench b;
  b.radio->HLite2Gain.set(true);
  b.radio->initialise();
  const auto v = b.transmitter();
  const auto silent = b.sendOne(constantBlock({1, 1}));
  EXPECT_EQ(silent.frame[0].samples[5], (std::array<int, 4>{0, 0, 0, 0}));
  v->drive.set(254); // 0.1 dB below the top level
  EXPECT_EQ(b.round().at(9).c[0], 240);
  const auto d = b.sendOne(constantBlock({0, 0.5}));
  EXPECT_EQ(d.frame[0].samples[0][2], std::lround(0.5 * 32766 * std::pow(10, -0.005)));
}

TEST(HpsdrRadioCommandsTest, theRampRunsOnBoardSixOnly) {
  hpsdrBench b;
  EXPECT_EQ(b.sendOne().frame[1].samples[62], (std::array<int, 4>{0, 0, 0, 0}));
  b.radio->TypeID.set(6);
  for (int datagram = 0; datagram < 40; datagram++) {
    const auto d = b.sendOne();
    for (int i = 0; i < 126; i++) {
      const auto& s = d.frame[i / 63].samples[static_cast<std::size_t>(i % 63)];
      const int position = (datagram * 126 + i) % 4096;
      ASSERT_EQ(s[0], position);
      ASSERT_EQ(s[1] & 0xffff, position * 16);
    }
  }
}

TEST(HpsdrRadioCommandsTest, internalKeyingSendsAKeyLine) {
  hpsdrBench b;
  b.radio->cwInternal.set(true);
  EXPECT_EQ(b.sendOne(constantBlock({1, 0.7})).frame[1].samples[9], (std::array<int, 4>{0, 0, 3, 0}));
  EXPECT_EQ(b.sendOne(constantBlock({0, 0.7})).frame[1].samples[9], (std::array<int, 4>{0, 0, 0, 0}));
}

TEST(HpsdrRadioCommandsTest, aFullSendRingIsLoggedAndTheSequenceGoesOn) {
  logCapture log;
  hpsdrBench b;
  constexpr int usable = openRadio::sendRingSlots - 1;
  for (int i = 0; i < usable; i++) b.radio->sendcommandcontrol(b.radio->silence);
  EXPECT_FALSE(log.has("can't queue"));
  b.radio->sendcommandcontrol(b.radio->silence);
  EXPECT_EQ(log.times("HpsdrRadio::sendcommandcontrol can't queue"), 1);
  EXPECT_EQ(b.radio->txSequence, static_cast<uint32_t>(usable + 1));
  const std::string before = log.text();
  b.radio->running.store(true);
  b.radio->stopRadio(); // required: its command is lost without a word
  EXPECT_FALSE(b.radio->running.load());
  EXPECT_EQ(log.text(), before);
}

TEST(HpsdrRadioCommandsTest, withoutATransportEachDatagramIsSkippedAndLogged) {
  logCapture log;
  auto radio = keptByCore(std::make_shared<openRadio>(std::make_shared<syncTask>(handPool())));
  radio->transmit(radio->silence);
  EXPECT_TRUE(log.has("scc no tx buffers"));
  EXPECT_EQ(radio->txSequence, 0u);
  radio->stopRadio();
  EXPECT_TRUE(log.has("HpsdrRadio::stopRadio no tx buffers -2")) << log.text();
}

TEST(HpsdrRadioCommandsTest, aBlockThatIsTooShortIsDropped) {
  hpsdrBench b;
  b.radio->transmit(cbuff(125));
  b.radio->transmit(cbuff());
  EXPECT_TRUE(b.sent().empty());
}

TEST(HpsdrRadioCommandsTest, filtersGoByTheFlatTableOrTheSet) {
  hpsdrBench b;
  auto& r = *b.radio;
  EXPECT_EQ(r.filterOutputs(7000000, false), 0) << "empty tables are legal";
  r.initialise();
  ASSERT_EQ(r.J16Set.items.size(), 10u);
  r.J16Set.items[9]->tx.set(5);
  EXPECT_EQ(r.filterOutputs(42827494, true), 5);
  EXPECT_EQ(r.filterOutputs(42827495, true), 0);
  r.UseJ16.set(false);
  EXPECT_EQ(r.filterOutputs(7000000, true), 0);
  auto set = keptByCore(std::make_shared<J16Filter>(b.group));
  for (int32_t i = 1; i <= 4; i++) {
    auto band = keptByCore(std::make_shared<J16FilterBands>(b.group));
    band->maxfrequency.set(i * 10000000);
    band->tx.set(i);
    set->FilterBands.append(band);
  }
  for (int32_t i = 0; i < 16; i++) {
    auto row = keptByCore(std::make_shared<J16FilterRx>(b.group));
    row->rx.set(100 + i);
    set->FilterRx.append(row);
  }
  r.FilterSet.set(set);
  EXPECT_EQ(r.filterOutputs(15000000, true), 2);
  EXPECT_EQ(r.filterOutputs(1, false), 102) << "the first receiver's band, whatever the argument";
  b.addReceiver(35000000);
  EXPECT_EQ(r.filterOutputs(1, false), 110);
  r.FilterSet.set(nullptr);
  EXPECT_EQ(r.filterOutputs(15000000, true), 0);
}

TEST(HpsdrRadioCommandsTest, hostValuesWithoutSenseSendSomethingAllTheSame) {
  hpsdrBench b;
  auto& r = *b.radio;
  b.transmitter(2147483647)->TxOffset.set(2147483647);
  for (int32_t bad : {0, -1, 1, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()}) {
    r.clockFrequency.set(bad);
    r.SampleRate.set(bad);
    r.maxAdcValue.set(bad);
    r.rxGain.set(bad);
    r.txGain.set(-bad - 1);
    r.minRxRFGain.set(bad);
    r.cwHangTime.set(bad);
    r.TransceiverOffset.set(bad);
    for (double f : {std::nan(""), std::numeric_limits<double>::infinity(), -1e308}) {
      r.frequencyCalibration.set(f);
      EXPECT_EQ(b.round().size(), 46u);
      b.sendOne(constantBlock({f, f}));
    }
  }
}
