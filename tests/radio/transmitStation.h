// A transmitting station on one thread: the simulated board on loopback, the Protocol 1 radio, real transceivers. Each datagram
// that the radio makes is looked at and sent at once; time is the board's.
#pragma once
#include "sim/protocol1Radio.h"
#include "tests/radio/transmitBench.h"
#include <functional>

namespace larch::test {

// Tells of what a transceiver asked, before and after.
class watchedRadio : public openRadio {
 public:
  using openRadio::openRadio;
  void setPtt(const std::shared_ptr<vtrx>& t) override {
    const auto before = transmitter.lock();
    const bool keyed = ptt.value;
    openRadio::setPtt(t);
    if (keyed && !ptt.value) unkeyedBy(t == before);
    if (transmitter.lock() != before) tookRole(before);
  }
  void removeVtrx(const std::shared_ptr<vtrx>& t) override {
    const auto before = transmitter.lock();
    const bool keyed = ptt.value;
    openRadio::removeVtrx(t);
    if (keyed && !ptt.value) unkeyedBy(false);
    if (transmitter.lock() != before) tookRole(before);
  }
  std::function<void(bool own)> unkeyedBy = [](bool) {}; // own: by the transmitter itself, at the end of its fall
  std::function<void(const std::shared_ptr<vtrx>& former)> tookRole = [](const std::shared_ptr<vtrx>&) {};
};

struct transmitStation {
  explicit transmitStation(int32_t rate = 48000, int receivers = 1) {
    sim::radioOptions options;
    options.receivers = 8;
    board = sim::protocol1Radio::onFreeLoopback(options);
    radio = keptByCore(std::make_shared<watchedRadio>(std::make_shared<syncTask>(pool)));
    EXPECT_EQ(radio->transport.create(parseIpv4(board->address().c_str()), 1024), 0);
    radio->arrival.assign(1024, 0);
    radio->threadStarted = true; // turns are taken by hand
    radio->clockFrequency.set(static_cast<int32_t>(options.board->clock_Hz));
    radio->FwVersion.set(options.board->firmware);
    radio->maxHwReceivers.set(receivers);
    radio->SampleRate.set(rate);
    for (int i = 1; i < receivers; i++) radio->addHwReceiver(7000000 + i);
  }
  ~transmitStation() {
    radio->stop();
    for (const auto& each : radio->transceivers) each->setModulation(nullptr);
    radio->transceivers.clear();
    settle();
    pool->getRenderUpdates();
    pool->getUpdates();
  }
  transmitStation(const transmitStation&) = delete;
  transmitStation& operator=(const transmitStation&) = delete;

  std::shared_ptr<vtrx> add(int32_t vfo, std::shared_ptr<modDemod> mode = nullptr) {
    auto v = addTransmitter(*radio, vfo, std::move(mode));
    settle();
    return v;
  }
  void start() {
    radio->initialise();
    restart();
  }
  void restart() {
    radio->start();
    settle();
    ASSERT_TRUE(board->waitUntil([](const auto& r) { return r.streaming; }));
  }
  void stop() {
    radio->stop();
    settle();
    ASSERT_TRUE(board->waitUntil([](const auto& r) { return !r.streaming; }));
  }
  void key(const std::shared_ptr<vtrx>& v, bool down) {
    v->ptt.set(down);
    settle();
  }
  // Runs all that waits.
  void settle() {
    while (turn()) {
    }
    flush();
    board->poll();
  }
  bool turn() {
    flush();
    const bool some = pool->turn();
    flush();
    return some;
  }
  // The board's next datagrams, received and posted to the radio's group, nothing of it run.
  void emit(std::size_t datagrams) {
    const auto before = board->report();
    ASSERT_EQ(board->emit(datagrams), datagrams);
    const auto after = board->report();
    const auto& f = after.faults;
    const uint64_t lost = f.lost - before.faults.lost;
    const uint64_t made = after.iqSent - before.iqSent + after.widebandSent - before.widebandSent - lost;
    const uint32_t first = radio->receivedCounter.load();
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (radio->receivedCounter.load() - first < made) {
      ASSERT_LT(std::chrono::steady_clock::now(), limit) << "datagrams got lost";
      radio->rxTurn();
    }
  }
  // Datagram by datagram; what is sent meanwhile.
  std::vector<sentDatagram> run(int datagrams) {
    const std::size_t before = sent.size();
    for (int i = 0; i < datagrams; i++) {
      emit(1);
      settle();
    }
    return {sent.begin() + static_cast<std::ptrdiff_t>(before), sent.end()};
  }
  sentDatagram runOne() {
    const auto one = run(1);
    EXPECT_EQ(one.size(), 1u);
    return one.empty() ? sentDatagram{} : one.back();
  }

  bool silent = useNoSoundCard();  // unless the test has chosen cards before
  sothreadpool* pool = handPool(); // lives on, as the library's does
  std::unique_ptr<sim::protocol1Radio> board;
  std::shared_ptr<watchedRadio> radio;
  std::vector<sentDatagram> sent;
  std::function<void(const sentDatagram&)> onSent = [this](const sentDatagram& d) { sent.push_back(d); };
  int controls = 0;     // start and stop datagrams
  int loseOnTheWay = 0; // so many of the next datagrams never arrive

 private:
  void flush() {
    for (const int32_t* slot = radio->sendRing.front(); slot; slot = radio->sendRing.front()) {
      const uint8_t* data = radio->transport.sendDataArea(*slot);
      if (data[2] == 1)
        onSent(readSent(data));
      else
        controls++;
      if (loseOnTheWay > 0)
        loseOnTheWay--;
      else
        radio->transport.sendData(*slot);
      radio->sendRing.pop();
      board->poll();
    }
  }
};

} // namespace larch::test
