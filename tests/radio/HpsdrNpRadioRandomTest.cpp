// Datagrams of any length from any port, with any bytes in them.
#include "tests/radio/npBench.h"
#include <random>

using namespace larch;
using namespace larch::test;

namespace {

// What the rules say that becomes of them.
struct expectation {
  std::vector<uint32_t> next;
  uint64_t handled = 0, breaks = 0, wideband = 0, microphone = 0;

  void add(int port, const bytes& d) {
    if (port == 1026) microphone++;
    if (port == 1027 && d.size() >= 1028) wideband++;
    const auto receiver = static_cast<std::size_t>(port - 1035);
    if (port < 1035 || receiver >= next.size() || d.size() < 1444) return;
    const uint32_t s = uint32_t{d[0]} << 24 | uint32_t{d[1]} << 16 | uint32_t{d[2]} << 8 | d[3];
    handled++;
    breaks += s != next[receiver];
    next[receiver] = s + 1;
  }
};

struct HpsdrNpRadioRandomTest : testing::TestWithParam<uint32_t> {};

} // namespace

TEST_P(HpsdrNpRadioRandomTest, anythingMayComeAndNothingElseIsLost) {
  std::mt19937 random(GetParam());
  const auto draw = [&](uint32_t below) { return random() % below; };
  npBench b;
  b.radio->startRadio();
  for (int i = 1; i < 4; i++) b.radio->addHwReceiver(7000000 * i);
  expectation expected;
  expected.next.assign(4, 0);
  for (int i = 0; i < 1500; i++) {
    bytes d(draw(3) == 0 ? 1440 + draw(10) : draw(2001));
    for (uint8_t& each : d) each = static_cast<uint8_t>(random());
    int port = 1024 + static_cast<int>(draw(20));
    if (port > 1027) port += 7;
    if (port < 1035 || draw(2) == 0) {
      b.fromRadio(port, d);
      expected.add(port, d);
    }
    const auto good = draw(4); // a stream that is in order between them
    const bytes own = npSamples(expected.next[good]);
    b.fromRadio(1035 + static_cast<int>(good), own);
    expected.add(1035 + static_cast<int>(good), own);
    if (draw(40) == 0) b.takeAll();
    if (draw(200) == 0) b.radio->SampleRate.set(48000 << draw(6));
    if (draw(300) == 0) b.radio->rxGain.set(static_cast<int32_t>(random()));
  }
  b.takeAll();
  EXPECT_EQ(b.radio->handledPackets, expected.handled);
  EXPECT_EQ(b.radio->sequenceBreaks, expected.breaks);
  EXPECT_EQ(static_cast<uint64_t>(b.radio->meterCounter), expected.wideband % 202);
  EXPECT_EQ(static_cast<uint64_t>(b.radio->microphoneCount), expected.microphone % 32);
  for (std::size_t r = 0; r < 4; r++) EXPECT_EQ(b.radio->hwReceivers[r].expectedSequence, expected.next[r]);
  EXPECT_EQ(b.radio->transport->outOfKernel(), 0);
}

INSTANTIATE_TEST_SUITE_P(seeds, HpsdrNpRadioRandomTest, testing::Values(1u, 20u, 300u));
