#include <random>
#include <gtest/gtest.h>
#include "sim/protocol1Radio.h"
#include "tests/sim/simHost.h"
#include "tests/support/protocol1Vectors.h"

using namespace larch::sim;
using namespace larch::simtest;
namespace vectors = larch::vectors;

namespace {
// without wideband unless a test asks for it
radioOptions plain() {
  radioOptions o;
  o.widebandBlocks_perSecond = 0;
  return o;
}

bytes command(int address, uint8_t c1, uint8_t c2 = 0, uint8_t c3 = 0, uint8_t c4 = 0, bool mox = false) {
  return {static_cast<uint8_t>(address << 1 | (mox ? 1 : 0)), c1, c2, c3, c4};
}

struct station {
  explicit station(radioOptions options = plain(), std::shared_ptr<bandScene> air = std::make_shared<bandScene>())
      : scene(air), radio(protocol1Radio::onFreeLoopback(options, air)), host(radio->address(), radio->port()) {}
  // what was sent has arrived when the call is over: waits for the radio to count it
  void settle(uint64_t dataReceived) {
    ASSERT_TRUE(radio->waitUntil([&](const radioReport& r) { return r.dataReceived == dataReceived; }));
  }
  void begin(int rateCode, int receivers, std::initializer_list<uint32_t> words = {}, uint8_t bits = 3) {
    host.configure(rateCode, receivers);
    int r = 0;
    for (const uint32_t w : words) host.tune(r++, w);
    const uint64_t before = radio->report().starts;
    host.start(bits);
    ASSERT_TRUE(radio->waitUntil([&](const radioReport& now) { return now.starts > before; }));
  }
  std::vector<bytes> collect(size_t datagrams) {
    std::vector<bytes> all;
    for (; datagrams > 0; datagrams -= std::min<size_t>(datagrams, 64)) {
      radio->emit(std::min<size_t>(datagrams, 64));
      for (bytes& d : host.receiveAll()) all.push_back(std::move(d));
    }
    return all;
  }
  samples listen(int receivers, int receiver, size_t datagrams) {
    samples z;
    for (const bytes& d : collect(datagrams))
      if (isIq(d)) appendSamples(d, receivers, receiver, z);
    return z;
  }
  std::shared_ptr<bandScene> scene;
  std::unique_ptr<protocol1Radio> radio;
  simHost host;
};

std::vector<uint32_t> sequencesOf(const std::vector<bytes>& datagrams) {
  std::vector<uint32_t> s;
  for (const bytes& d : datagrams) s.push_back(sequenceOf(d));
  return s;
}
constexpr double rates_Hz[] = {48000, 96000, 192000, 384000};
} // namespace

TEST(protocol1RadioTest, answersDiscoveryIdleAndInUse) {
  radioOptions options = plain();
  options.receivers = 3;
  station s(options);
  auto ask = [&s, asked = uint64_t{0}]() mutable {
    ++asked;
    s.host.send(vectors::discovery());
    EXPECT_TRUE(s.radio->waitUntil([&](const radioReport& r) { return r.discoveries == asked; }));
    return s.host.receive(2000);
  };
  const bytes idle = ask();
  ASSERT_EQ(idle.size(), 60u);
  const bytes head{0xEF, 0xFE, 2, 0x02, 0x1A, 0x7C, 0, 0, 1};
  EXPECT_TRUE(std::equal(head.begin(), head.end(), idle.begin()));
  EXPECT_GE(idle[9], 40); // that makes board 6 a Hermes-Lite 2
  EXPECT_EQ(idle[10], 6);
  EXPECT_EQ(idle[19], 3);
  s.begin(0, 1);
  EXPECT_EQ(ask().at(2), 3);
  s.host.stop();
  ASSERT_TRUE(s.radio->waitUntil([](const radioReport& r) { return !r.streaming; }));
  EXPECT_EQ(ask().at(2), 2);
  s.radio->setInUse(true);
  EXPECT_EQ(ask().at(2), 3);
}

TEST(protocol1RadioTest, discoveryOfAnotherLengthOrContentIsAProblem) {
  station s;
  bytes wrong(60);
  wrong[0] = 0xEF, wrong[1] = 0xFE, wrong[2] = 2;
  s.host.send(wrong);
  s.host.send(bytes(60)); // not even the other protocol's
  ASSERT_TRUE(s.radio->waitUntil([](const radioReport& r) { return r.problems == 2; }));
  EXPECT_EQ(s.radio->problems().count(problem::wrongLength), 1u);
  EXPECT_EQ(s.radio->problems().count(problem::wrongMagic), 1u);
  EXPECT_TRUE(s.host.receive().empty());
}

TEST(protocol1RadioTest, discoveryOfTheOtherProtocolIsCountedAndNotAnswered) {
  station s;
  bytes request(60);
  request[4] = 2;
  s.host.send(request);
  ASSERT_TRUE(s.radio->waitUntil([](const radioReport& r) { return r.otherDiscoveries == 1; }));
  EXPECT_EQ(s.radio->report().problems, 0u);
  EXPECT_EQ(s.radio->report().discoveries, 0u);
  EXPECT_TRUE(s.host.receive().empty());
}

TEST(protocol1RadioTest, streamsOnlyBetweenStartAndStopWord) {
  station s;
  s.host.configure(0, 1);
  s.settle(1);
  EXPECT_EQ(s.radio->emit(5), 0u);
  EXPECT_TRUE(s.host.receive().empty());
  s.begin(0, 1);
  EXPECT_EQ(sequencesOf(s.collect(5)), (std::vector<uint32_t>{0, 1, 2, 3, 4}));
  s.host.stop();
  ASSERT_TRUE(s.radio->waitUntil([](const radioReport& r) { return r.stops == 1; }));
  EXPECT_EQ(s.radio->emit(5), 0u);
  EXPECT_TRUE(s.host.receive().empty());
  s.begin(0, 1); // sequence numbers from 0 again
  EXPECT_EQ(sequencesOf(s.collect(2)), (std::vector<uint32_t>{0, 1}));
  EXPECT_EQ(s.radio->report().problems, 0u);
}

TEST(protocol1RadioTest, framesFollowReceiverCountAndRate) {
  radioOptions options = plain();
  options.receivers = 8;
  station s(options);
  s.scene->addCarrier(7001000, -20);
  const size_t perFrame[] = {63, 36, 25, 19, 15, 13, 11, 10};
  s.begin(0, 1);
  uint64_t received = 1;
  for (int code = 0; code < 4; ++code)
    for (int receivers = 1; receivers <= 8; ++receivers) {
      s.host.configure(code, receivers);
      for (int r = 0; r < receivers; ++r) s.host.tune(r, static_cast<uint32_t>(7000000 + 500 * r));
      received += static_cast<uint64_t>(1 + receivers);
      s.settle(received);
      const auto got = s.collect(40);
      ASSERT_EQ(got.size(), 40u);
      for (int r = 0; r < receivers; ++r) {
        samples z;
        for (const bytes& d : got) {
          EXPECT_EQ(d[8 + 2], 0x7F);
          appendSamples(d, receivers, r, z);
        }
        ASSERT_EQ(z.size(), 80 * perFrame[receivers - 1]);
        // receiver r hears the carrier 1000 - 500 r hertz above its centre: the sign turns round
        const double below = -(1000.0 - 500 * r);
        EXPECT_NEAR(dB(dftAt(z, below, rates_Hz[code])), -20, 0.1) << "rate " << code << " receivers " << receivers << " r " << r;
      }
    }
  EXPECT_EQ(s.radio->report().problems, 0u);
}

TEST(protocol1RadioTest, signAndLevelInEvenAndOddZones) {
  radioOptions options = plain();
  options.clock_Hz = 73728000;
  constexpr double half = 36864000;
  for (const double centre : {7100000.0, 40000000.0, 50000000.0, 80000000.0, 120000000.0}) {
    auto air = std::make_shared<bandScene>();
    const double f = centre + 3000; // a carrier above the centre
    air->addCarrier(f, -30);
    station s(options, air);
    // the word that a host sends: the alias in the first zone
    const auto zone = static_cast<int>(centre / half);
    const double inside = std::fmod(centre, half);
    const auto word = static_cast<uint32_t>(zone % 2 == 0 ? inside : half - inside);
    s.begin(2, 1, {word});
    const samples z = s.listen(1, 0, 200);
    const double sign = zone % 2 == 0 ? -1 : 1; // e^(-j ...) in even zones
    EXPECT_NEAR(dB(dftAt(z, sign * 3000, 192000)), -30, 0.01) << centre;
    EXPECT_LT(dB(dftAt(z, -sign * 3000, 192000)), -110) << centre;
    // the phase at time 0 is the carrier's, so the very first sample is real and positive
    EXPECT_NEAR(z[0].real(), std::pow(10, -1.5), 1e-6) << centre;
    EXPECT_NEAR(z[0].imag(), 0, 1e-6) << centre;
  }
}

TEST(protocol1RadioTest, receiversOfOneTuningGetTheSameSamples) {
  station s;
  s.scene->addCarrier(7101000, -10);
  s.begin(1, 2, {7100000, 7100000});
  const auto got = s.collect(20);
  samples a, b;
  for (const bytes& d : got) appendSamples(d, 2, 0, a), appendSamples(d, 2, 1, b);
  EXPECT_EQ(a, b);
}

TEST(protocol1RadioTest, levelFollowsTheGainThatTheHostSets) {
  station s;
  s.scene->addCarrier(7101000, -70);
  s.begin(0, 1, {7100000});
  EXPECT_NEAR(dB(dftAt(s.listen(1, 0, 50), -1000, 48000)), -70, 0.01); // nothing written yet
  uint64_t received = 2;
  for (const int gain : {-12, 0, 24, 48}) {
    s.host.registers(command(10, 0, 0, 0, static_cast<uint8_t>(gain + 12 + 0x40)), command(9, 0));
    s.settle(++received);
    EXPECT_DOUBLE_EQ(s.radio->report().gain_dB, gain);
    EXPECT_NEAR(dB(dftAt(s.listen(1, 0, 50), -1000, 48000)), -70 + gain, 0.01);
  }
}

TEST(protocol1RadioTest, gainMayBeSwitchedOff) {
  radioOptions options = plain();
  options.gainMatters = false;
  station s(options);
  s.scene->addCarrier(7101000, -70);
  s.begin(0, 1, {7100000});
  s.host.registers(command(10, 0, 0, 0, 0x40 + 60), command(9, 0));
  s.settle(3);
  EXPECT_NEAR(dB(dftAt(s.listen(1, 0, 50), -1000, 48000)), -70, 0.01);
}

TEST(protocol1RadioTest, convertersHaveLevelAndPhaseOfTheirOwn) {
  station s;
  s.scene->addCarrier(7101000, -20);
  s.radio->setAdcInput(1, {-6, 90});
  s.begin(0, 2, {7100000, 7100000});
  s.host.registers(command(14, 1 << 2), command(9, 0)); // receiver 1 on ADC 1
  s.settle(4);
  const auto got = s.collect(50);
  samples a, b;
  for (const bytes& d : got) appendSamples(d, 2, 0, a), appendSamples(d, 2, 1, b);
  const auto ratio = dftAt(b, -1000, 48000) / dftAt(a, -1000, 48000);
  EXPECT_NEAR(dB(ratio), -6, 0.01);
  EXPECT_NEAR(std::arg(ratio), M_PI / 2, 1e-3);
}

TEST(protocol1RadioTest, noiseHasItsDensityAtEveryRate) {
  station s;
  s.scene->setNoise(-100);
  s.begin(0, 1, {7100000});
  uint64_t received = 2;
  for (int code = 0; code < 4; ++code) {
    s.host.configure(code, 1);
    s.settle(++received);
    double power = 0;
    const samples z = s.listen(1, 0, 500); // 63,000 samples: 0.02 dB of deviation
    for (const auto& v : z) power += std::norm(v);
    EXPECT_NEAR(10 * std::log10(power / static_cast<double>(z.size())), -100 + 10 * std::log10(rates_Hz[code]), 0.1);
  }
}

TEST(protocol1RadioTest, clockErrorMovesSignalsAndPace) {
  radioOptions options = plain();
  options.clockError_ppm = 100;
  station s(options);
  s.scene->addCarrier(7100000, -20);
  s.begin(0, 1, {7100000});
  // the radio's oscillator stands 710 Hz too high, so the carrier lies below it: positive on the wire
  const samples z = s.listen(1, 0, 200);
  EXPECT_NEAR(dB(dftAt(z, 710 / 1.0001, 48000)), -20, 0.01);
  EXPECT_LT(dB(dftAt(z, 0, 48000)), -60);
  // 200 s of true time: 100 ppm are 7.6 datagrams more
  const uint64_t before = s.radio->report().iqSent;
  uint64_t sent = 0;
  for (int i = 0; i < 200; ++i) sent += s.radio->advance(1), s.host.receiveAll();
  const double wanted = 200 * 48000 * 1.0001 / 126;
  EXPECT_NEAR(static_cast<double>(sent), wanted, 1);
  EXPECT_EQ(s.radio->report().iqSent - before, sent);
}

TEST(protocol1RadioTest, statusBytesTellWhatTheyAreSet) {
  station s;
  boardStatus status;
  status.ain = {1000, 2000, 3000, 4000, 1005, 600};
  status.ptt = true;
  s.radio->setStatus(status);
  s.begin(0, 1);
  const auto got = s.collect(2);
  ASSERT_EQ(got.size(), 2u);
  const auto at = [&](size_t frame) {
    return bytes(got[frame / 2].begin() + 11 + 512 * (frame % 2), got[frame / 2].begin() + 16 + 512 * (frame % 2));
  };
  EXPECT_EQ(at(0), (bytes{0x01, 0, 0, 0, defaultBoard().firmware}));
  EXPECT_EQ(at(1), (bytes{0x09, 1005 >> 8, 1005 & 255, 1000 >> 8, 1000 & 255}));
  EXPECT_EQ(at(2), (bytes{0x11, 2000 >> 8, 2000 & 255, 3000 >> 8, 3000 & 255}));
  EXPECT_EQ(at(3), (bytes{0x19, 4000 >> 8, 4000 & 255, 600 >> 8, 600 & 255}));
}

TEST(protocol1RadioTest, clippingSetsTheOverloadBit) {
  station s;
  const auto loud = s.scene->addCarrier(7101000, 6);
  s.begin(0, 1, {7100000});
  auto got = s.collect(4);
  EXPECT_EQ(got[2][12], 1); // group 0 comes with every second datagram
  EXPECT_GT(s.radio->report().clippedSamples, 0u);
  s.scene->remove(loud);
  got = s.collect(4);
  EXPECT_EQ(got[2][12], 0);
}

TEST(protocol1RadioTest, widebandBlocksShowTheConverter) {
  radioOptions options;
  options.widebandBlocks_perSecond = 100;
  station s(options);
  s.scene->addCarrier(10000000, -20); // below half the clock
  s.scene->addCarrier(60000000, -26); // above: at 16.8 MHz
  s.begin(0, 1, {7100000});
  std::vector<bytes> wideband;
  for (const bytes& d : s.collect(381 * 2))
    if (d[3] == 4) wideband.push_back(d);
  EXPECT_NEAR(static_cast<double>(wideband.size()), 2 * 100 * 4, 8);
  samples block;
  for (size_t i = 0; i < wideband.size(); ++i) {
    EXPECT_EQ(sequenceOf(wideband[i]), i);
    for (size_t n = 0; i < 4 && n < 512; ++n)
      block.emplace_back(static_cast<int16_t>(wideband[i][8 + 2 * n] | wideband[i][9 + 2 * n] << 8) / 2048.0, 0);
  }
  ASSERT_EQ(block.size(), 2048u);
  // a real sine of amplitude A is A/2 on either side
  EXPECT_NEAR(dB(dftAt(block, 10000000, 76800000)), -26.02, 0.05);
  EXPECT_NEAR(dB(dftAt(block, 16800000, 76800000)), -32.02, 0.05);
  EXPECT_LT(dB(dftAt(block, 25000000, 76800000)), -70);
}

TEST(protocol1RadioTest, startBitsChooseTheStreams) {
  radioOptions options;
  station s(options);
  s.begin(0, 1, {}, 1);
  for (const bytes& d : s.collect(400)) EXPECT_EQ(d[3], 6);
  s.host.stop();
  s.begin(0, 1, {}, 2);
  const auto got = s.collect(400);
  EXPECT_GT(got.size(), 70u);
  for (const bytes& d : got) EXPECT_EQ(d[3], 4);
}

TEST(protocol1RadioTest, newReceiverCountMayLag) {
  radioOptions options = plain();
  options.receiverCountLag = 3;
  station s(options);
  s.begin(0, 1);
  s.collect(1);
  s.host.configure(0, 2);
  s.settle(2);
  const auto got = s.collect(5);
  for (size_t i = 0; i < 5; ++i) {
    EXPECT_EQ(got[i][10], i < 3 ? 0 : 0x7F) << i; // one receiver, said so
    EXPECT_EQ(got[i][522], i < 3 ? 0 : 0x7F) << i;
  }
  EXPECT_EQ(s.radio->report().receiversInFrames, 2);
}

TEST(protocol1RadioTest, moreReceiversThanItHasAreAProblemAndSaidInTheFrames) {
  radioOptions options = plain();
  options.receivers = 2;
  station s(options);
  s.begin(0, 4);
  EXPECT_EQ(s.radio->problems().count(problem::tooManyReceivers), 1u);
  EXPECT_EQ(s.collect(1).at(0)[10], 1);
}

TEST(protocol1RadioTest, keepsRegistersOrderAndDeviceWrites) {
  station s;
  s.host.send(vectors::control());
  s.host.send(vectors::controlWithMox());
  s.settle(2);
  const registerFile file = s.radio->registers();
  EXPECT_EQ(file.settings().sampleRate_Hz, 192000);
  EXPECT_EQ(file.settings().receivers, 2);
  EXPECT_EQ(file.settings().rxFrequency_Hz[0], 7100000u);
  EXPECT_TRUE(file.settings().mox);
  ASSERT_EQ(file.history().size(), 4u);
  EXPECT_EQ(file.history()[1].address(), 2);
  ASSERT_EQ(file.queuedCommands().size(), 1u);
  EXPECT_EQ(file.queuedCommands()[0].frame, 3u);
  EXPECT_EQ(file.queuedCommands()[0].c, (std::array<uint8_t, 5>{0xFB, 0x06, 0xA8, 0x00, 0x37}));
}

TEST(protocol1RadioTest, measuresAndRecordsWhatItTransmits) {
  station s;
  s.radio->recordTransmit(true);
  s.host.send(vectors::control());
  bytes loud(1032);
  const auto head = vectors::controlWithMox();
  std::copy(head.begin(), head.end(), loud.begin());
  for (size_t f = 0; f < 2; ++f)
    for (size_t n = 0; n < 63; ++n) loud[16 + 512 * f + 8 * n + 4] = 0x40; // I = 16384
  s.host.send(loud);
  s.settle(2);
  const transmitLevels levels = s.radio->report().transmit;
  EXPECT_EQ(levels.frames, 4u);
  EXPECT_EQ(levels.moxFrames, 2u);
  EXPECT_NEAR(levels.peak, 16384 / 32767.0, 1e-12);
  EXPECT_NEAR(levels.power, std::pow(16384 / 32767.0, 2), 1e-12);
  EXPECT_EQ(levels.withoutMox, 3u);
  const auto kept = s.radio->transmitted();
  ASSERT_EQ(kept.size(), 252u);
  EXPECT_EQ(kept[0].sample.i, 4660);
  EXPECT_FALSE(kept[0].mox);
  EXPECT_TRUE(kept[126].mox);
  EXPECT_EQ(kept[126].sample.i, 16384);
}

TEST(protocol1RadioTest, arrivalsTellWhatHadBeenSentBefore) {
  station s;
  s.radio->recordArrivals(true);
  s.begin(0, 1);
  s.radio->emit(7);
  s.host.registers(command(4, 0), command(5, 0, 0, 0, 0, true));
  s.settle(2);
  const auto arrivals = s.radio->arrivals();
  ASSERT_EQ(arrivals.size(), 2u);
  EXPECT_FALSE(arrivals[0].streaming);
  EXPECT_TRUE(arrivals[1].streaming);
  EXPECT_EQ(arrivals[1].iqSent, 7u);
  EXPECT_EQ(arrivals[1].sequence, 1u);
  EXPECT_EQ(arrivals[1].address[0], 4);
  EXPECT_EQ(arrivals[1].address[1], 5);
  EXPECT_FALSE(arrivals[1].mox[0]);
  EXPECT_TRUE(arrivals[1].mox[1]);
}

TEST(protocol1RadioTest, countsSequenceBreaksAndRestarts) {
  station s;
  s.begin(0, 1); // number 0
  s.host.sequence = 2;
  s.host.registers(command(4, 0), command(5, 0));
  s.host.registers(command(4, 0), command(5, 0));
  s.settle(3);
  EXPECT_EQ(s.radio->problems().count(problem::sequenceBreak), 1u);
  s.host.sequence = 0; // while the stream runs that is a break, too
  s.host.registers(command(4, 0), command(5, 0));
  s.settle(4);
  EXPECT_EQ(s.radio->problems().count(problem::sequenceBreak), 2u);
  s.host.stop();
  s.host.sequence = 0; // without a stream it isn't
  s.host.registers(command(4, 0), command(5, 0));
  s.settle(5);
  EXPECT_EQ(s.radio->problems().count(problem::sequenceBreak), 2u);
}

TEST(protocol1RadioTest, framesWithoutSyncAreAProblemAndIgnored) {
  station s;
  auto d = vectors::control();
  d[520] = 0x7E;
  s.host.send(d);
  s.settle(1);
  EXPECT_EQ(s.radio->problems().count(problem::wrongSync), 1u);
  EXPECT_EQ(s.radio->registers().writes(0), 1u);
  EXPECT_EQ(s.radio->registers().writes(2), 0u);
}

TEST(protocol1RadioTest, othersMayTakeTheStreamOverButNotDisturbIt) {
  station s;
  s.begin(0, 1);
  simHost other(s.radio->address(), s.radio->port());
  other.configure(3, 2);
  other.stop();
  ASSERT_TRUE(s.radio->waitUntil([](const radioReport& r) { return r.problems == 2; }));
  EXPECT_EQ(s.radio->problems().count(problem::foreignSender), 2u);
  EXPECT_EQ(s.radio->report().settings.receivers, 1);
  EXPECT_TRUE(s.radio->report().streaming);
  other.start();
  ASSERT_TRUE(s.radio->waitUntil([](const radioReport& r) { return r.takeovers == 1; }));
  s.radio->emit(1);
  EXPECT_FALSE(other.receive(2000).empty());
  EXPECT_TRUE(s.host.receive().empty());
}

TEST(protocol1RadioTest, watchdogEndsAStreamWithoutHost) {
  radioOptions options = plain();
  options.watchdog_s = 1;
  station s(options);
  s.begin(0, 1);
  s.radio->advance(0.9);
  EXPECT_TRUE(s.radio->report().streaming);
  s.host.registers(command(4, 0), command(5, 0));
  s.settle(2);
  s.radio->advance(0.9);
  EXPECT_TRUE(s.radio->report().streaming);
  s.radio->advance(0.2);
  EXPECT_FALSE(s.radio->report().streaming);
  EXPECT_EQ(s.radio->report().watchdogStops, 1u);
}

TEST(protocol1RadioTest, faultsSpoilTheStreamAtTheNamedNumbers) {
  station s;
  s.begin(0, 1);
  faultPlan plan;
  plan.loseAt = {1};
  plan.repeatAt = {3};
  plan.reorderAt = {5};
  plan.cutAt = {8};
  plan.cutTo = 100;
  plan.corruptAt = {9};
  plan.corruptByte = 2;
  s.radio->setFaults(plan);
  const auto got = s.collect(11);
  EXPECT_EQ(sequencesOf(got), (std::vector<uint32_t>{0, 2, 3, 3, 4, 6, 5, 7, 8, 9, 10}));
  EXPECT_EQ(got[8].size(), 100u);
  EXPECT_NE(got[9][2], 1);
  const faultCounts counts = s.radio->report().faults;
  EXPECT_EQ(counts.lost + counts.repeated + counts.reordered + counts.cut + counts.corrupted, 5u);
}

TEST(protocol1RadioTest, silenceLosesDatagramsAndTimeGoesOn) {
  station s;
  s.begin(0, 1);
  s.collect(2);
  s.radio->setSilent(true);
  EXPECT_TRUE(s.collect(10).empty());
  s.radio->setSilent(false);
  EXPECT_EQ(sequencesOf(s.collect(1)), (std::vector<uint32_t>{12}));
}

TEST(protocol1RadioTest, survivesDatagramsOfAnyLengthAndContent) {
  station s;
  s.begin(0, 1);
  std::mt19937 random(99);
  for (size_t length = 0; length <= 2000; ++length) {
    bytes d(length);
    for (auto& b : d) b = static_cast<uint8_t>(random());
    s.host.send(d);
    if (length > 4) { // the same with a good beginning
      d[0] = 0xEF, d[1] = 0xFE, d[2] = static_cast<uint8_t>(length % 5), d[3] = 2;
      if (d[2] == 4) d[3] = 3;
      s.host.send(d);
    }
    if (length % 16 == 0) s.radio->poll(), s.radio->emit(1), s.host.receiveAll();
  }
  s.radio->waitUntil([](const radioReport& r) { return r.problems > 3000; });
  for (int i = 0; i < 300; ++i) { // whole datagrams of rubbish: every register gets every value
    bytes d(1032);
    for (auto& b : d) b = static_cast<uint8_t>(random());
    const uint8_t head[] = {0xEF, 0xFE, 1, 2};
    std::copy(head, head + 4, d.begin());
    std::fill_n(d.begin() + 8, 3, 0x7F);
    std::fill_n(d.begin() + 520, 3, 0x7F);
    s.host.send(d);
    s.radio->poll();
    s.radio->emit(2);
    s.host.receiveAll();
  }
  EXPECT_TRUE(s.radio->waitUntil([](const radioReport& r) { return r.dataReceived > 300; }));
  EXPECT_TRUE(s.radio->report().streaming);
}

TEST(protocol1RadioTest, hundredThousandDatagramsAreMadeInSeconds) {
  radioOptions options;
  station s(options);
  for (int i = 0; i < 10; ++i) s.scene->addCarrier(7100000 + 3000 * i, -60);
  s.scene->setNoise(-140);
  s.begin(3, 1, {7100000});
  uint64_t iq = 0;
  for (const uint32_t number : sequencesOf(s.collect(100000))) iq += number > 0 ? 1 : 0;
  EXPECT_EQ(s.radio->report().iqSent, 100000u);
  EXPECT_GE(iq, 100000u);
}

TEST(protocol1RadioTest, runsByItselfAtItsOwnPace) {
  radioOptions options;
  options.clockError_ppm = 200;
  station s(options);
  s.radio->run();
  s.begin(3, 2, {7100000, 14100000});
  const auto begin = std::chrono::steady_clock::now();
  ASSERT_TRUE(s.radio->waitUntil([](const radioReport& r) { return r.iqSent >= 8000; })); // 1.5 s
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
  // 72 samples a datagram: never faster than the clock, and as a machine under load may be late, only roughly not slower
  EXPECT_GT(took.count(), 8000 * 72 / 384000.0 * 0.99);
  EXPECT_LT(took.count(), 8000 * 72 / 384000.0 + 5);
  EXPECT_FALSE(s.host.receive(2000).empty());
  s.host.stop();
  EXPECT_TRUE(s.radio->waitUntil([](const radioReport& r) { return !r.streaming; }));
  s.radio->stop();
}

TEST(protocol1RadioTest, mayBeToldAndAskedWhileItRuns) {
  station s;
  s.radio->run();
  s.begin(3, 1, {7100000});
  s.radio->onRegister([](const registerWrite&) {});
  uint64_t seen = 0;
  for (int i = 0; i < 200; ++i) {
    const auto carrier = s.scene->addCarrier(7100000 + i, -60);
    s.scene->setNoise(-150 + i % 10);
    s.radio->setClockError_ppm(i);
    s.radio->setSilent(i % 2 == 0);
    s.radio->setAdcInput(0, {-1.0 * i, 0});
    s.radio->setFaults({});
    s.host.registers(command(4, 0), command(5, static_cast<uint8_t>(i)));
    seen = std::max(seen, s.radio->report().iqSent);
    EXPECT_GE(s.radio->registers().frames(), 1u);
    s.radio->clearRecords();
    s.scene->remove(carrier);
    s.host.receiveAll();
  }
  EXPECT_TRUE(s.radio->waitUntil([&](const radioReport& r) { return r.iqSent > seen && r.dataReceived == 202; }));
  s.radio->stop();
  s.radio->stop(); // once more does no harm
}

TEST(protocol1RadioTest, radiosRunSideBySideOnOnePort) {
  std::vector<std::unique_ptr<protocol1Radio>> radios;
  for (int i = 0; i < 5; ++i) radios.push_back(protocol1Radio::onFreeLoopback());
  for (const auto& r : radios) {
    EXPECT_EQ(r->port(), 1024);
    EXPECT_EQ(r->address().substr(0, 4), "127.");
    radioOptions same;
    same.bindAddress = r->address();
    EXPECT_THROW(protocol1Radio{same}, std::system_error);
  }
}

TEST(protocol1RadioTest, aBadAddressIsRefused) {
  radioOptions options;
  options.bindAddress = "radio";
  EXPECT_THROW(protocol1Radio{options}, std::invalid_argument);
}
