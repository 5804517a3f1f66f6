#include "tests/radio/hpsdrBench.h"
#include "tests/radio/logCapture.h"
#include <chrono>
#include <linux/capability.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <filesystem>
#include <functional>
#include <thread>

using namespace larch;
using namespace larch::test;

namespace {

const bytes startWord{0xef, 0xfe, 4, 3}, stopWord{0xef, 0xfe, 4, 0};
using clock_ = std::chrono::steady_clock;

// A radio with its receive thread; tasks run on the test's thread.
struct startedBench {
  explicit startedBench(const std::string& address = {}) {
    radio = keptByCore(std::make_shared<openRadio>(std::make_shared<syncTask>(handPool())));
    radio->ipAddress.set(address.empty() ? peer.text() : address);
  }
  ~startedBench() { runAll(); }
  // The next datagram at the radio's side; a control word without its zeros.
  bytes next() {
    bytes d = peer.receive(5000);
    if (d.size() == 64) {
      for (std::size_t i = 4; i < d.size(); i++) EXPECT_EQ(d[i], 0);
      d.resize(4);
    }
    return d;
  }
  // Registers 0 to 9 twice, numbered from 0, then the start word.
  void expectStart(int receivers = 1) {
    for (uint32_t i = 0; i < 10; i++) {
      const bytes d = next();
      ASSERT_EQ(d.size(), 1032u) << i;
      const auto sent = readSent(d.data());
      EXPECT_EQ(sent.sequence, i);
      EXPECT_EQ(sent.frame[0].index(), 2 * static_cast<int>(i % 5));
      EXPECT_EQ(sent.frame[1].index(), 2 * static_cast<int>(i % 5) + 1);
      if (i % 5 == 0) {
        EXPECT_EQ(sent.frame[0].c[3], (receivers - 1) << 3 | 4);
      }
    }
    EXPECT_EQ(next(), startWord);
  }
  bool runUntil(const std::function<bool()>& condition) {
    const auto end = clock_::now() + std::chrono::seconds(10);
    while (!condition() && clock_::now() < end)
      if (!handPool()->turn()) std::this_thread::yield();
    return condition();
  }
  void fromRadio(const bytes& d) { peer.sendTo(peer.peerPort, bytes(d.begin(), d.begin() + 1032)); }

  plainPeer peer;
  std::shared_ptr<openRadio> radio;
};

std::ptrdiff_t threads() {
  const std::filesystem::directory_iterator tasks("/proc/self/task");
  return std::distance(begin(tasks), end(tasks));
}

} // namespace

TEST(HpsdrRadioLifecycleTest, startSendsTheRegistersTwiceAndThenTheStartWord) {
  startedBench b;
  b.radio->startRadio();
  b.expectStart();
  EXPECT_TRUE(b.radio->running.load());
  EXPECT_EQ(b.radio->registerIndex, 0);
}

TEST(HpsdrRadioLifecycleTest, aSecondStartSendsTheSequenceAnewWithoutAnotherThread) {
  startedBench b;
  b.radio->startRadio();
  b.expectStart();
  const auto before = threads();
  b.radio->stopRadio();
  EXPECT_FALSE(b.radio->running.load());
  EXPECT_EQ(b.next(), stopWord);
  b.radio->rxSequence = 99;
  b.radio->startRadio();
  b.expectStart();
  EXPECT_EQ(b.radio->rxSequence, 0u);
  EXPECT_EQ(threads(), before);
}

TEST(HpsdrRadioLifecycleTest, eachReceivedPeriodPaysForOneDatagram) {
  startedBench b;
  b.radio->startRadio();
  b.expectStart();
  for (uint32_t s = 0; s < 50; s++) {
    b.fromRadio(received(6, s));
    ASSERT_TRUE(b.runUntil([&] { return b.radio->rxSequence == s + 1; }));
    const bytes d = b.next();
    ASSERT_EQ(d.size(), 1032u);
    EXPECT_EQ(readSent(d.data()).sequence, 10 + s);
    EXPECT_EQ(readSent(d.data()).frame[0].index(), static_cast<int>(2 * s % 46));
  }
  EXPECT_EQ(b.radio->ep6SeqErrors.value, 0);
  EXPECT_TRUE(b.runUntil([&] { return b.radio->sentCounter.load() == 61; }));
  EXPECT_EQ(b.radio->receivedCounter.load(), 50u);
}

TEST(HpsdrRadioLifecycleTest, afterAStopWhatComesIsReleasedUnhandled) {
  startedBench b;
  b.radio->startRadio();
  b.expectStart();
  b.radio->stopRadio();
  EXPECT_EQ(b.next(), stopWord);
  for (uint32_t s = 0; s < 300; s++) { // more than there are slots
    b.fromRadio(received(6, 100 + s));
    ASSERT_TRUE(b.runUntil([&] { return b.radio->receivedCounter.load() == s + 1; }));
  }
  EXPECT_TRUE(b.runUntil([&] { return b.radio->transport.outOfKernel() == 0; }));
  EXPECT_EQ(b.radio->ep6SeqErrors.value, 0);
}

TEST(HpsdrRadioLifecycleTest, anotherReceiverStopsAndStartsTheStream) {
  startedBench b;
  b.radio->startRadio();
  b.expectStart();
  b.radio->addHwReceiver(7000000);
  EXPECT_EQ(b.next(), stopWord);
  b.expectStart(2);
  EXPECT_EQ(b.radio->hwReceivers.size(), 2u);
  EXPECT_EQ(b.radio->dequeueLimit.load(), 2);
  EXPECT_TRUE(b.radio->running.load());
}

TEST(HpsdrRadioLifecycleTest, aRadioThatNeedNotStopGetsItsReceiverInFlight) {
  startedBench b;
  b.radio->stopToAddReceiver.set(false);
  b.radio->startRadio();
  b.expectStart();
  b.radio->addHwReceiver(7000000);
  b.fromRadio(received(6, 0)); // 72 samples of the first 126
  b.fromRadio(received(6, 1));
  ASSERT_TRUE(b.runUntil([&] { return b.radio->rxSequence == 2; }));
  const bytes d = b.next();
  ASSERT_EQ(d.size(), 1032u);
  EXPECT_EQ(readSent(d.data()).frame[0].index(), 0);
  EXPECT_EQ(readSent(d.data()).frame[0].c[3], 1 << 3 | 4);
}

TEST(HpsdrRadioLifecycleTest, theFirstStartMakesTheDefaultRowsAndATransceiver) {
  startedBench b;
  b.radio->clockFrequency.set(122880001);
  b.radio->startRadio();
  const int32_t bands[] = {2498270, 4282749, 5995849, 8565498, 11991698, 16655136, 18737028, 23060958, 27253859, 42827494};
  ASSERT_EQ(b.radio->J16Set.items.size(), std::size(bands));
  for (std::size_t i = 0; i < std::size(bands); i++) {
    const auto& row = *b.radio->J16Set.items[i];
    EXPECT_TRUE(row.maxfrequency.value == bands[i] && row.rx.value == 0 && row.tx.value == 0);
    EXPECT_TRUE(row.maxfrequency.hasValue && row.rx.hasValue && row.tx.hasValue) << "a bind delivers them";
  }
  ASSERT_EQ(b.radio->FwdPwrCalibration.items.size(), 15u);
  const auto& last = *b.radio->FwdPwrCalibration.items[14];
  EXPECT_TRUE(last.inp.value == 4952.746 && last.outp.value == 10.67321 && last.inp.hasValue && last.outp.hasValue);
  EXPECT_EQ(b.radio->FwdPwrCalibration.items[0]->inp.value, 0);
  ASSERT_EQ(b.radio->transceivers.size(), 1u);
  EXPECT_EQ(b.radio->transceivers[0]->vfo.value, 14095600);
  EXPECT_EQ(b.radio->widebandNyquist, 61440000.0);
}

TEST(HpsdrRadioLifecycleTest, tablesOfTheHostAreKept) {
  startedBench b;
  b.radio->J16Set.set(3, 0, keptByCore(std::make_shared<J16>(nullptr)));
  b.radio->FwdPwrCalibration.set(3, 0, keptByCore(std::make_shared<calibLine>(nullptr)));
  b.radio->startRadio();
  EXPECT_EQ(b.radio->J16Set.items.size(), 1u);
  EXPECT_EQ(b.radio->FwdPwrCalibration.items.size(), 1u);
  b.radio->J16Set.reset();
  b.radio->startRadio();
  EXPECT_TRUE(b.radio->J16Set.items.empty()) << "only the first start makes them";
}

TEST(HpsdrRadioLifecycleTest, anAddressThatDoesNotParseIsLoggedAndTheRadioGoesOn) {
  logCapture log;
  startedBench b("radio.example");
  b.radio->startRadio();
  EXPECT_TRUE(log.has("create rio failed 13 13")) << log.text();
  EXPECT_EQ(log.times("RIO connect 13"), 1);
  EXPECT_TRUE(b.radio->running.load());
  EXPECT_TRUE(b.runUntil([&] { return b.radio->sentCounter.load() == 11; })) << "every send was tried";
  EXPECT_EQ(log.times("RIOSend err 89"), 11);
  b.radio->stopRadio();
  b.radio->startRadio();
  EXPECT_EQ(log.times("RIO connect 13"), 2) << "each start tries again";
}

TEST(HpsdrRadioLifecycleTest, aRadioThatIsNotThereIsLoggedAndTheRadioGoesOn) {
  logCapture log;
  startedBench b;
  b.peer.close();
  b.radio->startRadio();
  EXPECT_TRUE(b.runUntil([&] { return b.radio->sentCounter.load() == 11; }));
  EXPECT_TRUE(log.has("RIOSend err 111") || log.has("RIODequeueCompletion 111")) << log.text();
  EXPECT_TRUE(b.radio->running.load());
}

TEST(HpsdrRadioLifecycleTest, withoutReceiveSlotsTheRegistersStillGoOut) {
  for (int32_t receivers : {0, -5, std::numeric_limits<int32_t>::min()}) {
    startedBench b;
    b.radio->maxHwReceivers.set(receivers);
    b.radio->startRadio();
    b.expectStart();
  }
}

TEST(HpsdrRadioLifecycleTest, aRefusedSchedulingClassIsLogged) {
  // the right is taken from this thread, and with it from those that it starts
  __user_cap_header_struct head{_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct rights[2]{};
  ASSERT_EQ(syscall(SYS_capget, &head, rights), 0);
  rights[0].effective &= ~(1u << CAP_SYS_NICE);
  rights[0].permitted &= ~(1u << CAP_SYS_NICE);
  ASSERT_EQ(syscall(SYS_capset, &head, rights), 0);
  const rlimit none{0, 0};
  ASSERT_EQ(setrlimit(RLIMIT_RTPRIO, &none), 0);
  logCapture log;
  startedBench b;
  b.radio->startRadio();
  EXPECT_TRUE(log.has("sothreadPool::worker() setmm priority failed 1")) << log.text();
  b.expectStart();
}

// A turn by hand: without the thread.
TEST(HpsdrRadioLifecycleTest, oneDatagramLeavesATurn) {
  hpsdrBench b;
  for (int i = 0; i < 3; i++) b.radio->sendcommandcontrol(b.radio->silence);
  for (uint32_t i = 0; i < 3; i++) {
    const auto start = clock_::now();
    b.radio->rxTurn();
    EXPECT_GE(clock_::now() - start, std::chrono::milliseconds(10)) << "the wait paces silent turns";
    EXPECT_EQ(b.radio->sentCounter.load(), i + 1);
    EXPECT_EQ(readSent(b.peer.receive().data()).sequence, i);
    EXPECT_TRUE(b.peer.receive(0).empty());
  }
}

TEST(HpsdrRadioLifecycleTest, aTurnGivesBackAllReleasedSlotsBeforeItSends) {
  hpsdrBench b;
  b.radio->running = true;
  for (uint32_t i = 0; i < 5; i++) b.peer.sendTo(b.radio->transport.localPort(), received(6, i));
  for (uint32_t i = 0; i < 5; i++)
    while (b.radio->receivedCounter.load() == i) b.radio->rxTurn();
  EXPECT_EQ(b.radio->transport.outOfKernel(), 5);
  runAll();
  EXPECT_EQ(b.radio->rxSequence, 5u);
  b.radio->rxTurn();
  EXPECT_EQ(b.radio->transport.outOfKernel(), 0);
}
