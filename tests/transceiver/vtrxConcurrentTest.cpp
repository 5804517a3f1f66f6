// A transceiver at work on a pool with workers, while the host sets, binds and polls from its thread.
#include "modes/ssbModDemod.h"
#include "platform/clock.h"
#include "tests/transceiver/chainTesting.h"
#include <atomic>
#include <functional>
#include <gtest/gtest.h>
#include <thread>

namespace larch::test {
namespace {

constexpr int32_t centre = 7'100'000, rate = 192000;
constexpr int rounds = 300;
int framesSeen = 0, metersSeen = 0;

// Answers on its own group, as a radio does.
class busyRadio : public radioPort {
 public:
  using radioPort::radioPort;
  void setRxFrequency(int32_t, const std::shared_ptr<vtrx>&, int32_t) override { requests++; }
  void setPtt(const std::shared_ptr<vtrx>& t) override { keyed = t->ptt.get(); }
  void transmit(cbuff block) override { samples += block.count; }
  void removeVtrx(const std::shared_ptr<vtrx>& t) override {
    t->queueSeqProcess(seqTask([t] { t->detach(); }, "detach"));
    removed = true;
  }
  std::atomic<int> requests{0};
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

// The radio's side: chunks, and a transmit group for each.
void stream(const std::shared_ptr<vtrx>& t) {
  for (int i = 0; i < rounds; i++) {
    const cbuff chunk = mirroredTone(1000, rate, 2048, 0.1, static_cast<uint64_t>(i) * 2048);
    post(t, [chunk](vtrx& v) { v.processRxChunk(chunk, centre, rate, buff<double>(2048, 0.01), 38.4e6, 0); });
    post(t, [](vtrx& v) { v.modulateTask(); });
    sleepFor_ns(200'000); // the set ring and the process ring hold a thousand each
  }
}

TEST(vtrxConcurrentTest, hostMaySetAndPollWhileTheSignalRuns) {
  static auto* pool = new sothreadpool(3); // workers live until the process ends
  const auto group = std::make_shared<syncTask>(pool), radioGroup = std::make_shared<syncTask>(pool);
  const auto others = std::make_shared<syncTask>(pool);
  const auto radio = keptByCore(std::make_shared<busyRadio>(radioGroup));
  const auto t = keptByCore(std::make_shared<vtrx>(group));
  t->radio = radio;
  t->init();
  const std::shared_ptr<agc> rx = keptByCore(std::make_shared<agc>(others)), tx = keptByCore(std::make_shared<agc>(others));
  keptByCore(t->rxagc.value);
  keptByCore(t->txagc.value);
  t->newSpectrum = [](buff<float>* frame, double, double, int32_t) {
    framesSeen++;
    delete frame;
  };
  t->signalStrength.bind(t.get(), [](double) { metersSeen++; });
  std::shared_ptr<modDemod> modes[] = {keptByCore(std::make_shared<ssbModDemod>(others)),
                                       keptByCore(std::make_shared<modDemod>(others)), nullptr};
  modes[0]->rnnoise.set(true);
  set(t, [](vtrx& v) { v.start(); });
  set(t, [rx](vtrx& v) { v.rxagc.set(rx); });
  std::jthread radioThread(stream, t);
  for (int i = 0; i < rounds; i++) {
    set(t, [m = modes[i % 40 == 20 ? 1 : i % 40 == 21 ? 2 : 0]](vtrx& v) { v.setModulation(m); });
    set(t, [i](vtrx& v) { v.vfo.set(centre + i); });
    set(t, [i](vtrx& v) { v.ptt.set(i % 60 > 40); });
    set(t, [i](vtrx& v) { v.setRxFilter(300, 2700 + i); });
    set(t, [i](vtrx& v) { v.specZoom.set(1 << i % 4); });
    set(t, [i](vtrx& v) { v.foregroundDisplay.set(i % 7 != 0); });
    set(rx, [i](agc& a) { a.Volume.set(0.01f * static_cast<float>(i)); });
    set(modes[0], [i](modDemod& m) { m.rnnoiseSquelch.set(i % 100); });
    t->signalStrength.bind(t.get(), [](double) { metersSeen++; });
    pool->getUpdates();
    pool->getRenderUpdates();
    // the host's ring holds a thousand sets
    ASSERT_TRUE(waitFor([&] { return radio->requests >= i - 20; }));
  }
  radioThread.join();
  ASSERT_TRUE(waitFor([&] { return radio->samples == 126u * rounds; }));
  set(t, [](vtrx& v) { v.remove(); });
  ASSERT_TRUE(waitFor([&] { return radio->removed.load(); }));
  std::atomic<bool> last{false};
  post(t, [&last](vtrx&) { last = true; });
  ASSERT_TRUE(waitFor([&] { return last.load(); }));
  pool->getUpdates();
  pool->getRenderUpdates();
  EXPECT_GT(framesSeen, 0);
  EXPECT_GT(metersSeen, 0);
  EXPECT_EQ(radio->requests, rounds) << "each tuning";
}

} // namespace
} // namespace larch::test
