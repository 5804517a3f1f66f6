// A Protocol 1 radio and the simulated board on loopback that it speaks to, both turned by hand on one thread, without any test
// framework: for tests and studies alike.
#pragma once
#include "radio/HpsdrRadio.h"
#include "runtime/sothreadpool.h"
#include "sim/bandScene.h"
#include "sim/protocol1Radio.h"
#include "tests/radio/addedTransceiver.h"
#include "tests/support/simulatedClock.h"
#include "transceiver/vtrx.h"
#include <chrono>
#include <stdexcept>

namespace larch::test {

// The receive thread's turns are taken by hand.
class keyedRadio : public HpsdrRadio {
 public:
  using HpsdrRadio::arrival;
  using HpsdrRadio::HpsdrRadio;
  using HpsdrRadio::initialise;
  using HpsdrRadio::rxTurn;
  using HpsdrRadio::sendRing;
  using HpsdrRadio::threadStarted;
  using HpsdrRadio::transport;
};

// A board with its scene, the radio with one hardware receiver and one transceiver. All time is the board's. Throws where
// something fails.
class handTurnedRadio {
 public:
  static constexpr std::size_t batch = 8;              // datagrams
  static constexpr int64_t batchSamples = batch * 126; // of the received stream

  handTurnedRadio() {
    const sim::radioOptions options;
    board = sim::protocol1Radio::onFreeLoopback(options, scene);
    radio = keptByCore(std::make_shared<keyedRadio>(std::make_shared<syncTask>(pool())));
    if (radio->transport.create(parseIpv4(board->address().c_str()), slots) != 0) throw std::runtime_error("no socket");
    radio->arrival.assign(slots, 0);
    radio->threadStarted = true;
    radio->clockFrequency.set(static_cast<int32_t>(options.board->clock_Hz));
  }
  ~handTurnedRadio() {
    radio->stopRadio();
    if (transceiver) {
      transceiver->stop();
      transceiver->setModulation(nullptr);
    }
    radio->transceivers.clear();
    settle();
  }
  handTurnedRadio(const handTurnedRadio&) = delete;
  handTurnedRadio& operator=(const handTurnedRadio&) = delete;

  void add(int32_t vfo) {
    transceiver = addTransceiver(*radio, vfo);
    transceiver->start();
  }
  void start() {
    settle();
    radio->initialise();
    radio->start();
    for (int i = 0; i < 100 && radio->sendRing.front(); i++) turn();
    if (!board->report().streaming) throw std::runtime_error("no stream");
  }
  // The board's next datagrams, and all that follows from them.
  void runBatch() {
    clock_.advance_ns(batchSamples * 1'000'000'000LL / radio->SampleRate.value);
    const sim::radioReport before = board->report();
    if (board->emit(batch) != batch) throw std::runtime_error("the board doesn't stream");
    const sim::radioReport after = board->report();
    const auto sent = static_cast<uint32_t>(after.iqSent - before.iqSent + after.widebandSent - before.widebandSent);
    const uint32_t first = radio->receivedCounter.load();
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (radio->receivedCounter.load() - first < sent) {
      if (std::chrono::steady_clock::now() > limit) throw std::runtime_error("datagrams got lost");
      turn();
    }
    settle();
    pool()->getUpdates();
    pool()->getRenderUpdates();
  }
  void settle() {
    while (pool()->turn()) {
    }
  }
  static sothreadpool* pool() { // lives on, as the library's does
    static auto* made = new sothreadpool(0);
    return made;
  }

 private:
  simulatedClock clock_; // outlives the radio

 public:
  const std::shared_ptr<sim::bandScene> scene = std::make_shared<sim::bandScene>();
  std::unique_ptr<sim::protocol1Radio> board;
  std::shared_ptr<keyedRadio> radio;
  std::shared_ptr<vtrx> transceiver;

 private:
  static constexpr int slots = 128;

  void turn() {
    radio->rxTurn();
    settle();
    board->poll();
  }
};

} // namespace larch::test
