// A transceiver on a pool with workers and a radio that answers on a group of its own: for tests in which the host sets and polls
// from its thread meanwhile.
#pragma once
#include "platform/clock.h"
#include "runtime/sothreadpool.h"
#include "transceiver/radioPort.h"
#include "transceiver/vtrx.h"
#include <atomic>
#include <functional>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace larch::test {

// Answers on its own group, as a radio does.
class workingRadio : public radioPort {
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
inline bool waitFor(const std::function<bool()>& condition) {
  constexpr int64_t limit_ns = 60'000'000'000, pause_ns = 200'000;
  for (const int64_t start = monotonicNow_ns(); !condition(); sleepFor_ns(pause_ns))
    if (monotonicNow_ns() > start + limit_ns) return false;
  return true;
}

struct workingStation {
  sothreadpool* pool = workers();
  std::shared_ptr<syncTask> others = std::make_shared<syncTask>(pool); // of the modes
  std::shared_ptr<workingRadio> radio = keptByCore(std::make_shared<workingRadio>(std::make_shared<syncTask>(pool)));
  std::shared_ptr<vtrx> transceiver = keptByCore(std::make_shared<vtrx>(std::make_shared<syncTask>(pool)));

  workingStation() {
    transceiver->radio = radio;
    transceiver->init();
    keptByCore(transceiver->rxagc.value);
    keptByCore(transceiver->txagc.value);
  }

  // Each round the radio's thread posts what `stream` says to the transceiver, while the host's, this one, does what `host` says
  // and polls; the radio may be ahead by nothing and behind by ten rounds: the rings hold a thousand tasks each.
  void run(int rounds, const std::function<void(int)>& stream, const std::function<void(int)>& host) {
    constexpr int behind = 10;
    constexpr int64_t pause_ns = 50'000;
    std::atomic<int> allowed{0}, done{0};
    {
      const std::jthread radioThread([&](const std::stop_token& stop) {
        for (int i = 0; i < rounds; i++) {
          while (allowed.load() <= i && !stop.stop_requested()) sleepFor_ns(pause_ns);
          if (stop.stop_requested()) return;
          stream(i);
          post(transceiver, [&done](vtrx&) { done++; });
        }
      });
      for (int i = 0; i < rounds; i++) {
        host(i);
        poll();
        allowed = i + 1;
        ASSERT_TRUE(waitFor([&] { return done >= i - behind; }));
      }
      ASSERT_TRUE(waitFor([&] { return done == rounds; }));
    }
  }
  // Removes the transceiver and waits until nothing is under way on it and on these.
  void finish(const std::vector<std::shared_ptr<asyncObject>>& objects) {
    set(transceiver, [](vtrx& v) { v.remove(); });
    ASSERT_TRUE(waitFor([&] { return radio->removed.load(); }));
    std::atomic<size_t> last{0};
    for (const auto& object : objects) post(object, [&last](asyncObject&) { last++; });
    ASSERT_TRUE(waitFor([&] { return last == objects.size(); }));
    post(transceiver, [&last](vtrx&) { last++; }); // behind what their verbs have posted there
    ASSERT_TRUE(waitFor([&] { return last == objects.size() + 1; }));
    poll();
  }
  void poll() const {
    pool->getUpdates();
    pool->getRenderUpdates();
  }

 private:
  static sothreadpool* workers() { // they live until the process ends
    constexpr int count = 3;
    static auto* made = new sothreadpool(count);
    return made;
  }
};

} // namespace larch::test
