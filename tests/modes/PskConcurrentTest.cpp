// Sets, text and polls from the host's thread while the PSK mode runs on the pool's workers.
#include "modes/PskModDemod.h"
#include "platform/clock.h"
#include "tests/transceiver/chainTesting.h"
#include <atomic>
#include <functional>
#include <gtest/gtest.h>
#include <thread>

namespace larch::test {
namespace {

constexpr int32_t centre = 14'070'000, rate = 48000;
constexpr int rounds = 200;

// Answers on its own group, as a radio does.
class pttRadio : public radioPort {
 public:
  using radioPort::radioPort;
  void setRxFrequency(int32_t, const std::shared_ptr<vtrx>&, int32_t) override {}
  void setPtt(const std::shared_ptr<vtrx>&) override {}
  void transmit(cbuff) override {}
  void removeVtrx(const std::shared_ptr<vtrx>& t) override {
    t->queueSeqProcess(seqTask([t] { t->detach(); }, "detach"));
    removed = true;
  }
  std::atomic<bool> removed{false};
};

template <class X, class Body> void post(const std::shared_ptr<X>& object, Body body) {
  asyncObject& base = *object;
  base.queueSeqProcess(seqTask([object, body] { body(*object); }, "test"));
}
template <class X, class Body> void set(const std::shared_ptr<X>& object, Body body) {
  asyncObject& base = *object;
  base.queueSetItem(seqTask([object, body] { body(*object); }, "test.set"));
}

// False after a time that only a broken machine needs.
bool waitFor(const std::function<bool()>& condition) {
  constexpr int64_t limit_ns = 60'000'000'000, pause_ns = 200'000;
  for (const int64_t start = monotonicNow_ns(); !condition(); sleepFor_ns(pause_ns))
    if (monotonicNow_ns() > start + limit_ns) return false;
  return true;
}

int frequenciesSeen;

} // namespace

TEST(PskConcurrentTest, setsAndTextComeWhileTheChainRuns) {
  static auto* pool = new sothreadpool(3); // workers live until the process ends
  const auto signalGroup = std::make_shared<syncTask>(pool), radioGroup = std::make_shared<syncTask>(pool);
  const auto others = std::make_shared<syncTask>(pool);
  const auto radio = keptByCore(std::make_shared<pttRadio>(radioGroup));
  const auto t = keptByCore(std::make_shared<vtrx>(signalGroup));
  t->radio = radio;
  t->init();
  keptByCore(t->rxagc.value);
  keptByCore(t->txagc.value);
  const auto psk = keptByCore(std::make_shared<PskModDemod>(others));
  const auto detector = psk->dets.items[62];
  psk->newChars = [](const char*) {};
  psk->sentChars = [](const char*) {};
  psk->rxFreq.bind(psk.get(), [](int32_t) { frequenciesSeen++; });
  psk->dets.bind(psk.get(), [](int32_t, int32_t, handle* row) { delete row; });
  set(t, [psk](vtrx& v) {
    v.vfo.set(centre);
    v.setModulation(psk);
    v.start();
  });
  std::atomic<int> allowed{0}, done{0};
  std::jthread radioThread([&] {
    for (int i = 0; i < rounds; i++) {
      while (allowed.load() <= i) sleepFor_ns(50'000);
      post(t, [i](vtrx& v) { v.processRxChunk(mirroredTone(1500 + i % 5, rate, 512, 0.1), centre, rate, {}, 0, 0); });
      for (int k = 0; k < 4; k++) post(t, [](vtrx& v) { v.modulateTask(); });
      post(t, [&done](vtrx&) { done++; });
    }
  });
  for (int i = 0; i < rounds; i++) {
    set(psk, [](PskModDemod& m) { m.queueText("text", static_cast<uint32_t>(m.text().sentCount())); });
    if (i % 3 == 0) set(psk, [i](PskModDemod& m) { m.rxFreq.set(1000 + i); });
    set(psk, [i](PskModDemod& m) { m.mode.set(pskModes[i % 6].value); });
    if (i % 4 == 1) set(psk, [i](PskModDemod& m) { m.primaryDetector.set(i % 70 - 2); });
    set(detector, [i](PskDetector& d) { d.activity.set(i); });
    set(detector, [i](PskDetector& d) { d.freq.set(i); });
    if (i % 50 == 20) set(psk, [](PskModDemod& m) { m.dets.set(0, 5, nullptr); });
    if (i % 50 == 40) set(psk, [](PskModDemod& m) { m.dets.reset(); });
    set(t, [i](vtrx& v) { v.ptt.set(i % 20 < 8); });
    if (i % 60 == 50) set(t, [](vtrx& v) { v.setModulation(nullptr); });
    if (i % 60 == 51) set(t, [psk](vtrx& v) { v.setModulation(psk); });
    pool->getUpdates();
    allowed = i + 1;
    ASSERT_TRUE(waitFor([&] { return done >= i - 10; })); // the rings hold a thousand each
  }
  radioThread.join();
  ASSERT_TRUE(waitFor([&] { return done == rounds; }));
  set(t, [](vtrx& v) { v.remove(); });
  ASSERT_TRUE(waitFor([&] { return radio->removed.load(); }));
  std::atomic<int> last{0};
  for (const std::shared_ptr<asyncObject>& object : {std::shared_ptr<asyncObject>(t), std::shared_ptr<asyncObject>(psk)})
    post(object, [&last](asyncObject&) { last++; });
  ASSERT_TRUE(waitFor([&] { return last == 2; }));
  std::atomic<bool> behindSets{false};
  post(t, [&behindSets](vtrx&) { behindSets = true; });
  ASSERT_TRUE(waitFor([&] { return behindSets.load(); }));
  pool->getUpdates();
  EXPECT_GT(frequenciesSeen, 0);
}

} // namespace larch::test
