// A whole station in the timed-slot mode on one thread, its UTC clock that of the simulated radio: a slot takes a second or two.
#pragma once
#include "modes/JTModDemod.h"
#include "radio/HpsdrRadio.h"
#include "runtime/sothreadpool.h"
#include "sim/bandScene.h"
#include "sim/protocol1Radio.h"
#include "tests/support/simulatedClock.h"
#include "transceiver/vtrx.h"
#include <chrono>
#include <deque>
#include <stdexcept>
#include <string>

namespace larch::test {

class slotStation {
 public:
  static constexpr int32_t dial = 14'074'000;
  static constexpr int64_t fullHour_ns = 495'000LL * 3'600'000'000'000; // 2026-06-21 00:00 UTC

  // Begins so many seconds after a full hour.
  explicit slotStation(double second) : clock_(fullHour_ns + static_cast<int64_t>(second * 1e9)) {
    files().clear();
    sim::radioOptions options;
    board = sim::protocol1Radio::onFreeLoopback(options, scene);
    radio = keptByCore(std::make_shared<openRadio>(std::make_shared<syncTask>(pool())));
    if (radio->transport.create(parseIpv4(board->address().c_str()), slots) != 0) throw std::runtime_error("no socket");
    radio->arrival.assign(slots, 0);
    radio->threadStarted = true; // its turns are taken by hand
    radio->clockFrequency.set(static_cast<int32_t>(options.board->clock_Hz));
    radio->HLite2Gain.set(true);
  }
  ~slotStation() {
    radio->stopRadio();
    for (const auto& each : radio->transceivers) each->setModulation(nullptr);
    radio->transceivers.clear();
    settle();
  }
  slotStation(const slotStation&) = delete;
  slotStation& operator=(const slotStation&) = delete;

  // A transceiver on the dial frequency with a mode of its own; before start.
  std::shared_ptr<JTModDemod> add(const std::string& folder, int32_t low, int32_t high) {
    radio->addVtrx(dial, 0);
    const auto transceiver = keptByCore(radio->transceivers.back());
    keptByCore(transceiver->rxagc.value);
    keptByCore(transceiver->txagc.value);
    transceiver->drive.set(255);
    transceiver->newSpectrum = [](buff<float>* frame, double, double, int32_t) { delete frame; };
    auto mode = keptByCore(std::make_shared<JTModDemod>(radio->taskgroup));
    mode->saveDirectory.set(folder);
    mode->newFile = [](const char* file) { files().emplace_back(file); };
    transceiver->setModulation(mode);
    transceiver->start();
    transceiver->setRxFilter(low, high);
    transceiver->setTxFilter(low, high);
    settle();
    return mode;
  }
  void start() {
    radio->initialise();
    radio->start();
    for (int i = 0; i < 100 && radio->sendRing.front(); i++) turn();
    if (!board->report().streaming) throw std::runtime_error("no stream");
    board->setUtc(static_cast<double>(utcNow_ns()) * 1e-9);
  }
  void run(double seconds) {
    for (const double end_s = board->report().radioTime_s + seconds; board->report().radioTime_s < end_s;) step();
  }
  // The next file that is told of, the digits of its tag behind it.
  std::string nextFile() {
    constexpr double longest_s = 400;
    for (const double end_s = board->report().radioTime_s + longest_s; files().empty(); step())
      if (board->report().radioTime_s > end_s) throw std::runtime_error("no file");
    std::string file = files().front();
    files().pop_front();
    return file;
  }

  std::shared_ptr<sim::bandScene> scene = std::make_shared<sim::bandScene>();
  std::unique_ptr<sim::protocol1Radio> board;

 private:
  class openRadio : public HpsdrRadio {
   public:
    using HpsdrRadio::arrival;
    using HpsdrRadio::HpsdrRadio;
    using HpsdrRadio::initialise;
    using HpsdrRadio::rxTurn;
    using HpsdrRadio::sendRing;
    using HpsdrRadio::threadStarted;
    using HpsdrRadio::transport;
  };
  static constexpr int slots = 256;
  static constexpr std::size_t batch = 16; // few enough for any socket buffer

  static sothreadpool* pool() { // lives on, as the library's does
    static auto* made = new sothreadpool(0);
    return made;
  }
  static std::deque<std::string>& files() { // the callback carries no context
    static std::deque<std::string> all;
    return all;
  }
  void settle() {
    while (pool()->turn()) {
    }
    pool()->getUpdates();
    pool()->getRenderUpdates();
  }
  void turn() {
    radio->rxTurn();
    settle();
    board->poll();
  }
  void step() {
    const sim::radioReport before = board->report();
    if (board->emit(batch) != batch) throw std::runtime_error("the radio doesn't stream");
    const sim::radioReport after = board->report();
    clock_.advance_ns(static_cast<int64_t>((after.radioTime_s - before.radioTime_s) * 1e9 + 0.5));
    const auto sent = static_cast<uint32_t>(after.iqSent - before.iqSent + after.widebandSent - before.widebandSent);
    const uint32_t first = radio->receivedCounter.load();
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (radio->receivedCounter.load() - first < sent) {
      if (std::chrono::steady_clock::now() > limit) throw std::runtime_error("datagrams got lost");
      turn();
    }
    settle();
  }

  simulatedClock clock_;
  std::shared_ptr<openRadio> radio;
};

} // namespace larch::test
