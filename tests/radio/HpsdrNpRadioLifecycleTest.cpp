#include "tests/radio/logCapture.h"
#include "tests/radio/npBench.h"
#include <filesystem>
#include <pthread.h>
#include <system_error>

using namespace larch;
using namespace larch::test;

namespace {

std::ptrdiff_t entries(const char* folder) {
  const std::filesystem::directory_iterator all(folder);
  return std::distance(begin(all), end(all));
}
std::ptrdiff_t threads() { return entries("/proc/self/task"); }
std::ptrdiff_t descriptors() { return entries("/proc/self/fd"); }

// While it lives no thread can start: none finds room for its stack.
class noMoreThreads {
 public:
  noMoreThreads() {
    pthread_getattr_default_np(&before_);
    pthread_attr_t huge;
    pthread_attr_init(&huge);
    EXPECT_EQ(pthread_attr_setstacksize(&huge, std::size_t{1} << 47), 0); // all that a process can address
    EXPECT_EQ(pthread_setattr_default_np(&huge), 0);
    pthread_attr_destroy(&huge);
  }
  ~noMoreThreads() {
    EXPECT_EQ(pthread_setattr_default_np(&before_), 0);
    pthread_attr_destroy(&before_);
  }
  noMoreThreads(const noMoreThreads&) = delete;
  noMoreThreads& operator=(const noMoreThreads&) = delete;

 private:
  pthread_attr_t before_;
};

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
  EXPECT_TRUE(b.runUntil([&] { return b.radio->transport->outOfKernel() == 0; }));
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

TEST(HpsdrNpRadioLifecycleTest, aStartWithoutAThreadLeaksNoSocketAndTheNextOneBeginsAnew) {
  npBench b(true);
  const auto threadsBefore = threads();
  {
    const noMoreThreads starved;
    EXPECT_THROW(b.radio->startRadio(), std::system_error);
    b.keepTransceivers();
    const auto descriptorsBefore = descriptors();
    for (int i = 0; i < 3; i++) EXPECT_THROW(b.radio->startRadio(), std::system_error);
    EXPECT_EQ(descriptors(), descriptorsBefore);
  }
  EXPECT_FALSE(b.radio->threadStarted);
  EXPECT_EQ(threads(), threadsBefore);
  EXPECT_TRUE(b.peer.receive(1024, 0).empty());
  const auto descriptorsBefore = descriptors();
  b.radio->startRadio();
  EXPECT_EQ(descriptors(), descriptorsBefore);
  EXPECT_EQ(b.radio->transceivers.size(), 1u);
  expectStart(b);
  b.fromRadio(1035, npSamples(0));
  EXPECT_TRUE(b.runUntil([&] { return b.radio->handledPackets == 1; }));
}

TEST(HpsdrNpRadioLifecycleTest, theBroadcastAddressPassesAndItsSendsAreLogged) {
  logCapture log;
  npBench b(true);
  b.radio->ipAddress.set("255.255.255.255");
  b.radio->startRadio();
  // EACCES, or ENETUNREACH where no route leads anywhere
  EXPECT_EQ(log.times("RIOSend 13") + log.times("RIOSend 101"), 4) << log.text();
  EXPECT_EQ(log.times("RIOSend"), 4) << log.text();
  EXPECT_TRUE(b.radio->running.load());
}
