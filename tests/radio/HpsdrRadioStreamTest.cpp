#include "tests/radio/hpsdrBench.h"
#include <cmath>
#include <random>

using namespace larch;
using namespace larch::test;

namespace {

constexpr double word = 4.656612875245797e-10; // of a 32-bit sample
constexpr int64_t minute = 600'000'000;        // in arrival ticks

// The 24-bit sample that the tests put at a place.
int32_t pattern(int receiver, int n, int part) { return (receiver * 4000 + n * 20 + part * 7 + 1) * (n % 2 ? -3 : 5); }

// Fills both frames with the pattern for `receivers`; the second frame goes on counting.
bytes patterned(int receivers, uint32_t sequence) {
  bytes d = received(6, sequence);
  const int k = 504 / (6 * receivers + 2);
  for (int f = 0; f < 2; f++)
    for (int n = 0; n < k; n++)
      for (int r = 0; r < receivers; r++)
        for (int part = 0; part < 2; part++)
          put24(d, static_cast<std::size_t>(16 + 512 * f + (6 * receivers + 2) * n + 6 * r + 3 * part),
                pattern(r, f * k + n, part));
  return d;
}
void expectSample(const hpsdrBench& b, int receiver, int n, std::complex<double> expected) {
  const auto& hw = b.radio->hwReceivers[static_cast<std::size_t>(receiver)];
  ASSERT_GT(hw.fillPosition, static_cast<uint64_t>(n));
  const auto got = hw.chunk.data[n];
  EXPECT_NEAR(got.real(), expected.real(), 1e-15) << receiver << " " << n;
  EXPECT_NEAR(got.imag(), expected.imag(), 1e-15) << receiver << " " << n;
}
void deliver(hpsdrBench& b, const bytes& d, int64_t time = 0) { b.radio->handleDatagram(d.data(), time); }

bytes widebandPacket(uint32_t sequence, int16_t value) {
  bytes d = received(4, sequence);
  for (std::size_t i = 0; i < 512; i++) {
    d[8 + 2 * i] = static_cast<uint8_t>(value);
    d[9 + 2 * i] = static_cast<uint8_t>(value >> 8);
  }
  return d;
}

} // namespace

TEST(HpsdrRadioStreamTest, samplesOfEveryReceiverCountLandInTheirChunks) {
  for (int receivers : {1, 2, 3, 4, 8}) {
    hpsdrBench b;
    b.radio->scale = 0.25;
    b.radio->rxLevelCalibration.set(1.5);
    for (int i = 1; i < receivers; i++) b.addReceiver(7000000);
    deliver(b, patterned(receivers, 0));
    const int k = 504 / (6 * receivers + 2);
    for (int r = 0; r < receivers; r++) {
      EXPECT_EQ(b.radio->hwReceivers[static_cast<std::size_t>(r)].fillPosition, static_cast<uint64_t>(2 * k));
      for (int n = 0; n < 2 * k; n++) {
        const double s = 0.25 * word * 1.5 * 16 * 256;
        expectSample(b, r, n, {pattern(r, n, 0) * s, pattern(r, n, 1) * s});
      }
    }
  }
}

TEST(HpsdrRadioStreamTest, aFrameThatSaysFewerReceiversFeedsOnlyThose) {
  hpsdrBench b;
  b.addReceiver(7000000);
  b.addReceiver(7000000);
  b.radio->scale = 1;
  bytes d = patterned(1, 0);
  d[10] = d[522] = 0; // one receiver
  deliver(b, d);
  EXPECT_EQ(b.radio->hwReceivers[0].fillPosition, 126u);
  EXPECT_EQ(b.radio->hwReceivers[1].fillPosition, 0u);
  EXPECT_EQ(b.radio->hwReceivers[2].fillPosition, 0u);
  expectSample(b, 0, 125, {pattern(0, 125, 0) * word * 16 * 256, pattern(0, 125, 1) * word * 16 * 256});
  for (int claim : {3, 0x7e, 0x7f, 0xff}) {
    hpsdrBench full;
    full.addReceiver(7000000);
    full.addReceiver(7000000);
    bytes all = patterned(3, 0);
    all[10] = all[522] = static_cast<uint8_t>(claim);
    deliver(full, all);
    for (const auto& hw : full.radio->hwReceivers) EXPECT_EQ(hw.fillPosition, 50u) << claim;
  }
}

TEST(HpsdrRadioStreamTest, anOddNyquistZoneSwapsIAndQ) {
  const std::pair<int32_t, bool> zones[] = {{30000000, false}, {40000000, true}, {80000000, false}};
  for (const auto& [frequency, swapped] : zones) {
    hpsdrBench b;
    b.radio->scale = 1;
    b.radio->hwReceivers[0].frequency = frequency;
    deliver(b, patterned(1, 0));
    const double s = word * 16 * 256;
    for (int n = 0; n < 126; n++) expectSample(b, 0, n, {pattern(0, n, swapped) * s, pattern(0, n, !swapped) * s});
  }
}

TEST(HpsdrRadioStreamTest, theAdcsFullScaleDividesAsAnInteger) {
  for (const auto& [full, factor] : {std::pair{2048, 16}, {32768, 1}, {20000, 1}, {40000, 0}, {1, 32768}}) {
    hpsdrBench b;
    b.radio->scale = 1;
    b.radio->maxAdcValue.set(full);
    deliver(b, patterned(1, 0));
    expectSample(b, 0, 3, {pattern(0, 3, 0) * word * factor * 256, pattern(0, 3, 1) * word * factor * 256});
  }
}

TEST(HpsdrRadioStreamTest, fullChunksGoOnAtTheNewRatesLength) {
  hpsdrBench b;
  b.radio->SampleRate.set(96000);
  for (uint32_t i = 0; i < 5; i++) deliver(b, patterned(1, i)); // 630 samples
  EXPECT_EQ(b.radio->hwReceivers[0].chunk.count, 1024u);
  EXPECT_EQ(b.radio->hwReceivers[0].fillPosition, 630u - 512u);
}

TEST(HpsdrRadioStreamTest, anotherByteTwoCountsNothing) {
  hpsdrBench b;
  for (int other : {0, 2, 4, 255}) {
    bytes d = patterned(1, 77);
    d[2] = static_cast<uint8_t>(other);
    deliver(b, d);
  }
  for (int endpoint : {0, 1, 2, 3, 5, 7, 255}) deliver(b, received(endpoint, 77));
  EXPECT_EQ(b.radio->ep6SeqErrors.value, 0);
  EXPECT_EQ(b.radio->rxSequence, 0u);
  EXPECT_EQ(b.radio->hwReceivers[0].fillPosition, 0u);
  EXPECT_TRUE(b.sent().empty());
}

TEST(HpsdrRadioStreamTest, theMagicIsNotTested) {
  hpsdrBench b;
  bytes d = patterned(1, 0);
  d[0] = d[1] = 0;
  deliver(b, d);
  EXPECT_EQ(b.radio->hwReceivers[0].fillPosition, 126u);
}

TEST(HpsdrRadioStreamTest, aJumpIsOneErrorAndTheNextIsClean) {
  hpsdrBench b;
  for (uint32_t s : {0u, 1u, 5u, 6u, 7u, 3u, 4u}) deliver(b, patterned(1, s));
  EXPECT_EQ(b.radio->ep6SeqErrors.value, 2);
  EXPECT_TRUE(b.radio->ep6SeqErrors.hasValue);
  EXPECT_EQ(b.radio->ep4SeqErrors.value, 0);
}

TEST(HpsdrRadioStreamTest, theSequenceWrapsWithoutAnError) {
  hpsdrBench b;
  b.radio->rxSequence = 0xfffffffe;
  for (uint32_t s : {0xfffffffeu, 0xffffffffu, 0u, 1u}) deliver(b, patterned(1, s));
  EXPECT_EQ(b.radio->ep6SeqErrors.value, 0);
}

TEST(HpsdrRadioStreamTest, everyDatagramGivesItsSlotBack) {
  hpsdrBench b;
  for (int i = 0; i < 5; i++) b.peer.sendTo(b.radio->transport.localPort(), bytes(1032, static_cast<uint8_t>(i)));
  std::vector<int> slots;
  while (slots.size() < 5) {
    const int slot = b.radio->transport.waitReceive(8);
    if (slot >= 0) slots.push_back(slot);
  }
  for (int slot : slots) b.radio->handleRxPacketRIO(slot);
  std::vector<int> released;
  for (; const int32_t* slot = b.radio->releaseRing.front(); b.radio->releaseRing.pop()) released.push_back(*slot);
  EXPECT_EQ(released, slots);
}

TEST(HpsdrRadioStreamTest, aHandlerThatThrowsGivesItsSlotBack) {
  hpsdrBench b;
  b.radio->ep6SeqErrors.observer = [] { throw std::runtime_error("the observer's"); };
  b.peer.sendTo(b.radio->transport.localPort(), patterned(1, 9));
  int slot = -1;
  while (slot < 0) slot = b.radio->transport.waitReceive(8);
  EXPECT_THROW(b.radio->handleRxPacketRIO(slot), std::runtime_error);
  const int32_t* released = b.radio->releaseRing.front();
  ASSERT_TRUE(released);
  EXPECT_EQ(*released, slot);
}

TEST(HpsdrRadioStreamTest, aFullReleaseRingLosesTheSlotInSilence) {
  hpsdrBench b;
  for (int i = 0; i < openRadio::releaseSlots - 1; i++) ASSERT_TRUE(b.radio->releaseRing.emplace(0));
  b.radio->handleRxPacketRIO(1);
  int count = 0;
  for (; b.radio->releaseRing.front(); b.radio->releaseRing.pop()) count++;
  EXPECT_EQ(count, openRadio::releaseSlots - 1);
}

TEST(HpsdrRadioStreamTest, statusReachesThePropertiesTheKeyAndTheInputs) {
  hpsdrBench b;
  const auto v = b.transmitter();
  bytes d = received(6, 0);
  setStatus(d, 0, {0x05, 1, 0, 0, 0});
  setStatus(d, 1, {0x09, 0x01, 0x00, 0x02, 0x00}); // AIN 4 and 0; the key is up again
  b.radio->handleDatagram(d.data(), 0);
  EXPECT_TRUE(b.radio->RadioPtt.value && b.radio->RadioPtt.hasValue);
  EXPECT_TRUE(b.radio->adcOvl.value && b.radio->adcOvl.hasValue);
  EXPECT_FALSE(v->audioOut.keyB.load());
  EXPECT_DOUBLE_EQ(b.radio->ain[4], 25.6);
  EXPECT_DOUBLE_EQ(b.radio->ain[0], 51.2);
  d = received(6, 1);
  setStatus(d, 0, {0x00, 0, 0, 0, 0});
  setStatus(d, 1, {0x04, 1, 0, 0, 0});
  b.radio->handleDatagram(d.data(), 0);
  EXPECT_FALSE(b.radio->RadioPtt.value);
  EXPECT_TRUE(v->audioOut.keyB.load());
  EXPECT_TRUE(b.radio->adcOvl.value);
}

TEST(HpsdrRadioStreamTest, aFrameWithBitSevenHasNoStatusButSamples) {
  hpsdrBench b;
  const auto v = b.transmitter();
  bytes d = patterned(1, 0);
  setStatus(d, 0, {0x85, 1, 1, 1, 1});
  setStatus(d, 1, {0x8d, 1, 1, 1, 1});
  deliver(b, d);
  EXPECT_FALSE(b.radio->RadioPtt.value || b.radio->RadioPtt.hasValue);
  EXPECT_FALSE(b.radio->adcOvl.value);
  EXPECT_FALSE(v->audioOut.keyB.load());
  EXPECT_EQ(b.radio->ain[4], 0.0);
  EXPECT_EQ(b.radio->hwReceivers[0].fillPosition, 126u);
}

TEST(HpsdrRadioStreamTest, analogueInputsRiseSlowly) {
  hpsdrBench b;
  double expected = 0;
  for (uint32_t i = 0; i < 20; i++) {
    bytes d = received(6, i);
    setStatus(d, 0, {0x10, 0x03, 0xe8, 0x00, 0x64}); // AIN 1 is 1000, AIN 2 is 100
    setStatus(d, 1, {0x18, 0x00, 0x0a, 0x00, 0x14}); // AIN 3 is 10, AIN 5 is 20
    deliver(b, d);
    expected = 0.1 * 1000 + 0.9 * expected;
    EXPECT_NEAR(b.radio->ain[1], expected, 1e-9);
    EXPECT_NEAR(b.radio->ain[2], expected / 10, 1e-9);
    EXPECT_NEAR(b.radio->ain[3], expected / 100, 1e-9);
    EXPECT_NEAR(b.radio->ain[5], expected / 50, 1e-9);
  }
}

TEST(HpsdrRadioStreamTest, widebandQuartersLandByTheirNumber) {
  hpsdrBench b;
  b.radio->scale = 0.5;
  for (uint32_t quarter : {2u, 0u, 1u}) deliver(b, widebandPacket(8 + quarter, static_cast<int16_t>(-1000 * int(quarter + 1))));
  const double* before = b.radio->widebandFill.data;
  EXPECT_NE(b.radio->wideband.data, before);
  deliver(b, widebandPacket(11, -4000));
  ASSERT_EQ(b.radio->wideband.data, before) << "the last quarter completes the block";
  EXPECT_NE(b.radio->widebandFill.data, before);
  for (int i = 0; i < 2048; i++)
    ASSERT_DOUBLE_EQ(b.radio->wideband.data[i], -1000 * (i / 512 + 1) * 0.5 * 0.0004886962890625) << i;
  EXPECT_EQ(b.radio->adcPeakRaw, 4000);
  EXPECT_EQ(b.radio->ep6SeqErrors.value, 0) << "the wideband stream has no sequence check";
  EXPECT_EQ(b.radio->rxSequence, 0u);
}

TEST(HpsdrRadioStreamTest, sixteenBitConvertersHaveTheirOwnWidebandScale) {
  hpsdrBench b;
  b.radio->scale = 1;
  b.radio->maxAdcValue.set(32768);
  deliver(b, widebandPacket(3, std::numeric_limits<int16_t>::min()));
  EXPECT_DOUBLE_EQ(b.radio->wideband.data[1536], -32768 * 0.0004886962890625 * 0.0625);
  EXPECT_EQ(b.radio->adcPeakRaw, 32768);
}

TEST(HpsdrRadioStreamTest, metersComeWithEveryFortySecondWidebandPacket) {
  hpsdrBench b;
  for (uint32_t i = 0; i < 41; i++) deliver(b, widebandPacket(i, 512));
  EXPECT_FALSE(b.radio->adcPeak.hasValue);
  deliver(b, widebandPacket(41, 512));
  EXPECT_TRUE(b.radio->adcPeak.hasValue);
  EXPECT_DOUBLE_EQ(b.radio->adcPeak.value, 0.25);
  EXPECT_NEAR(b.radio->adcPeakDBFS.value, -12.0412, 1e-4);
  EXPECT_EQ(b.radio->adcPeakRaw, 0);
  EXPECT_EQ(b.radio->adcPeakMeter, 512);
  for (uint32_t i = 0; i < 41; i++) deliver(b, widebandPacket(42 + i, 100));
  EXPECT_DOUBLE_EQ(b.radio->adcPeak.value, 0.25);
  deliver(b, widebandPacket(83, 100));
  EXPECT_DOUBLE_EQ(b.radio->adcPeak.value, 100.0 / 2048);
  EXPECT_EQ(b.radio->adcPeakMeter, 512) << "the control's peak stays until it has been used";
}

TEST(HpsdrRadioStreamTest, anIdleStreamIsAtMinusAHundred) {
  hpsdrBench b;
  for (uint32_t i = 0; i < 42; i++) deliver(b, widebandPacket(i, 0));
  EXPECT_EQ(b.radio->adcPeakDBFS.value, -100.0);
  EXPECT_EQ(b.radio->adcPeak.value, 0.0);
  EXPECT_TRUE(b.radio->adcPeak.hasValue);
}

TEST(HpsdrRadioStreamTest, powersShowWhileTransmittingAndTheTemperatureAlways) {
  hpsdrBench b;
  b.radio->initialise();
  const auto v = b.transmitter();
  for (uint32_t i = 0; i < 400; i++) { // 2616.773 forward, 265.2901 reverse would be table rows; whole numbers settle beside
    bytes d = received(6, i);
    setStatus(d, 0, {0x08, 1000 >> 8, 1000 & 255, 265 >> 8, 265 & 255});   // AIN 4, AIN 0
    setStatus(d, 1, {0x10, 2617 >> 8, 2617 & 255, 2000 >> 8, 2000 & 255}); // AIN 1, AIN 2
    deliver(b, d);
  }
  const auto update = [&] {
    for (uint32_t i = 0; i < 42; i++) deliver(b, widebandPacket(i, 0));
  };
  update();
  EXPECT_NEAR(b.radio->Temp.value, (1000.0 / 4096 * 3.26 - 0.5) * 100, 1e-9);
  EXPECT_TRUE(b.radio->FwdPwr.value == 0 && b.radio->RevPwr.value == 0 && b.radio->Swr.value == 0);
  EXPECT_TRUE(b.radio->FwdPwr.hasValue && b.radio->RevPwr.hasValue && b.radio->Swr.hasValue && b.radio->Current.hasValue);
  b.radio->ptt.write(true);
  update();
  const double slope = (4.392743 - 3.008585) / (3173.818 - 2616.773), forward = 3.008585 + slope * (2617 - 2616.773);
  const double low = (0.05060093 - 0.01275204) / (265.2901 - 101.0245), reverse = 0.05060093 + low * (265 - 265.2901);
  EXPECT_NEAR(b.radio->FwdPwr.value, forward, 1e-5);
  EXPECT_NEAR(b.radio->RevPwr.value, reverse, 1e-6);
  const double rho = std::sqrt(reverse / forward);
  EXPECT_NEAR(b.radio->Swr.value, (1 + rho) / (1 - rho), 1e-5);
  EXPECT_NEAR(b.radio->Current.value, 2000.0 / 4096 * 3.26 / 50 / 0.04 * 1270, 1e-6);
  b.radio->ptt.write(false);
  update();
  EXPECT_EQ(b.radio->Current.value, 0.0);
  EXPECT_EQ(b.radio->Swr.value, 0.0f);
}

TEST(HpsdrRadioStreamTest, overloadLowersTheGainAndTheScaleFollows) {
  hpsdrBench b;
  b.radio->rfAgcMode.set(2);
  b.radio->rxGain.set(27);
  uint32_t sequence = 0;
  const auto second = [&](bool overload) {
    for (int i = 0; i < 501; i++) { // 1002 frames: one decision at the 1001st
      bytes d = received(6, sequence++);
      setStatus(d, 0, {0, overload, 0, 0, 0});
      setStatus(d, 1, {0, overload, 0, 0, 0});
      deliver(b, d);
      b.sent();
    }
  };
  second(true);
  EXPECT_EQ(b.radio->rxGain.value, 18) << "24, the step below 27, less 6";
  EXPECT_DOUBLE_EQ(b.radio->scale, std::pow(10, -18 / 20.0));
  EXPECT_TRUE(b.radio->rxGain.hasValue);
  second(false);
  EXPECT_EQ(b.radio->rxGain.value, 24);
  b.radio->adcPeakMeter = 1000; // 0.49 of full scale
  second(false);
  EXPECT_EQ(b.radio->rxGain.value, 24);
  EXPECT_EQ(b.radio->adcPeakMeter, 0);
  second(false);
  EXPECT_EQ(b.radio->rxGain.value, 30);
}

TEST(HpsdrRadioStreamTest, withTheControlOffTheGainStaysAndTheCountsRestart) {
  hpsdrBench b;
  b.radio->adcPeakMeter = 100;
  for (uint32_t i = 0; i < 501; i++) {
    bytes d = received(6, i);
    setStatus(d, 0, {0, 1, 0, 0, 0});
    deliver(b, d);
    b.sent();
  }
  EXPECT_EQ(b.radio->rxGain.value, 24);
  EXPECT_FALSE(b.radio->rxGain.hasValue);
  EXPECT_EQ(b.radio->adcPeakMeter, 0);
}

// Ten minutes twice at a radio clock 4 ppm slow, in arrival ticks of 100 ns.
TEST(HpsdrRadioStreamTest, theClockMeasurementCorrectsTheFrequencies) {
  hpsdrBench b;
  b.radio->autoFreqCalib.set(true);
  b.radio->SampleRate.set(384000);
  for (int i = 1; i < 8; i++) b.addReceiver(7000000); // 20 samples a datagram: the shortest time
  b.radio->maxAdcValue.set(0);                        // the samples don't matter here
  const double packet = 20.0 / 384000 * 1.000004 * 1e7;
  double now = 0;
  uint32_t sequence = 0;
  bytes d = received(6, 0);
  while (!b.radio->clock.full()) {
    for (std::size_t i = 0; i < 4; i++) d[4 + i] = static_cast<uint8_t>(sequence >> (24 - 8 * i));
    sequence++;
    now += packet;
    deliver(b, d, static_cast<int64_t>(now));
    if (b.radio->sendRing.front()) b.radio->sendRing.pop();
    if (b.radio->clock.full()) break;
    ASSERT_FALSE(b.radio->frequencyCalibration.hasValue) << "not before both averages are full";
  }
  // 64 packets a ratio (65 where their sum falls just short), twice 180,000 ratios
  EXPECT_GT(sequence, 3000u + 64 * (2 * 180000 - 10));
  EXPECT_LE(sequence, 3000u + 65 * 2 * 180000);
  for (int64_t end = static_cast<int64_t>(now) + 2 * minute; static_cast<int64_t>(now) < end;) {
    for (std::size_t i = 0; i < 4; i++) d[4 + i] = static_cast<uint8_t>(sequence >> (24 - 8 * i));
    sequence++;
    now += packet;
    deliver(b, d, static_cast<int64_t>(now));
    if (b.radio->sendRing.front()) b.radio->sendRing.pop();
  }
  EXPECT_NEAR(b.radio->frequencyCalibration.value, 1.000004, 1e-8);
  EXPECT_TRUE(b.radio->frequencyCalibration.hasValue);
  b.radio->SampleRate.set(192000);
  EXPECT_FALSE(b.radio->clock.full()) << "a new rate starts the measurement anew";
}

TEST(HpsdrRadioStreamTest, hostValuesWithoutSenseDropTheSamplesOnly) {
  for (int32_t bad : {0, -1, std::numeric_limits<int32_t>::min()}) {
    hpsdrBench b;
    b.radio->rfAgcMode.set(1);
    b.radio->maxAdcValue.set(bad);
    b.radio->clockFrequency.set(bad);
    for (uint32_t i = 0; i < 50; i++) {
      deliver(b, patterned(1, i));
      deliver(b, widebandPacket(i, 100));
    }
    EXPECT_EQ(b.radio->hwReceivers[0].fillPosition, 0u);
    EXPECT_FALSE(b.radio->adcPeak.hasValue);
    EXPECT_TRUE(b.radio->Temp.hasValue);
    b.radio->maxAdcValue.set(2048);
    b.radio->SampleRate.set(bad);
    b.sent();
    for (uint32_t i = 50; i < 3000; i++) deliver(b, patterned(1, i));
    EXPECT_TRUE(b.sent().empty()) << "no rate, no pace";
    EXPECT_EQ(b.radio->hwReceivers[0].chunk.count, 0u);
    EXPECT_EQ(b.radio->ep6SeqErrors.value, 0);
  }
}

// Any bytes in any length: read as written, with what the slot held before behind a short one.
TEST(HpsdrRadioStreamTest, randomDatagramsOfEveryLengthAreReadWithoutHarm) {
  std::mt19937 random(11);
  hpsdrBench b;
  for (int i = 1; i < 5; i++) b.addReceiver(7000000 * i);
  const auto slot = std::make_unique<uint8_t[]>(1032); // exactly: the readers stay inside
  for (std::size_t length = 0; length <= 2000; length++) {
    bytes d(length);
    for (auto& byte : d) byte = static_cast<uint8_t>(random());
    if (length > 3) d[2] = 1, d[3] = random() & 1 ? 6 : 4;
    if (length > 522) d[10] = static_cast<uint8_t>(random() % 8), d[522] = 0x7f;
    std::copy_n(d.begin(), std::min<std::size_t>(length, 1032), slot.get());
    b.radio->handleDatagram(slot.get(), static_cast<int64_t>(length));
    while (b.radio->sendRing.front()) b.radio->sendRing.pop();
  }
  EXPECT_GT(b.radio->ep6SeqErrors.value, 100);
}

TEST(HpsdrRadioStreamTest, moreReceiversThanAFrameHoldsGiveNothing) {
  hpsdrBench b;
  for (int i = 1; i < 90; i++) b.addReceiver(7000000);
  for (uint32_t i = 0; i < 10; i++) deliver(b, received(6, i));
  for (const auto& hw : b.radio->hwReceivers) EXPECT_EQ(hw.fillPosition, 0u);
  EXPECT_TRUE(b.sent().empty());
}
