// A Protocol 2 radio with all threads that a program has: the radio's, the receive thread, workers, and a host that sets and
// polls.
#include "modes/ssbModDemod.h"
#include "tests/radio/npBench.h"
#include "tests/support/npSender.h"
#include <thread>

using namespace larch;
using namespace larch::test;

namespace {

std::vector<std::shared_ptr<vtrx>> added;
std::atomic<int> framesSeen{0};

void onAdded(handle* h, int32_t, int32_t) {
  added.push_back(std::static_pointer_cast<vtrx>(h->object));
  delete h;
}
template <class X, class Body> void set(const std::shared_ptr<X>& object, Body body) {
  asyncObject& base = *object;
  base.queueSetItem(seqTask([object, body] { body(*object); }, "test.set"));
}

sothreadpool* workingPool() {
  static auto* pool = new sothreadpool(2);
  return pool;
}
void poll() {
  workingPool()->getUpdates();
  workingPool()->getRenderUpdates();
}
bool pollUntil(const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(100);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    poll();
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

} // namespace

TEST(HpsdrNpRadioConcurrentTest, aHostChangesEverythingWhileItStreamsStopsAndStartsAgain) {
  npSender::plan plan;
  plan.receivers = 6; // two of them beyond what the radio has
  plan.microphoneRate = 8000;
  plan.widebandRate = 400;
  plan.address = 0;
  npSender board(plan);
  ASSERT_TRUE(board.bound());
  std::atomic<bool> end{false};
  std::thread boardThread([&] { board.run(end); });

  added.clear();
  auto radio = keptByCore(std::make_shared<openNpRadio>(std::make_shared<syncTask>(workingPool())));
  radio->vtrxAdded = onAdded;
  set(radio, [address = board.address()](openNpRadio& r) {
    r.ipAddress.set(address);
    r.maxHwReceivers.set(4);
    r.disableVirtualReceivers.set(true);
    for (int i = 0; i < 2; i++) r.addVtrx(7000000 + 1000000 * i, 0);
  });
  ASSERT_TRUE(pollUntil([] { return added.size() == 2; }));
  std::vector<std::shared_ptr<ssbModDemod>> modes;
  for (const auto& each : added) {
    keptByCore(each);
    modes.push_back(keptByCore(std::make_shared<ssbModDemod>(radio->taskgroup)));
    set(each, [mode = modes.back()](vtrx& v) {
      keptByCore(v.rxagc.value);
      keptByCore(v.txagc.value);
      v.newSpectrum = [](buff<float>* frame, double, double, int32_t) {
        framesSeen++;
        delete frame;
      };
      v.audioOutput.set(-1);
      v.foregroundDisplay.set(true);
      v.setModulation(mode);
      v.start();
    });
  }
  set(radio, [](Radio& r) { r.start(); });
  ASSERT_TRUE(pollUntil([&] { return radio->receivedCounter.load() > 100; }));
  for (int round = 0; round < 12; round++) {
    SCOPED_TRACE(round);
    set(radio, [round](openNpRadio& r) {
      r.SampleRate.set(48000 << round % 3);
      r.rxGain.set(-round);
      r.maxHwReceivers.set(2 + round % 3);
      r.clockFrequency.set(round % 2 ? 122880000 : 76800000);
      if (round == 4 || round == 8) r.addHwReceiver(3500000 * round); // the list moves to another place
    });
    for (const auto& each : added) set(each, [round](vtrx& v) { v.vfo.set(7000000 + 30000 * round); });
    if (round % 4 == 3) {
      set(radio, [](Radio& r) { r.stop(); });
      set(radio, [](Radio& r) { r.start(); });
    }
    const uint32_t before = radio->receivedCounter.load(), sentBefore = radio->sentCounter.load();
    EXPECT_TRUE(
        pollUntil([&] { return radio->receivedCounter.load() - before > 150 && radio->sentCounter.load() != sentBefore; }));
  }
  const int frames = framesSeen.load();
  EXPECT_TRUE(pollUntil([&] { return framesSeen.load() > frames; })) << "it still receives";
  std::atomic<uint64_t> handled{0};
  set(radio, [&](openNpRadio& r) {
    handled = r.handledPackets;
    r.stop();
    r.transceivers.clear();
  });
  EXPECT_TRUE(pollUntil([&] { return handled.load() > 0; }));
  end = true;
  boardThread.join();
  std::atomic<int> ended{0};
  for (const auto& each : added)
    set(each, [&](vtrx& v) {
      v.setModulation(nullptr);
      ended++;
    });
  EXPECT_TRUE(pollUntil([&] { return ended.load() == 2; }));
  EXPECT_TRUE(pollUntil([&] { return radio->transport->outOfKernel() == 0; })) << "every slot came back";
  added.clear();
}
