// Verbs, sets and polls from the host's thread while the chain runs on the pool's workers.
#include "modes/cwModDemod.h"
#include "platform/clock.h"
#include "tests/transceiver/chainTesting.h"
#include <atomic>
#include <functional>
#include <gtest/gtest.h>
#include <thread>

namespace larch::test {
namespace {

constexpr int32_t centre = 7'030'000, rate = 48000;
constexpr int rounds = 300, groupsARound = 4;

std::string sentText;
int heardCharacters = 0, speedsSeen = 0, pttsSeen = 0;

// Answers on its own group, as a radio does.
class countingRadio : public radioPort {
 public:
  using radioPort::radioPort;
  void setRxFrequency(int32_t, const std::shared_ptr<vtrx>&, int32_t) override {}
  void setPtt(const std::shared_ptr<vtrx>& t) override { keyed = t->ptt.get(); }
  void transmit(cbuff block) override { samples += block.count; }
  void removeVtrx(const std::shared_ptr<vtrx>& t) override {
    t->queueSeqProcess(seqTask([t] { t->detach(); }, "detach"));
    removed = true;
  }
  std::atomic<uint64_t> samples{0};
  std::atomic<bool> keyed{false}, removed{false};
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

TEST(cwConcurrentTest, verbsAndSetsComeWhileTheChainRuns) {
  static auto* pool = new sothreadpool(3); // workers live until the process ends
  const auto signalGroup = std::make_shared<syncTask>(pool), radioGroup = std::make_shared<syncTask>(pool);
  const auto others = std::make_shared<syncTask>(pool);
  const auto radio = keptByCore(std::make_shared<countingRadio>(radioGroup));
  const auto t = keptByCore(std::make_shared<vtrx>(signalGroup));
  t->radio = radio;
  t->init();
  keptByCore(t->rxagc.value);
  keptByCore(t->txagc.value);
  const auto cw = keptByCore(std::make_shared<cwModDemod>(others));
  cw->sentChars = [](const char* text) { sentText += text; };
  cw->newChars = [](const char*) { heardCharacters++; };
  cw->rxwpm.bind(cw.get(), [](double) { speedsSeen++; });
  t->ptt.bind(t.get(), [](bool) { pttsSeen++; });
  set(t, [cw](vtrx& v) {
    v.vfo.set(centre);
    v.setModulation(cw);
    v.start();
  });

  // the radio's side: groups are asked for and chunks come in, at a pace that the host sets
  std::atomic<int> allowed{0}, done{0};
  std::jthread radioThread([&] {
    for (int i = 0; i < rounds; i++) {
      while (allowed.load() <= i) sleepFor_ns(50'000);
      const bool mark = i % 7 < 3;
      post(t, [mark](vtrx& v) { v.processRxChunk(cbuff(512, mark ? 0.1 : 1e-6), centre, rate, {}, 0, 0); });
      for (int k = 0; k < groupsARound; k++) post(t, [](vtrx& v) { v.modulateTask(); });
      post(t, [&done](vtrx&) { done++; });
    }
  });
  const std::string text(40, 'e');
  for (int i = 0; i < rounds; i++) {
    set(cw, [&text](cwModDemod& m) { m.queueText(text, static_cast<uint32_t>(m.sentCount())); });
    if (i % 5 == 0) set(cw, [](cwModDemod& m) { m.keyDown(); });
    if (i % 5 == 1) set(cw, [](cwModDemod& m) { m.keyUp(); });
    set(cw, [i](cwModDemod& m) { m.wpm.set(i % 50 == 49 ? 0.0 : 500.0 + i); });
    set(cw, [i](cwModDemod& m) { m.freq.set(600 + i); });
    set(cw, [i](cwModDemod& m) { m.swHangTime.set(i % 3 - 1); });
    set(cw, [i](cwModDemod& m) { m.rxwpm.set(i); });
    set(cw, [i](cwModDemod& m) { m.sidetoneVolume.set(0.001 * i); });
    set(t, [i](vtrx& v) { v.ptt.set(i % 4 == 0); });
    set(radio, [i](countingRadio& r) { r.cwInternal.set(i % 8 == 0); });
    set(radio, [i](countingRadio& r) { r.RadioPtt.set(i % 6 == 0); });
    if (i % 100 == 60) set(t, [](vtrx& v) { v.setModulation(nullptr); });
    if (i % 100 == 61) set(t, [cw](vtrx& v) { v.setModulation(cw); });
    pool->getUpdates();
    allowed = i + 1;
    ASSERT_TRUE(waitFor([&] { return done >= i - 10; })); // the rings hold a thousand each
  }
  radioThread.join();
  ASSERT_TRUE(waitFor([&] { return done == rounds; }));
  ASSERT_TRUE(waitFor([&] { return radio->samples == 126u * rounds * groupsARound; }));
  set(t, [](vtrx& v) { v.remove(); });
  ASSERT_TRUE(waitFor([&] { return radio->removed.load(); }));
  std::atomic<int> last{0};
  for (const std::shared_ptr<asyncObject>& object : {std::shared_ptr<asyncObject>(t), std::shared_ptr<asyncObject>(cw)})
    post(object, [&last](asyncObject&) { last++; });
  ASSERT_TRUE(waitFor([&] { return last == 2; }));
  std::atomic<bool> behindVerbs{false};
  post(t, [&behindVerbs](vtrx&) { behindVerbs = true; });
  ASSERT_TRUE(waitFor([&] { return behindVerbs.load(); }));
  pool->getUpdates();
  EXPECT_EQ(sentText, std::string(static_cast<size_t>(cw->sentCount()), 'e'));
  EXPECT_GT(sentText.size(), 0u);
  EXPECT_GT(speedsSeen, 0);
  EXPECT_GT(pttsSeen, 0);
}

} // namespace
} // namespace larch::test
