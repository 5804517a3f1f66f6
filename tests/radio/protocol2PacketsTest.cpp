// What is sent, byte by byte, through a radio and its sockets; and the packets' own functions at their edges.
#include "tests/radio/npBench.h"
#include "tests/radio/protocol2Golden.h"

using namespace larch;
using namespace larch::test;

namespace {

bytes spread(const goldenPacket& packet, std::size_t length) {
  bytes d(length, 0);
  for (const goldenRun& run : packet)
    for (std::size_t i = 0; i < run.values.size(); i++)
      d.at(static_cast<std::size_t>(run.at) + i) = static_cast<uint8_t>(run.values[i]);
  return d;
}
void expectPacket(const bytes& got, const goldenPacket& packet, std::size_t length) {
  const bytes expected = spread(packet, length);
  ASSERT_EQ(got.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); i++) ASSERT_EQ(int{got[i]}, int{expected[i]}) << "byte " << i;
}

struct protocol2PacketsTest : testing::TestWithParam<goldenPackets> {};

} // namespace

TEST_P(protocol2PacketsTest, everyByteOfAStartAndAStopStandsAsTheTablesSay) {
  const goldenPackets& g = GetParam();
  npBench b;
  b.radio->maxHwReceivers.set(g.maxHwReceivers);
  b.radio->SampleRate.set(g.sampleRate);
  b.radio->clockFrequency.set(g.clockFrequency);
  b.radio->rxGain.set(g.rxGain);
  b.radio->maxRxRFGain.set(g.maxRxRFGain);
  b.radio->frequencyCalibration.set(1.5); // doesn't enter
  b.radio->hwReceivers[0].frequency = g.frequencies[0];
  b.radio->hwReceivers[0].adc = 1; // nor does this
  for (std::size_t i = 1; i < g.frequencies.size(); i++) b.radio->addHwReceiver(g.frequencies[i]);
  b.radio->frequenciesChanged();
  b.radio->startRadio();
  b.radio->stopRadio();
  expectPacket(b.peer.receive(1024), goldenGeneral, 60);
  expectPacket(b.peer.receive(1025), g.downConverters, 1444);
  expectPacket(b.peer.receive(1026), goldenUpConverter, 60);
  expectPacket(b.peer.receive(1027), g.highPriority, 1444);
  expectPacket(b.peer.receive(1027), g.stop, 1444);
  for (int port = 1024; port <= 1027; port++) EXPECT_TRUE(b.peer.receive(port, 0).empty()) << port;
  EXPECT_EQ(b.radio->sentCounter.load(), 5u);
}

INSTANTIATE_TEST_SUITE_P(cases, protocol2PacketsTest, testing::ValuesIn(goldenCases),
                         [](const auto& p) { return "case" + std::to_string(p.index); });

TEST(protocol2PhaseWordTest, roundsHalfAwayFromZeroAndKeepsTheLowBits) {
  EXPECT_EQ(protocol2::phaseWord(14000000, 122880000), 489335467u);
  EXPECT_EQ(protocol2::phaseWord(0, 122880000), 0u);
  EXPECT_EQ(protocol2::phaseWord(122880000, 122880000), 0u);
  EXPECT_EQ(protocol2::phaseWord(61440000, 122880000), 0x80000000u);
  EXPECT_EQ(protocol2::phaseWord(-61440000, 122880000), 0x80000000u);
  EXPECT_EQ(protocol2::phaseWord(30720000, 122880000), 0x40000000u);
  EXPECT_EQ(protocol2::phaseWord(-30720000, 122880000), 0xc0000000u);
  EXPECT_EQ(protocol2::phaseWord(1, 1 << 30), 4u);
  EXPECT_EQ(protocol2::phaseWord(3, 2000000000), 6u);  // 6.44
  EXPECT_EQ(protocol2::phaseWord(7, 2000000000), 15u); // 15.03
}

TEST(protocol2PhaseWordTest, noClockCrashesIt) {
  EXPECT_EQ(protocol2::phaseWord(14000000, 0), 0u);
  EXPECT_EQ(protocol2::phaseWord(std::numeric_limits<int32_t>::max(), 1), 0u); // whole turns
  EXPECT_EQ(protocol2::phaseWord(std::numeric_limits<int32_t>::min(), -1), 0u);
  EXPECT_EQ(protocol2::phaseWord(14000000, -122880000), static_cast<uint32_t>(-489335467));
}

TEST(protocol2PacketsEdgeTest, wordsThatFillAPacketEndWithIt) {
  std::vector<int32_t> frequencies(400, 14000000);
  bytes packet(1444 + 64, 0xee);
  protocol2::highPriority content;
  content.frequencies = frequencies;
  content.clockFrequency = 122880000;
  content.maxReceivers = 1000;
  content.attenuation_dB = 0x155;
  protocol2::writeHighPriority(packet.data(), content);
  protocol2::writeDownConverters(packet.data(), 400, 1000, 48000);
  for (std::size_t i = 1444; i < packet.size(); i++) EXPECT_EQ(packet[i], 0xee);
  EXPECT_EQ(packet[7], 0xff);
  EXPECT_EQ(packet[8], 0xff);
  EXPECT_EQ(packet[9], 0) << "no bits beyond sixteen";
  EXPECT_EQ(packet[17 + 6 * 236 + 5], 24) << "the last whole row";
  EXPECT_EQ(packet[17 + 6 * 237 + 2], 0) << "nothing of the next";
}

TEST(protocol2PacketsEdgeTest, withoutReceiversNoWordIsTold) {
  bytes packet(1444, 0xee);
  protocol2::highPriority content;
  content.maxReceivers = 3;
  content.clockFrequency = 122880000;
  protocol2::writeHighPriority(packet.data(), content);
  for (std::size_t i = 0; i < 1432; i++) ASSERT_EQ(packet[i], 0) << i;
}
