// Text, sets and polls from the host's thread while RTTY and Hellschreiber run on the pool's workers.
#include "modes/RTTYModDemod.h"
#include "modes/hellschreiberModDemod.h"
#include "platform/clock.h"
#include "tests/modes/rttyTesting.h"
#include "tests/transceiver/chainTesting.h"
#include <atomic>
#include <functional>
#include <gtest/gtest.h>
#include <thread>

namespace larch::test {
namespace {

constexpr int32_t centre = 14'080'000, rate = 48000;
constexpr int rounds = 400, groupsARound = 16;

std::string sentOfRtty, sentOfHell, heardText;
int tracesSeen, pttsSeen;

// Answers on its own group, as a radio does.
class countingRadio : public radioPort {
 public:
  using radioPort::radioPort;
  void setRxFrequency(int32_t, const std::shared_ptr<vtrx>&, int32_t) override {}
  void setPtt(const std::shared_ptr<vtrx>&) override {}
  void transmit(cbuff block) override { samples += block.count; }
  void removeVtrx(const std::shared_ptr<vtrx>& t) override {
    t->queueSeqProcess(seqTask([t] { t->detach(); }, "detach"));
    removed = true;
  }
  std::atomic<uint64_t> samples{0};
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

TEST(rttyConcurrentTest, textAndSetsComeWhileTheChainRuns) {
  sentOfRtty.clear();
  sentOfHell.clear();
  pttsSeen = 0;
  static auto* pool = new sothreadpool(3); // workers live until the process ends
  const auto signalGroup = std::make_shared<syncTask>(pool), radioGroup = std::make_shared<syncTask>(pool);
  const auto others = std::make_shared<syncTask>(pool);
  const auto radio = keptByCore(std::make_shared<countingRadio>(radioGroup));
  const auto t = keptByCore(std::make_shared<vtrx>(signalGroup));
  t->radio = radio;
  t->init();
  keptByCore(t->rxagc.value);
  keptByCore(t->txagc.value);
  const auto rtty = keptByCore(std::make_shared<RTTYModDemod>(others));
  const auto hell = keptByCore(std::make_shared<hellschreiberModDemod>(others));
  rtty->sentChars = [](const char* text) { sentOfRtty += text; };
  rtty->newChars = [](const char* text) { heardText += text; };
  rtty->newDebug = [](buff<float>* trace) {
    tracesSeen++;
    delete trace;
  };
  hell->sentChars = [](const char* text) { sentOfHell += text; };
  t->ptt.bind(t.get(), [](bool) { pttsSeen++; });
  set(t, [rtty](vtrx& v) {
    v.vfo.set(centre);
    v.setModulation(rtty);
    v.start();
  });

  // the radio's side: groups are asked for and chunks come in, at a pace that the host sets
  rttySender station(2000, 0.01);
  station.frames(codesOf("RYRYRYRYRYRYRYRYRYRYRYRYRYRYRY"));
  std::atomic<int> allowed{0}, done{0};
  std::jthread radioThread([&] {
    for (int i = 0; i < rounds; i++) {
      while (allowed.load() <= i) sleepFor_ns(50'000);
      cbuff block(512);
      for (uint64_t n = 0; n < 512; n++) block.data[n] = station.sent[(static_cast<size_t>(i) * 512 + n) % station.sent.size()];
      post(t, [block](vtrx& v) { v.processRxChunk(block, centre, rate, {}, 0, 0); });
      for (int k = 0; k < groupsARound; k++) post(t, [](vtrx& v) { v.modulateTask(); });
      post(t, [&done](vtrx&) { done++; });
    }
  });
  for (int i = 0; i < rounds; i++) {
    const bool end = i % 30 == 29;
    set(rtty, [end](RTTYModDemod& m) { m.queueText(end ? "~" : "e1e2", static_cast<uint32_t>(m.text().sentCount())); });
    set(hell, [end](hellschreiberModDemod& m) { m.queueText(end ? "~" : "li", static_cast<uint32_t>(m.text().sentCount())); });
    set(rtty, [i](RTTYModDemod& m) { m.rxFreq.set(i % 10 ? 2000 : 1000 + i); });
    set(rtty, [i](RTTYModDemod& m) { m.dbg1.set(i); });
    set(hell, [i](hellschreiberModDemod& m) { m.frequencyStep.set(i % 40 == 39 ? 0 : 100.0 + i); });
    set(t, [i](vtrx& v) { v.ptt.set(i % 20 < 15); });
    if (i % 100 == 40) set(t, [hell](vtrx& v) { v.setModulation(hell); });
    if (i % 100 == 70) set(t, [](vtrx& v) { v.setModulation(nullptr); });
    if (i % 100 == 75) set(t, [rtty](vtrx& v) { v.setModulation(rtty); });
    pool->getUpdates();
    allowed = i + 1;
    ASSERT_TRUE(waitFor([&] { return done >= i - 10; })); // the rings hold a thousand each
  }
  radioThread.join();
  ASSERT_TRUE(waitFor([&] { return done == rounds; }));
  ASSERT_TRUE(waitFor([&] { return radio->samples == 126u * rounds * groupsARound; }));
  // an end that comes for certain while ptt is on: at the latest behind two frames
  set(t, [rtty](vtrx& v) {
    v.setModulation(rtty);
    v.ptt.set(true);
  });
  set(rtty, [](RTTYModDemod& m) { m.queueText("~", static_cast<uint32_t>(m.text().sentCount())); });
  ASSERT_TRUE(waitFor([&] {
    post(t, [](vtrx& v) { v.modulateTask(); });
    pool->getUpdates();
    return pttsSeen > 0 && !t->ptt.get();
  }));
  set(t, [](vtrx& v) { v.remove(); });
  ASSERT_TRUE(waitFor([&] { return radio->removed.load(); }));
  std::atomic<int> last{0};
  for (const std::shared_ptr<asyncObject>& object :
       {std::shared_ptr<asyncObject>(t), std::shared_ptr<asyncObject>(rtty), std::shared_ptr<asyncObject>(hell)})
    post(object, [&last](asyncObject&) { last++; });
  ASSERT_TRUE(waitFor([&] { return last == 3; }));
  pool->getUpdates();
  EXPECT_EQ(sentOfRtty.size(), static_cast<size_t>(rtty->text().sentCount()));
  EXPECT_EQ(sentOfRtty.find_first_not_of("e12~"), std::string::npos);
  EXPECT_GT(sentOfRtty.size(), 20u);
  EXPECT_EQ(sentOfHell.size(), static_cast<size_t>(hell->text().sentCount()));
  EXPECT_EQ(sentOfHell.find_first_not_of("li~"), std::string::npos);
  EXPECT_GT(sentOfHell.size(), 20u);
  EXPECT_GT(pttsSeen, 0);
  EXPECT_GT(heardText.size() + static_cast<size_t>(tracesSeen), 0u);
}

} // namespace
} // namespace larch::test
