// A whole receiving station of Protocol 2 on one thread: the simulated radio on loopback, the radio, a transceiver with a mode
// that keeps the audio on each of its receivers. Time is the simulated radio's.
#pragma once
#include "sim/protocol2Radio.h"
#include "tests/radio/npBench.h"
#include "tests/radio/receivingStation.h"
#include <numeric>

namespace larch::test {

class npStation {
 public:
  npStation(int32_t rate, int receivers) {
    constexpr double atOnce = 40,
                     others = 2400; // datagrams that any socket's buffer holds, and those of the other ports a second
    step_s = std::max(0.001, atOnce / (others + receivers * rate / 238.0));
    sim::protocol2Options options;
    options.receivers = 16;
    board = sim::protocol2Radio::onFreeLoopback(options, scene);
    radio = keptByCore(std::make_shared<openNpRadio>(std::make_shared<syncTask>(pool)));
    radio->ipAddress.set(board->address());
    radio->maxHwReceivers.set(receivers);
    radio->disableVirtualReceivers.set(true);
    radio->SampleRate.set(rate);
    receivingStation::frames().clear();
  }
  ~npStation() {
    radio->stopRadio();
    for (const listener& each : listeners) each.transceiver->setModulation(nullptr);
    radio->transceivers.clear();
    settle();
    pool->getRenderUpdates();
    pool->getUpdates();
  }
  npStation(const npStation&) = delete;
  npStation& operator=(const npStation&) = delete;

  void add(int32_t vfo) {
    radio->addVtrx(vfo, 0);
    listener added{keptByCore(radio->transceivers.back()), keptByCore(std::make_shared<hearingMode>(radio->taskgroup))};
    keptByCore(added.transceiver->rxagc.value);
    keptByCore(added.transceiver->txagc.value);
    added.transceiver->setModulation(added.mode);
    added.transceiver->foregroundDisplay.set(true);
    added.transceiver->newSpectrum = [](buff<float>* frame, double low, double high, int32_t rate) {
      receivingStation::frames().push_back({{frame->data, frame->data + frame->count}, low, high, rate});
      delete frame;
    };
    added.transceiver->start();
    listeners.push_back(std::move(added));
    settle();
  }
  void start() {
    radio->initialise();
    radio->threadStarted = true; // the receive thread's turns are taken by hand
    radio->start();
    board->poll();
    ASSERT_TRUE(board->report().streaming);
  }
  void run(double seconds) {
    const double end_s = board->report().radioTime_s + seconds;
    while (board->report().radioTime_s < end_s) {
      board->advance(step_s);
      const auto made = board->report().sent.made;
      const auto sent = static_cast<uint32_t>(std::accumulate(made.begin(), made.end(), uint64_t{0}));
      const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
      while (radio->receivedCounter.load() != sent) {
        ASSERT_LT(std::chrono::steady_clock::now(), limit) << "datagrams got lost";
        radio->rxTurn();
        settle();
      }
      board->poll();
      pool->getUpdates();
      pool->getRenderUpdates();
    }
  }
  // The frequencies go out, the filters fill; what was heard until then is forgotten.
  void settleIn() {
    run(0.2);
    receivingStation::frames().clear();
    for (listener& each : listeners) each.mode->heard.clear();
  }
  template <class T, class V> void set(const listener& who, property<T> vtrx::*member, V value) {
    (who.transceiver.get()->*member).set(value);
    settle();
  }

  sothreadpool* pool = handPool();
  std::shared_ptr<sim::bandScene> scene = std::make_shared<sim::bandScene>();
  std::unique_ptr<sim::protocol2Radio> board;
  std::shared_ptr<openNpRadio> radio;
  std::deque<listener> listeners;

 private:
  double step_s;

  void settle() {
    while (pool->turn()) {
    }
  }
};

} // namespace larch::test
