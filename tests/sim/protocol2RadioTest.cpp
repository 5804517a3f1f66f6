#include "sim/protocol2Radio.h"
#include <random>
#include <set>
#include <gtest/gtest.h>
#include "tests/sim/protocol2TestHost.h"

using namespace larch::sim;
using namespace larch::simtest;

namespace {
std::shared_ptr<bandScene> carrier(double frequency_Hz, double level_dBFS) {
  auto scene = std::make_shared<bandScene>();
  scene->addCarrier(frequency_Hz, level_dBFS);
  return scene;
}

// a radio driven by hand and the host before it
struct bench {
  explicit bench(protocol2Options options = {}, std::shared_ptr<const bandScene> scene = std::make_shared<bandScene>())
      : radio(protocol2Radio::onFreeLoopback(roomy(options), std::move(scene))), host(radio->address()) {}
  static protocol2Options roomy(protocol2Options o) {
    if (o.receivers == 0) o.receivers = p2MaxReceivers;
    return o;
  }
  void start() {
    host.start();
    ASSERT_TRUE(radio->waitUntil([](const p2Report& r) { return r.streaming; }));
  }
  void stop() {
    const uint64_t before = radio->report().stops;
    host.stop();
    ASSERT_TRUE(radio->waitUntil([&](const p2Report& r) { return r.stops > before; }));
  }
  void sendAndTake(const bytes& d, uint16_t port) {
    const uint64_t before = received();
    host.send(d, port);
    ASSERT_TRUE(radio->waitUntil([&](const p2Report&) { return received() > before; }));
  }
  // Lets time pass in parts that a small socket holds, and collects what came.
  std::map<uint16_t, std::vector<bytes>> play(double seconds) {
    std::map<uint16_t, std::vector<bytes>> all;
    constexpr double part_s = 0.001;
    const int parts = static_cast<int>(std::lround(seconds / part_s));
    for (int i = 0; i < parts; ++i) {
      radio->advance(part_s);
      for (auto& [port, list] : host.receiveAll())
        for (bytes& d : list) all[port].push_back(std::move(d));
    }
    return all;
  }

  std::unique_ptr<protocol2Radio> radio;
  protocol2TestHost host;

 private:
  uint64_t received() const {
    uint64_t sum = radio->report().problems;
    for (const uint64_t n : radio->report().received) sum += n;
    return sum;
  }
};

void expectConsecutive(const std::vector<bytes>& packets, uint32_t first = 0) {
  for (size_t i = 0; i < packets.size(); ++i) ASSERT_EQ(read32(packets[i]), first + i) << i;
}
} // namespace

TEST(protocol2RadioTest, answersItsDiscoveryAndIgnoresTheOther) {
  protocol2Options options;
  options.receivers = 9;
  bench b(options);
  bytes other(63), own(60);
  other[0] = 0xEF, other[1] = 0xFE, other[2] = 2;
  own[4] = 2;
  b.host.send(other, 1024);
  b.host.send(own, 1024);
  ASSERT_TRUE(b.radio->waitUntil([](const p2Report& r) { return r.discoveries == 1; }));
  const arrival a = b.host.receive(10000);
  EXPECT_EQ(a.port, 1024);
  ASSERT_EQ(a.data.size(), 60u);
  EXPECT_EQ(a.data[4], 2);
  EXPECT_EQ(a.data[11], 10); // Saturn
  EXPECT_EQ(a.data[20], 9);
  EXPECT_EQ(b.radio->report().otherDiscoveries, 1u);
  b.start();
  b.host.send(own, 1024);
  ASSERT_TRUE(b.radio->waitUntil([](const p2Report& r) { return r.discoveries == 2; }));
  EXPECT_EQ(b.host.receive(10000).data[4], 3); // in use
  EXPECT_EQ(b.radio->problems().summary(), "none");
}

TEST(protocol2RadioTest, eachStreamHasItsPortPaceAndNumbers) {
  bench b;
  b.host.wideband = true;
  b.host.receivers = {{48}, {96}, {192}, {384}, {768}, {1536}};
  b.start();
  auto got = b.play(0.5);
  const int kHz[] = {48, 96, 192, 384, 768, 1536};
  for (uint16_t r = 0; r < 6; ++r) {
    const auto& packets = got[static_cast<uint16_t>(1035 + r)];
    EXPECT_EQ(packets.size(), static_cast<size_t>(kHz[r] * 500 / 238)) << r;
    expectConsecutive(packets);
    for (const bytes& d : packets) {
      ASSERT_EQ(d.size(), 1444u);
      ASSERT_EQ(read32(d, 4), 0u); // no time stamp
      ASSERT_EQ(read32(d, 12), 24u << 16 | 238u);
    }
  }
  EXPECT_EQ(got[1026].size(), 375u); // 750 a second
  expectConsecutive(got[1026]);
  for (const bytes& d : got[1026]) EXPECT_EQ(d.size(), 132u);
  EXPECT_NEAR(static_cast<double>(got[1025].size()), 10, 1); // 20 a second
  expectConsecutive(got[1025]);
  for (const bytes& d : got[1025]) EXPECT_EQ(d.size(), 60u);
  EXPECT_NEAR(static_cast<double>(got[1027].size()), 800, 64); // 32 packets each 20 ms
  for (size_t i = 0; i < got[1027].size(); ++i) {
    ASSERT_EQ(got[1027][i].size(), 1028u);
    ASSERT_EQ(read32(got[1027][i]), i % 32); // a frame counts from 0
  }
  EXPECT_EQ(got.size(), 9u); // and nothing else
  EXPECT_EQ(b.radio->problems().summary(), "none");
  EXPECT_EQ(b.radio->report().refused, 0u);
}

TEST(protocol2RadioTest, sixteenReceiversStreamAndOthersDont) {
  bench b;
  b.host.receivers.assign(16, {1536});
  b.host.receivers[5].on = false;
  b.start();
  auto got = b.play(0.02);
  for (uint16_t r = 0; r < 16; ++r) {
    const auto& packets = got[static_cast<uint16_t>(1035 + r)];
    EXPECT_EQ(packets.size(), r == 5 ? 0u : 129u) << r; // 30720 samples
    expectConsecutive(packets);
  }
}

TEST(protocol2RadioTest, aCarrierComesWithItsLevelOnTheMirroredSideAtEveryRate) {
  for (const int kHz : {48, 96, 192, 384, 768, 1536}) {
    bench b({}, carrier(14003000, -40));
    b.host.receivers = {{kHz, 14000000}};
    b.start();
    const samples z = iqOf(b.play(0.05)[1035]);
    const double error = 14000000 - std::llround(14000000 / 122.88e6 * 0x1p32) * 122.88e6 / 0x1p32;
    EXPECT_NEAR(dB(dftAt(z, -(3000 + error), kHz * 1000.0)), -40, 0.01) << kHz;
    EXPECT_LT(dB(dftAt(z, 3000, kHz * 1000.0)), -80) << kHz;
  }
}

TEST(protocol2RadioTest, theAttenuatorLowersAndTheGainSwitchStopsIt) {
  for (const bool matters : {true, false}) {
    protocol2Options options;
    options.gainMatters = matters;
    bench b(options, carrier(7001000, -30));
    b.host.receivers = {{48, 7000000}};
    b.host.attenuation_dB = 10;
    b.start();
    EXPECT_NEAR(dB(dftAt(iqOf(b.play(0.1)[1035]), -1000, 48000)), matters ? -40 : -30, 0.01);
  }
}

// The oscillator takes any phase word: above half the clock it reaches the upright image of that zone.
TEST(protocol2RadioTest, anOscillatorAboveHalfTheClockHearsThatZoneUpright) {
  bench b({}, carrier(70002000, -30));
  b.host.receivers = {{48, 70000000}};
  b.start();
  const samples z = iqOf(b.play(0.1)[1035]);
  EXPECT_NEAR(dB(dftAt(z, -2000, 48000)), -30, 0.05);
  EXPECT_LT(dB(dftAt(z, 2000, 48000)), -70);
}

TEST(protocol2RadioTest, receiversTunedAlikeGetTheSameSamplesAndOthersTheirOwn) {
  auto scene = carrier(14001000, -40);
  scene->setNoise(-120);
  bench b({}, scene);
  b.host.receivers = {{192, 14000000}, {192, 14010000}, {192, 14000000}};
  b.start();
  auto got = b.play(0.05);
  const samples first = iqOf(got[1035]), other = iqOf(got[1036]), same = iqOf(got[1037]);
  EXPECT_EQ(first, same);
  EXPECT_NE(first, other);
  EXPECT_NEAR(dB(dftAt(other, 9000, 192000)), -40, 0.05);
}

TEST(protocol2RadioTest, theLoopRepeatsWhatTheReceiverHears) {
  protocol2Options options;
  options.loop_s = 0.05;
  auto scene = carrier(14001000, -40);
  scene->setNoise(-130);
  bench b(options, scene);
  b.host.receivers = {{192, 14000000}, {1536, 14100000}};
  b.host.wideband = true;
  b.start();
  auto got = b.play(0.2);
  const auto& packets = got[1035];
  const size_t length = 40; // whole packets in 9600 samples
  ASSERT_GT(packets.size(), 3 * length);
  for (size_t i = 0; i + length < packets.size(); ++i) {
    ASSERT_EQ(bytes(packets[i].begin() + 16, packets[i].end()),
              bytes(packets[i + length].begin() + 16, packets[i + length].end()));
    ASSERT_EQ(read32(packets[i]), i);
  }
  EXPECT_NEAR(dB(dftAt(iqOf({packets.begin() + 10, packets.begin() + 30}), -1000, 192000)), -40, 0.1);
  double power = 0, leap = 0; // also over the seams
  const samples all = iqOf(packets);
  for (size_t n = 1; n < all.size(); ++n) {
    power += std::norm(all[n]) / static_cast<double>(all.size());
    leap = std::max(leap, std::abs(all[n] - all[n - 1]));
  }
  EXPECT_NEAR(10 * std::log10(power), -40, 0.5);
  EXPECT_LT(leap, 0.01 / 4); // the carrier turns by 0.033 radians a sample, and the noise is small
  // a retuned receiver hears its own band
  b.host.receivers[0].frequency_Hz = 14003000;
  b.sendAndTake(b.host.highPriority(true), 1027);
  const samples z = iqOf(b.play(0.05)[1035]);
  EXPECT_NEAR(dB(dftAt(z, 2000, 192000)), -40, 0.5);
}

TEST(protocol2RadioTest, overloadIsToldAtOnceAndEnds) {
  bench b({}, carrier(14001000, 3));
  b.host.receivers = {{48, 14000000}};
  b.start();
  auto got = b.play(0.1);
  bool told = false;
  for (const bytes& d : got[1025]) told |= d[5] == 1;
  EXPECT_TRUE(told);
  b.radio->setScene(std::make_shared<bandScene>());
  got = b.play(0.3);
  EXPECT_EQ(got[1025].back()[5], 0);
  b.radio->setStatus({0x10, 0x01, {}});
  got = b.play(0.1);
  EXPECT_EQ(got[1025].back()[5], 1);
  EXPECT_EQ(got[1025].back()[4], 0x10);
}

TEST(protocol2RadioTest, widebandShowsTheConverter) {
  bench b({}, carrier(122.88e6 / 16, -20));
  b.host.wideband = true;
  b.start();
  auto got = b.play(0.03);
  ASSERT_GE(got[1027].size(), 32u);
  double power = 0;
  for (size_t n = 0; n < 512; ++n) {
    const auto v = static_cast<int16_t>(got[1027][1][4 + 2 * n] << 8 | got[1027][1][5 + 2 * n]);
    power += v * v / 512.0;
  }
  EXPECT_NEAR(10 * std::log10(2 * power) - 20 * std::log10(32768.0), -20, 0.1);
}

TEST(protocol2RadioTest, stopsStartsAgainFromZeroAndGoesOnInTime) {
  bench b;
  b.start();
  EXPECT_FALSE(b.play(0.05)[1035].empty());
  b.stop();
  EXPECT_TRUE(b.play(0.05).empty());
  const double time = b.radio->report().radioTime_s;
  b.start();
  auto got = b.play(0.05);
  expectConsecutive(got[1035]);
  expectConsecutive(got[1026]);
  EXPECT_NEAR(b.radio->report().radioTime_s, time + 0.05, 0.003);
  EXPECT_EQ(b.radio->report().starts, 2u);
}

TEST(protocol2RadioTest, receiversComeAndGoWhileTheOthersRun) {
  bench b;
  b.host.receivers = {{48}, {48}};
  b.host.receivers[1].on = false;
  b.start();
  auto got = b.play(0.1);
  const auto before = static_cast<uint32_t>(got[1035].size());
  EXPECT_TRUE(got[1036].empty());
  b.host.receivers[1] = {384};
  b.sendAndTake(b.host.downConverter(), 1025);
  got = b.play(0.1);
  expectConsecutive(got[1035], before);
  expectConsecutive(got[1036]);
  EXPECT_NEAR(static_cast<double>(got[1036].size()), 161, 2);
  b.host.receivers[0].kHz = 96; // goes on counting
  b.sendAndTake(b.host.downConverter(), 1025);
  const auto next = read32(b.play(0.1)[1035].front());
  EXPECT_GE(next, before);
  EXPECT_EQ(b.radio->problems().summary(), "none");
}

TEST(protocol2RadioTest, clockErrorMakesItFasterAndTunesHigher) {
  protocol2Options options;
  options.clockError_ppm = 100;
  bench b(options, carrier(14000000, -40));
  b.host.receivers = {{48, 14000000}};
  b.start();
  const samples z = iqOf(b.play(0.5)[1035]);
  EXPECT_GT(dB(dftAt(z, 1400, 48000)), -40.2); // the centre is 1400 Hz too high
  EXPECT_NEAR(b.radio->report().radioTime_s, 0.5 * 1.0001, 0.002);
}

TEST(protocol2RadioTest, faultsSpoilEachStreamByItself) {
  bench b;
  b.host.receivers.assign(2, {384});
  faultPlan plan;
  plan.loseAt = {3};
  plan.cutAt = {5};
  plan.repeatAt = {7};
  plan.reorderAt = {9};
  plan.cutTo = 100;
  b.radio->setFaults(plan);
  b.start();
  auto got = b.play(0.02);
  for (const uint16_t port : {1035, 1036}) {
    std::vector<uint32_t> numbers;
    for (const bytes& d : got[port]) numbers.push_back(read32(d));
    ASSERT_GE(numbers.size(), 13u);
    numbers.resize(13);
    EXPECT_EQ(numbers, (std::vector<uint32_t>{0, 1, 2, 4, 5, 6, 7, 7, 8, 10, 9, 11, 12}));
    EXPECT_EQ(got[port][4].size(), 100u);
  }
  expectConsecutive(got[1026]); // the sets name receivers' packets
  EXPECT_EQ(b.radio->report().faults.lost, 2u);
  b.radio->setFaults({});
  expectConsecutive(b.play(0.02)[1035], read32(got[1035].back()) + 1);
}

TEST(protocol2RadioTest, silenceSwallowsEverythingWhileNumbersGoOn) {
  protocol2Options options;
  options.watchdog_s = 0.1;
  bench b(options);
  b.start();
  const auto before = b.play(0.05)[1026].size();
  b.radio->setSilent(true);
  EXPECT_TRUE(b.play(0.5).empty());
  ASSERT_TRUE(b.radio->report().streaming); // the watchdog waits meanwhile
  b.radio->setSilent(false);
  const auto after = b.play(0.05)[1026];
  ASSERT_FALSE(after.empty());
  EXPECT_NEAR(read32(after.front()), static_cast<double>(before) + 375, 2);
  EXPECT_NEAR(static_cast<double>(b.radio->report().faults.silenced), 375 + 100 + 10, 4); // and 48 kHz, and status
}

TEST(protocol2RadioTest, watchdogsStopAStreamThatNobodySteers) {
  for (const bool hostsOwn : {true, false}) {
    protocol2Options options;
    options.watchdog_s = hostsOwn ? 0 : 0.3;
    bench b(options);
    bytes general = b.host.general();
    if (hostsOwn) general[38] = 1;
    b.host.send(general, 1024);
    b.host.send(b.host.downConverter(), 1025);
    b.host.send(b.host.highPriority(true), 1027);
    ASSERT_TRUE(b.radio->waitUntil([](const p2Report& r) { return r.streaming; }));
    b.play(hostsOwn ? 0.9 : 0.25);
    EXPECT_TRUE(b.radio->report().streaming);
    b.sendAndTake(b.host.downConverter(), 1025); // any packet will do
    b.play(hostsOwn ? 0.9 : 0.25);
    EXPECT_TRUE(b.radio->report().streaming);
    b.play(0.2);
    EXPECT_FALSE(b.radio->report().streaming);
    EXPECT_EQ(b.radio->report().watchdogStops, 1u);
    b.sendAndTake(b.host.highPriority(true), 1027);
    EXPECT_TRUE(b.radio->report().streaming);
  }
}

TEST(protocol2RadioTest, streamsOnAfterAHostThatDiedWithoutAWatchdog) {
  bench b;
  b.start();
  b.play(2);
  EXPECT_TRUE(b.radio->report().streaming);
}

TEST(protocol2RadioTest, strangersAreNotedAndAGeneralPacketTakesOver) {
  bench b;
  b.start();
  protocol2TestHost other(b.radio->address());
  other.send(other.highPriority(false), 1027);
  ASSERT_TRUE(b.radio->waitUntil([](const p2Report& r) { return r.problems > 0; }));
  EXPECT_TRUE(b.radio->report().streaming);
  EXPECT_EQ(b.radio->problems().summary(), "foreign sender 1");
  other.send(other.general(), 1024);
  ASSERT_TRUE(b.radio->waitUntil([](const p2Report& r) { return r.takeovers == 1; }));
  b.radio->advance(0.02);
  EXPECT_FALSE(other.receiveAll().empty());
  EXPECT_TRUE(b.host.receiveAll().empty());
}

TEST(protocol2RadioTest, runWithoutAConfigurationIsNotedAndGivesThePaceAlone) {
  bench b;
  b.sendAndTake(b.host.highPriority(true), 1027);
  EXPECT_EQ(b.radio->problems().summary(), "not configured 2");
  const auto got = b.play(0.1);
  EXPECT_EQ(got.size(), 2u); // microphone and status
}

TEST(protocol2RadioTest, wrongLengthsAndUnknownCommandsAreNoted) {
  bench b;
  b.sendAndTake(bytes(59), 1024);
  b.sendAndTake(bytes(60), 1025);
  b.sendAndTake(bytes(1444), 1026);
  b.sendAndTake(bytes(1443), 1027);
  bytes erase(60);
  erase[4] = 4;
  b.sendAndTake(erase, 1024);
  EXPECT_EQ(b.radio->problems().summary(), "wrong length 4, unknown command 1");
}

TEST(protocol2RadioTest, takesRandomBytesOnEveryPort) {
  bench b;
  std::mt19937 random(3);
  uint64_t sent = 0;
  for (int i = 0; i < 200; ++i) {
    const size_t lengths[] = {60, 1444, random() % 1500 + 1};
    bytes d(lengths[random() % 3]);
    for (uint8_t& v : d) v = static_cast<uint8_t>(random());
    b.host.send(d, static_cast<uint16_t>(1024 + random() % 4));
    ++sent;
    b.radio->poll();
    b.radio->advance(0.0005);
    b.host.receiveAll();
  }
  EXPECT_GT(b.radio->report().problems, 0u);
  EXPECT_GT(sent, 0u);
}

TEST(protocol2RadioTest, runsByItselfAtThePaceOfTime) {
  bench b;
  b.radio->run();
  b.host.start();
  ASSERT_TRUE(b.radio->waitUntil([](const p2Report& r) { return r.streaming && r.radioTime_s > 0.05; }));
  b.host.stop();
  ASSERT_TRUE(b.radio->waitUntil([](const p2Report& r) { return !r.streaming && r.stops == 1; }));
  const p2Report r = b.radio->report();
  auto got = b.host.receiveAll();
  EXPECT_EQ(got[1026].size(), r.sent.made[static_cast<size_t>(p2Source::microphone)]);
  EXPECT_EQ(got[1035].size(), r.sent.iq());
  b.radio->stop();
}
