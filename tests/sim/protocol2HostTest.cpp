// What a host says to a Protocol 2 radio, field by field.
#include "sim/protocol2Host.h"
#include <algorithm>
#include <string>
#include <vector>
#include <gtest/gtest.h>
#include "sim/protocol2Fields.h"
#include "tests/sim/protocol2TestHost.h"

using namespace larch::sim;
using larch::simtest::bytes;
using larch::simtest::protocol2TestHost;

namespace {
constexpr double clock_Hz = 122880000;

class protocol2HostTest : public testing::Test {
 protected:
  void take(p2Packet kind, const bytes& d) {
    host.take(kind, d, problems,
              [&](p2Packet k, const std::string& said) { words.push_back(std::string(p2PacketName(k)) + ": " + said); });
  }
  bool said(const std::string& wanted) const { return std::find(words.begin(), words.end(), wanted) != words.end(); }

  protocol2TestHost peer{"127.0.0.1"};
  protocol2Host host{16, clock_Hz};
  problemLog problems;
  std::vector<std::string> words;
};
} // namespace

TEST_F(protocol2HostTest, aProperHostHasNothingWrong) {
  peer.receivers = {{48, 14000000}, {1536, 7100000}};
  take(p2Packet::general, peer.general());
  take(p2Packet::downConverter, peer.downConverter());
  take(p2Packet::highPriority, peer.highPriority(true));
  EXPECT_EQ(problems.summary(), "none");
  EXPECT_TRUE(said("general: first down-converter port: 1035"));
  EXPECT_TRUE(said("general: form: phase words"));
  EXPECT_TRUE(said("down-converter: receivers on, 0 to 7: 0x03"));
  EXPECT_TRUE(said("down-converter: receiver 1 rate: 1536 kHz"));
  EXPECT_TRUE(said("high-priority: state: run"));
  EXPECT_TRUE(said("high-priority: receiver 0: 14000000.0 Hz (word 489335467)"));
  EXPECT_TRUE(said("high-priority: filter board 0: 0x21001000"));
  const p2HostSettings& s = host.settings();
  EXPECT_TRUE(s.run);
  EXPECT_FALSE(s.watchdog);
  EXPECT_EQ(s.receiversOn(), 2);
  EXPECT_EQ(s.rx[1].rate_Hz, 1536000);
  EXPECT_NEAR(s.rx[1].frequency_Hz, 7100000, 0.015); // a step of the word is 0.0286 Hz
}

TEST_F(protocol2HostTest, theStartUpPacketsOfAReceivingHostArePossible) {
  bytes up(60);
  up[4] = 1, up[5] = 0xB8, up[7] = 0x02, up[8] = 0x58, up[9] = 0x19, up[10] = 0x32, up[11] = 1, up[12] = 0x36, up[13] = 0x14;
  up[15] = 0xC0, up[50] = 4, up[51] = 0x17, up[57] = up[58] = up[59] = 0x1F;
  take(p2Packet::upConverter, up);
  EXPECT_EQ(problems.summary(), "none");
  EXPECT_TRUE(said("up-converter: keyer: iambic, sidetone, mode B, break-in"));
  EXPECT_TRUE(said("up-converter: sidetone: 600 Hz"));
  EXPECT_TRUE(said("up-converter: keyer speed: 25 wpm"));
  EXPECT_TRUE(said("up-converter: keyer hang: 310 ms"));
  EXPECT_TRUE(said("up-converter: rate: 192 kHz"));
  EXPECT_TRUE(said("up-converter: microphone: PTT off"));
}

TEST_F(protocol2HostTest, everyFieldThatSaysTooMuchIsNamed) {
  for (const p2Packet kind : {p2Packet::general, p2Packet::downConverter, p2Packet::upConverter, p2Packet::highPriority}) {
    for (const p2Field& f : p2FieldsOf(kind)) {
      bytes d(p2CommandBytes[static_cast<size_t>(kind)]);
      std::fill_n(d.begin() + static_cast<ptrdiff_t>(f.at), f.bytes, 0xFF);
      if (f.allows(f.value(d))) continue; // anything may stand there
      protocol2Host fresh(16, clock_Hz);
      problemLog log;
      fresh.take(kind, d, log, nullptr);
      const std::string wanted = std::string("bad field: ") + p2PacketName(kind) + " " + f.name;
      EXPECT_TRUE(std::any_of(log.latest().begin(), log.latest().end(), [&](const auto& t) { return t.starts_with(wanted); }))
          << wanted;
    }
  }
}

TEST_F(protocol2HostTest, fieldsStandInOrderWithoutOverlap) {
  for (const p2Packet kind : {p2Packet::general, p2Packet::downConverter, p2Packet::upConverter, p2Packet::highPriority}) {
    size_t at = 4;
    for (const p2Field& f : p2FieldsOf(kind)) {
      EXPECT_GE(f.at, at) << f.name;
      at = f.at + f.bytes;
    }
    EXPECT_LE(at, p2CommandBytes[static_cast<size_t>(kind)]);
  }
}

TEST_F(protocol2HostTest, aByteWithoutAFieldMustBeZero) {
  bytes d = peer.highPriority(true);
  d[1000] = 5;
  take(p2Packet::highPriority, d);
  EXPECT_EQ(problems.summary(), "unknown field 1");
  EXPECT_EQ(problems.latest().back(), "unknown field: high-priority byte 1000: 0x05");
}

TEST_F(protocol2HostTest, onlyWhatChangedIsSaidAndCheckedAgain) {
  peer.attenuation_dB = 40; // the field holds 31
  take(p2Packet::highPriority, peer.highPriority(true));
  EXPECT_EQ(problems.total(), 1u);
  words.clear();
  take(p2Packet::highPriority, peer.highPriority(true));
  EXPECT_EQ(problems.total(), 1u);
  EXPECT_TRUE(words.empty());
  peer.attenuation_dB = 10;
  take(p2Packet::highPriority, peer.highPriority(true));
  EXPECT_EQ(words, std::vector<std::string>{"high-priority: attenuator of converter 0: 10 dB"});
  EXPECT_EQ(host.settings().attenuation_dB[0], 10);
  EXPECT_EQ(host.packets(p2Packet::highPriority), 3u);
}

TEST_F(protocol2HostTest, strangeRatesAndTooManyReceiversAreNoted) {
  protocol2Host small(2, clock_Hz);
  peer.receivers = {{48}, {50}, {96}};
  small.take(p2Packet::downConverter, peer.downConverter(), problems, nullptr);
  EXPECT_EQ(problems.summary(), "unknown rate 1, too many receivers 1");
  EXPECT_TRUE(small.settings().rx[0].on);
  EXPECT_FALSE(small.settings().rx[1].on);
  EXPECT_FALSE(small.settings().rx[2].on);
}

TEST_F(protocol2HostTest, nineReceiversUseTheSecondByte) {
  peer.receivers.assign(9, {192});
  take(p2Packet::downConverter, peer.downConverter());
  EXPECT_TRUE(said("down-converter: receivers on, 0 to 7: 0xff"));
  EXPECT_TRUE(said("down-converter: receivers on, 8 to 15: 0x01"));
  EXPECT_EQ(host.settings().receiversOn(), 9);
}

TEST_F(protocol2HostTest, withoutThePhaseWordBitFrequenciesAreInHertz) {
  bytes g = peer.general();
  g[37] = 0;
  bytes h(1444);
  larch::simtest::write(h, 9, 4, 7100000);
  take(p2Packet::general, g);
  take(p2Packet::highPriority, h);
  EXPECT_EQ(host.settings().rx[0].frequency_Hz, 7100000);
}

TEST_F(protocol2HostTest, sequenceNumbersCountOrStayZero) {
  bytes d = peer.highPriority(true);
  for (int i = 0; i < 3; ++i) take(p2Packet::highPriority, d);
  EXPECT_EQ(problems.count(problem::sequenceBreak), 0u);
  for (const uint32_t n : {1u, 2u, 3u}) larch::simtest::write(d, 0, 4, n), take(p2Packet::highPriority, d);
  EXPECT_EQ(problems.count(problem::sequenceBreak), 0u);
  larch::simtest::write(d, 0, 4, 5);
  take(p2Packet::highPriority, d);
  EXPECT_EQ(problems.count(problem::sequenceBreak), 1u);
  EXPECT_EQ(problems.latest().back(), "sequence break: high-priority 5 where 4 was due");
}
