#include "tests/radio/logCapture.h"
#include "tests/radio/npBench.h"
#include <filesystem>

using namespace larch;
using namespace larch::test;

namespace {

std::ptrdiff_t threads() {
  const std::filesystem::directory_iterator tasks("/proc/self/task");
  return std::distance(begin(tasks), end(tasks));
}

// The four packets of a start, by their ports; the last one's byte 4 says that the radio runs.
void expectStart(npBench& b) {
  EXPECT_EQ(b.peer.receive(1024).size(), 60u);
  EXPECT_EQ(b.peer.receive(1025).size(), 1444u);
  EXPECT_EQ(b.peer.receive(1026).size(), 60u);
  const bytes priority = b.peer.receive(1027);
  ASSERT_EQ(priority.size(), 1444u);
  EXPECT_EQ(priority[4], 1);
  for (int port = 1024; port <= 1027; port++) EXPECT_TRUE(b.peer.receive(port, 0).empty()) << port;
}

} // namespace

TEST(HpsdrNpRadioLifecycleTest, aStartSendsEachPacketOnceAndTheStreamReachesATransceiver) {
  npBench b(true);
  b.radio->startRadio();
  b.keepTransceivers();
  expectStart(b);
  ASSERT_EQ(b.radio->transceivers.size(), 1u);
  EXPECT_EQ(b.radio->transceivers[0]->vfo.value, 14095600);
  EXPECT_EQ(b.radio->widebandNyquist, 61440000.0);
  for (uint32_t s = 0; s < 6; s++) b.fromRadio(1035, npSamples(s));
  EXPECT_TRUE(b.runUntil([&] { return b.radio->handledPackets == 6; }));
  EXPECT_EQ(b.radio->ep6SeqErrors.value, 0);
  EXPECT_EQ(b.radio->hwReceivers[0].fillPosition, 6 * 238u - 2 * 512u);
  EXPECT_TRUE(b.runUntil([&] { return b.radio->transport.outOfKernel() == 0; }));
}

TEST(HpsdrNpRadioLifecycleTest, aStopAndAnotherStartNeedNoOtherThread) {
  npBench b(true);
  b.radio->startRadio();
  expectStart(b);
  const auto before = threads();
  b.radio->stopRadio();
  const bytes stop = b.peer.receive(1027);
  ASSERT_EQ(stop.size(), 1444u);
  EXPECT_EQ(stop[4], 0);
  b.fromRadio(1035, npSamples(0)); // what still comes is handled
  EXPECT_TRUE(b.runUntil([&] { return b.radio->handledPackets == 1; }));
  b.radio->startRadio();
  expectStart(b);
  EXPECT_EQ(threads(), before);
  b.fromRadio(1035, npSamples(1));
  EXPECT_TRUE(b.runUntil([&] { return b.radio->handledPackets == 2; }));
  EXPECT_EQ(b.radio->ep6SeqErrors.value, 0);
}

TEST(HpsdrNpRadioLifecycleTest, anAddressThatIsNoneEndsTheStartBeforeAnythingHappens) {
  logCapture log;
  npBench b(true);
  const auto before = threads();
  for (const char* text : {"", "radio", "1.2.3", "256.1.1.1"}) {
    b.radio->ipAddress.set(text);
    b.radio->queueSetItem(seqTask([radio = b.radio] { radio->start(); }, "Radio.start()"));
    runAll();
  }
  EXPECT_EQ(log.times("Radio.start()"), 4) << log.text();
  EXPECT_TRUE(b.radio->transceivers.empty());
  EXPECT_TRUE(b.radio->firstStart);
  EXPECT_EQ(b.port(), 0);
  EXPECT_EQ(threads(), before);
  b.radio->ipAddress.set(b.peer.text());
  b.radio->start();
  expectStart(b);
}

TEST(HpsdrNpRadioLifecycleTest, theBroadcastAddressPassesAndItsSendsAreLogged) {
  logCapture log;
  npBench b(true);
  b.radio->ipAddress.set("255.255.255.255");
  b.radio->startRadio();
  EXPECT_EQ(log.times("RIOSend 13"), 4) << log.text();
  EXPECT_TRUE(b.radio->running.load());
}
