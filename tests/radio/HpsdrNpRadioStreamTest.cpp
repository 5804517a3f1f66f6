#include "tests/radio/npBench.h"
#include <cmath>

using namespace larch;
using namespace larch::test;

namespace {

constexpr double word = 4.656612875245797e-10 * 256; // of a 24-bit sample

int32_t pattern(int receiver, int n, int part) { return (receiver * 30000 + n * 40 + part * 7 + 1) * (n % 2 ? -3 : 5); }
bytes patterned(int receiver, uint32_t sequence) {
  return npSamples(sequence, [=](int n, int part) { return pattern(receiver, n, part); });
}
void expectPattern(const npBench& b, int receiver, double scale, bool swapped = false) {
  const auto& hw = b.radio->hwReceivers[static_cast<std::size_t>(receiver)];
  ASSERT_EQ(hw.fillPosition, 238u);
  for (int n = 0; n < 238; n++) {
    const auto got = hw.chunk.data[n];
    ASSERT_DOUBLE_EQ(got.real(), pattern(receiver, n, swapped) * scale) << n;
    ASSERT_DOUBLE_EQ(got.imag(), pattern(receiver, n, !swapped) * scale) << n;
  }
}
bytes wideband(uint32_t sequence, int value) {
  return npWideband(sequence, [=](int) { return value; });
}

} // namespace

TEST(HpsdrNpRadioStreamTest, samplesLandInTheChunkOfTheirPortsReceiver) {
  npBench b;
  b.radio->rxGain.set(-10);
  b.radio->rxLevelCalibration.set(3.0); // is Protocol 1's
  b.radio->addHwReceiver(7000000);
  b.radio->addHwReceiver(21000000);
  for (int r : {2, 0, 1}) b.fromRadio(1035 + r, patterned(r, 0));
  b.takeAll();
  for (int r = 0; r < 3; r++) expectPattern(b, r, word / std::pow(10.0, -0.5));
  EXPECT_EQ(b.radio->handledPackets, 3u);
  EXPECT_EQ(b.radio->ep6SeqErrors.value, 0);
  EXPECT_EQ(b.radio->transport->outOfKernel(), 0);
}

TEST(HpsdrNpRadioStreamTest, anOddNyquistZoneSwapsIAndQ) {
  const std::pair<int32_t, bool> zones[] = {
      {61439999, false}, {61440000, true}, {122879999, true}, {122880000, false}, {200000000, true}};
  for (const auto& [frequency, swapped] : zones) {
    npBench b;
    b.radio->hwReceivers[0].frequency = frequency;
    b.one(1035, patterned(0, 0));
    expectPattern(b, 0, word, swapped);
  }
}

TEST(HpsdrNpRadioStreamTest, aPacketFillsOneChunkAndBeginsTheNextAtTheRatesLength) {
  npBench b;
  b.radio->SampleRate.set(1536000);
  for (uint32_t i = 0; i < 3; i++) b.fromRadio(1035, patterned(0, i)); // 714 samples
  b.takeAll();
  EXPECT_EQ(b.radio->hwReceivers[0].chunk.count, 16384u);
  EXPECT_EQ(b.radio->hwReceivers[0].fillPosition, 714u - 512u);
  b.radio->SampleRate.set(47999);
  for (uint32_t i = 3; i < 80; i++) b.fromRadio(1035, patterned(0, i));
  b.takeAll();
  EXPECT_EQ(b.radio->hwReceivers[0].chunk.count, 0u) << "nothing can be filled, nothing crashes";
  b.radio->SampleRate.set(48000);
  for (uint32_t i = 80; i < 82; i++) b.fromRadio(1035, patterned(0, i));
  b.takeAll();
  EXPECT_EQ(b.radio->hwReceivers[0].fillPosition, 238u);
}

TEST(HpsdrNpRadioStreamTest, eachStreamHasItsOwnNumbers) {
  npBench b;
  b.radio->addHwReceiver(7000000);
  const auto errors = [&] { return b.radio->ep6SeqErrors.value; };
  b.one(1035, npSamples(500)); // the first number is known to nobody
  EXPECT_EQ(errors(), 1);
  EXPECT_TRUE(b.radio->ep6SeqErrors.hasValue);
  b.one(1036, npSamples(0));
  EXPECT_EQ(errors(), 1);
  for (uint32_t i = 1; i < 20; i++) {
    b.fromRadio(1035, npSamples(500 + i));
    b.fromRadio(1036, npSamples(i));
  }
  b.takeAll();
  EXPECT_EQ(errors(), 1);
  b.one(1036, npSamples(25)); // a gap
  EXPECT_EQ(errors(), 2);
  b.fromRadio(1036, npSamples(26));
  b.fromRadio(1036, npSamples(26)); // twice
  b.fromRadio(1036, npSamples(27));
  b.takeAll();
  EXPECT_EQ(errors(), 3);
  for (const uint32_t s : {0xffffffffu, 0u, 1u}) b.fromRadio(1035, npSamples(s)); // one jump; the end passes into the beginning
  b.takeAll();
  EXPECT_EQ(errors(), 4);
  EXPECT_EQ(b.radio->sequenceBreaks, 4u);
  EXPECT_EQ(b.radio->handledPackets, 47u);
  EXPECT_EQ(b.radio->ep4SeqErrors.value, 0);
}

TEST(HpsdrNpRadioStreamTest, theHostsOwnCountGoesOn) {
  npBench b;
  b.radio->ep6SeqErrors.set(std::numeric_limits<int32_t>::max());
  b.one(1035, npSamples(9));
  EXPECT_EQ(b.radio->ep6SeqErrors.value, std::numeric_limits<int32_t>::min());
}

TEST(HpsdrNpRadioStreamTest, receiversThatAreNotThereAreDroppedAndNothingElseIsLost) {
  npBench b;
  b.radio->addHwReceiver(7000000);
  for (uint32_t i = 0; i < 20; i++)
    for (int port = 1035; port <= 1050; port++) {
      b.fromRadio(port, npSamples(i));
      if (port % 4 == 0) b.takeAll();
    }
  b.takeAll();
  EXPECT_EQ(b.radio->handledPackets, 40u);
  EXPECT_EQ(b.radio->ep6SeqErrors.value, 0);
  for (const auto& hw : b.radio->hwReceivers) EXPECT_EQ(hw.expectedSequence, 20u);
  EXPECT_EQ(b.radio->transport->outOfKernel(), 0);
  b.radio->addHwReceiver(3500000); // begins where its stream is
  b.one(1037, npSamples(20));
  EXPECT_EQ(b.radio->ep6SeqErrors.value, 1);
}

TEST(HpsdrNpRadioStreamTest, packetsThatEndTooSoonAreDropped) {
  npBench b;
  b.one(1035, npSamples(0));
  const auto cut = [](bytes d, std::size_t length) {
    d.resize(length);
    return d;
  };
  for (const std::size_t length : {0u, 1u, 3u, 4u, 16u, 22u, 1443u}) b.fromRadio(1035, cut(npSamples(7), length));
  for (const std::size_t length : {0u, 4u, 1027u}) b.fromRadio(1027, cut(wideband(0, 1000), length));
  for (const std::size_t length : {0u, 1u, 5u}) b.fromRadio(1025, cut(npStatus(1), length));
  b.takeAll();
  EXPECT_EQ(b.radio->handledPackets, 1u);
  EXPECT_EQ(b.radio->ep6SeqErrors.value, 0);
  EXPECT_EQ(b.radio->adcPeakRaw, 0);
  EXPECT_EQ(b.radio->meterCounter, 0);
  EXPECT_FALSE(b.radio->adcOvl.hasValue);
  EXPECT_EQ(b.radio->transport->outOfKernel(), 0);
  b.fromRadio(1035, cut(npSamples(1), 2000)); // longer than it should be
  b.fromRadio(1027, cut(wideband(0, 1000), 1500));
  b.fromRadio(1025, cut(npStatus(1), 6));
  b.takeAll();
  EXPECT_EQ(b.radio->handledPackets, 2u);
  EXPECT_EQ(b.radio->ep6SeqErrors.value, 0);
  EXPECT_EQ(b.radio->adcPeakRaw, 1000);
  EXPECT_TRUE(b.radio->adcOvl.value);
}

TEST(HpsdrNpRadioStreamTest, otherPortsSendersAreReleased) {
  npBench b;
  b.fromRadio(1024, npSamples(0));
  for (int port : {1028, 1034, 1051, 30000}) {
    const int s = plainPeer::open(b.peer.address(), static_cast<uint16_t>(port));
    ASSERT_GE(s, 0) << port;
    plainPeer::sendFrom(s, b.port(), npSamples(0));
    b.sent++;
    close(s);
  }
  b.takeAll();
  EXPECT_EQ(b.radio->handledPackets, 0u);
  EXPECT_EQ(b.radio->transport->outOfKernel(), 0);
}

TEST(HpsdrNpRadioStreamTest, aHandlerThatThrowsGivesItsSlotBack) {
  npBench b;
  const auto fail = [] { throw std::runtime_error("the observer's"); };
  b.radio->adcOvl.observer = b.radio->ep6SeqErrors.observer = b.radio->adcPeak.observer = fail;
  b.radio->meterCounter = 1000; // the next wideband packet tells the peak
  b.fromRadio(1025, npStatus(1));
  b.fromRadio(1035, npSamples(7));
  b.fromRadio(1027, wideband(0, 100));
  b.takeAll();
  EXPECT_TRUE(b.radio->adcOvl.value);
  EXPECT_EQ(b.radio->ep6SeqErrors.value, 1);
  EXPECT_GT(b.radio->adcPeak.value, 0);
  EXPECT_EQ(b.radio->transport->outOfKernel(), 0);
}

TEST(HpsdrNpRadioStreamTest, theStatusTellsTheOverloadByOneByte) {
  npBench b;
  bytes others(60, 0xff);
  others[5] = 0;
  b.one(1025, others);
  EXPECT_FALSE(b.radio->adcOvl.value);
  EXPECT_TRUE(b.radio->adcOvl.hasValue);
  for (const int value : {1, 0, 128, 0, 255}) {
    b.one(1025, npStatus(static_cast<uint8_t>(value)));
    EXPECT_EQ(b.radio->adcOvl.value, value != 0);
  }
  EXPECT_EQ(b.radio->transport->outOfKernel(), 0);
}

TEST(HpsdrNpRadioStreamTest, widebandSamplesAreBigEndianAndFillTheirQuarters) {
  npBench b;
  b.radio->rxGain.set(-20);
  constexpr double scale = 1.1920930376163766e-7 * 10;
  const double* block = b.radio->widebandFill.data;
  const auto value = [](uint32_t s, int n) { return static_cast<int>(s * 2000) - 300 + 3 * n; };
  for (const uint32_t s : {6u, 5u, 4u, 7u}) b.fromRadio(1027, npWideband(s, [&](int n) { return value(s, n); }));
  b.takeAll();
  ASSERT_EQ(b.radio->wideband.data, block);
  EXPECT_NE(b.radio->widebandFill.data, block);
  EXPECT_EQ(b.radio->widebandFill.count, 2048u);
  for (int i = 0; i < 2048; i++) {
    const auto s = static_cast<uint32_t>(4 + i / 512);
    ASSERT_NEAR(block[i], value(s, i % 512) * scale, 1e-18) << i;
  }
  EXPECT_EQ(b.radio->adcPeakRaw, value(7, 511));
  EXPECT_EQ(b.radio->transport->outOfKernel(), 0);
}

TEST(HpsdrNpRadioStreamTest, thePeakIsToldWithEveryTwoHundredAndSecondPacket) {
  npBench b;
  for (uint32_t i = 0; i < 201; i++) b.fromRadio(1027, wideband(i, i == 17 ? -16384 : 5));
  b.takeAll();
  EXPECT_FALSE(b.radio->adcPeak.hasValue);
  b.one(1027, wideband(201, 0));
  EXPECT_EQ(b.radio->adcPeak.value, 0.5);
  EXPECT_EQ(b.radio->adcPeakDBFS.value, 20 * std::log10(0.5));
  EXPECT_EQ(b.radio->adcPeakRaw, 0);
  for (uint32_t i = 0; i < 202; i++) b.fromRadio(1027, wideband(i, 0));
  b.takeAll();
  EXPECT_EQ(b.radio->adcPeak.value, 0.0);
  EXPECT_EQ(b.radio->adcPeakDBFS.value, -100.0);
  for (uint32_t i = 0; i < 202; i++) b.fromRadio(1027, wideband(i, -32768));
  b.takeAll();
  EXPECT_EQ(b.radio->adcPeak.value, 1.0);
  EXPECT_EQ(b.radio->adcPeakDBFS.value, 0.0);
}

TEST(HpsdrNpRadioStreamTest, withoutAWidebandStreamThePeakStays) {
  npBench b;
  for (uint32_t i = 0; i < 240; i++) b.fromRadio(1035, patterned(0, i));
  b.takeAll();
  EXPECT_EQ(b.radio->adcPeak.value, 0.0);
  EXPECT_FALSE(b.radio->adcPeak.hasValue);
  EXPECT_EQ(b.radio->adcPeakDBFS.value, 0.0);
  for (int i = 0; i < 2048; i++) ASSERT_EQ(b.radio->wideband.data[i], 0.0);
}

// ---- what goes out at the pace of the microphone

namespace {

// One microphone packet and its turn; what went out by it.
struct paced {
  bytes receivers, frequencies;
};
paced microphone(npBench& b, std::size_t length = 132) {
  b.fromRadio(1026, bytes(length, 0));
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (b.radio->receivedCounter.load() != b.sent && std::chrono::steady_clock::now() < end) b.radio->rxTurn();
  EXPECT_EQ(b.radio->receivedCounter.load(), b.sent);
  return {b.peer.receive(1025, 0), b.peer.receive(1027, 0)};
}
uint32_t wordAt(const bytes& d, std::size_t at) {
  return uint32_t{d[at]} << 24 | uint32_t{d[at + 1]} << 16 | uint32_t{d[at + 2]} << 8 | d[at + 3];
}

} // namespace

TEST(HpsdrNpRadioPacingTest, inThirtyTwoMicrophonePacketsEachGoesOutOnceHalfACycleApart) {
  npBench b;
  for (int n = 0; n < 1000; n++) {
    const paced out = microphone(b);
    ASSERT_EQ(out.receivers.size(), n % 32 == 15 ? 1444u : 0u) << n;
    ASSERT_EQ(out.frequencies.size(), n % 32 == 31 ? 1444u : 0u) << n;
    ASSERT_EQ(b.radio->transport->outOfKernel(), 0) << "each slot goes back at once, at " << n;
    ASSERT_EQ(b.radio->microphoneCount, (n + 1) % 32);
  }
  EXPECT_TRUE(b.peer.receive(1024, 0).empty());
  EXPECT_TRUE(b.peer.receive(1026, 0).empty()) << "once a start only";
  EXPECT_EQ(b.radio->sentCounter.load(), 31u + 31u);
}

TEST(HpsdrNpRadioPacingTest, aMicrophonePacketCountsWhateverItsLength) {
  npBench b;
  int receivers = 0, frequencies = 0;
  for (std::size_t n = 0; n < 64; n++) {
    const paced out = microphone(b, n * 31);
    receivers += !out.receivers.empty();
    frequencies += !out.frequencies.empty();
  }
  EXPECT_EQ(receivers, 2);
  EXPECT_EQ(frequencies, 2);
}

TEST(HpsdrNpRadioPacingTest, otherPacketsDoNotCount) {
  npBench b;
  for (uint32_t i = 0; i < 40; i++) {
    b.fromRadio(1035, npSamples(i));
    b.fromRadio(1027, wideband(i, 0));
    b.fromRadio(1025, npStatus(0));
  }
  b.takeAll();
  EXPECT_TRUE(b.peer.receive(1025, 0).empty());
  EXPECT_TRUE(b.peer.receive(1027, 0).empty());
}

TEST(HpsdrNpRadioPacingTest, thePeriodicPacketsTellThePresentState) {
  npBench b;
  const auto cycle = [&] {
    paced all;
    for (int i = 0; i < 32; i++) {
      paced out = microphone(b);
      if (!out.receivers.empty()) all.receivers = out.receivers;
      if (!out.frequencies.empty()) all.frequencies = out.frequencies;
    }
    return all;
  };
  paced out = cycle();
  EXPECT_EQ(out.frequencies[4], 0) << "not started";
  EXPECT_EQ(wordAt(out.frequencies, 9), protocol2::phaseWord(14095600, 122880000));
  EXPECT_EQ(out.receivers[7], 1);
  b.radio->startRadio();
  for (int port = 1024; port <= 1027; port++) EXPECT_FALSE(b.peer.receive(port).empty());
  b.radio->maxHwReceivers.set(3);
  b.radio->SampleRate.set(384000);
  b.radio->rxGain.set(-7);
  b.radio->transceivers[0]->vfo.set(7074000); // asks the radio's group for it
  runAll();
  EXPECT_TRUE(b.peer.receive(1027, 0).empty()) << "a new frequency waits for the periodic packet";
  out = cycle();
  EXPECT_EQ(out.frequencies[4], 1);
  for (const std::size_t at : {9u, 13u, 17u, 329u})
    EXPECT_EQ(wordAt(out.frequencies, at), protocol2::phaseWord(7074000, 122880000));
  EXPECT_EQ(out.frequencies[1443], 7);
  EXPECT_EQ(out.receivers[18] << 8 | out.receivers[19], 384);
  b.radio->addVtrx(28074000, 0); // too far away: another receiver
  b.keepTransceivers();
  runAll();
  out = cycle();
  EXPECT_EQ(out.receivers[7], 3);
  EXPECT_EQ(wordAt(out.frequencies, 13), protocol2::phaseWord(28074000, 122880000));
  b.radio->stopRadio();
  EXPECT_EQ(b.peer.receive(1027)[4], 0);
  EXPECT_EQ(cycle().frequencies[4], 0) << "stopped";
}

TEST(HpsdrNpRadioPacingTest, aSilentRadioHearsNothingAndGoesOnWhereItComesBack) {
  npBench b;
  b.radio->startRadio();
  for (int port = 1024; port <= 1027; port++) EXPECT_FALSE(b.peer.receive(port).empty());
  for (uint32_t i = 0; i < 10; i++) b.fromRadio(1035, npSamples(i));
  b.takeAll();
  for (int i = 0; i < 20; i++) microphone(b);
  for (int i = 0; i < 10; i++) b.radio->rxTurn(); // nothing comes
  for (int port = 1024; port <= 1027; port++) EXPECT_TRUE(b.peer.receive(port, 0).empty()) << port;
  for (uint32_t i = 0; i < 10; i++) b.fromRadio(1035, npSamples(5000 + i)); // its numbers went on meanwhile
  b.takeAll();
  EXPECT_EQ(b.radio->ep6SeqErrors.value, 1);
  EXPECT_EQ(b.radio->handledPackets, 20u);
  for (int n = 20; n < 64; n++) EXPECT_EQ(microphone(b).frequencies.size(), n % 32 == 31 ? 1444u : 0u) << n;
}
