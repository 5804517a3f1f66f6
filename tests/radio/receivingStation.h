// A whole receiving station on one thread: a simulated radio on loopback, the Protocol 1 radio, its transceivers with a mode that
// keeps the audio. Time is the simulated radio's; nothing waits for a clock but the pauses of the radio's start.
#pragma once
#include "modes/ssbModDemod.h"
#include "sim/bandScene.h"
#include "sim/protocol1Radio.h"
#include "tests/radio/hpsdrBench.h"
#include <chrono>
#include <cmath>

namespace larch::test {

// Single sideband that keeps what it hears.
class hearingMode : public ssbModDemod {
 public:
  using ssbModDemod::ssbModDemod;
  buff<float> demodulate(const cbuff& block) override {
    buff<float> audio = ssbModDemod::demodulate(block);
    heard.insert(heard.end(), audio.data, audio.data + audio.count);
    return audio;
  }
  std::vector<double> heard; // 48000 Hz
};

struct spectrumFrame {
  std::vector<float> bels;
  double low, high; // Hz
  int32_t rate;     // of the chunks
};

struct listener {
  std::shared_ptr<vtrx> transceiver;
  std::shared_ptr<hearingMode> mode;
};

class receivingStation {
 public:
  struct plan {
    int32_t rate = 48000;
    int receivers = 1;    // hardware receivers
    bool sharing = false; // transceivers share them
    int boardReceivers = 8;
  };

  explicit receivingStation(const plan& wanted) {
    sim::radioOptions options;
    options.receivers = wanted.boardReceivers;
    board = sim::protocol1Radio::onFreeLoopback(options, scene);
    radio = keptByCore(std::make_shared<openRadio>(std::make_shared<syncTask>(pool)));
    EXPECT_EQ(radio->transport.create(parseIpv4(board->address().c_str()), 1024), 0);
    radio->arrival.assign(1024, 0);
    radio->threadStarted = true; // the receive thread's turns are taken by hand
    radio->clockFrequency.set(static_cast<int32_t>(options.board->clock_Hz));
    radio->HLite2Gain.set(true);
    radio->maxHwReceivers.set(wanted.receivers);
    radio->disableVirtualReceivers.set(!wanted.sharing);
    radio->SampleRate.set(wanted.rate);
    frames().clear();
  }
  ~receivingStation() {
    radio->stopRadio();
    for (const listener& each : listeners) each.transceiver->setModulation(nullptr);
    radio->transceivers.clear();
    settle();
    pool->getRenderUpdates();
    pool->getUpdates();
  }
  receivingStation(const receivingStation&) = delete;
  receivingStation& operator=(const receivingStation&) = delete;

  listener& add(int32_t vfo) {
    radio->addVtrx(vfo, 0);
    listener added{keptByCore(radio->transceivers.back()), keptByCore(std::make_shared<hearingMode>(radio->taskgroup))};
    keptByCore(added.transceiver->rxagc.value);
    keptByCore(added.transceiver->txagc.value);
    added.transceiver->setModulation(added.mode);
    added.transceiver->foregroundDisplay.set(true);
    added.transceiver->newSpectrum = keepFrame;
    added.transceiver->start();
    listeners.push_back(std::move(added));
    settle();
    return listeners.back();
  }
  void start() {
    radio->initialise();
    radio->start();
    for (int i = 0; i < 100 && radio->sendRing.front(); i++) turn();
    ASSERT_TRUE(board->report().streaming);
  }
  // Lets the radio's stream run for so long and handles all of it.
  void run(double seconds) {
    const double end_s = board->report().radioTime_s + seconds;
    while (board->report().radioTime_s < end_s) {
      const sim::radioReport before = board->report();
      constexpr std::size_t batch = 16; // few enough for any socket buffer
      ASSERT_EQ(board->emit(batch), batch);
      const sim::radioReport after = board->report();
      const auto sent = static_cast<uint32_t>(after.iqSent - before.iqSent + after.widebandSent - before.widebandSent);
      const uint32_t first = radio->receivedCounter.load();
      const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
      while (radio->receivedCounter.load() - first < sent) {
        ASSERT_LT(std::chrono::steady_clock::now(), limit) << "datagrams got lost";
        turn();
      }
      settle();
      pool->getUpdates();
      pool->getRenderUpdates();
    }
  }
  // The registers go round twice, the filters fill; what was heard until then is forgotten.
  void settleIn() {
    run(0.2);
    frames().clear();
    for (listener& each : listeners) each.mode->heard.clear();
  }
  // Sets a property as a host does and runs what follows.
  template <class T, class V> void set(const listener& who, property<T> vtrx::*member, V value) {
    (who.transceiver.get()->*member).set(value);
    settle();
  }

  static std::vector<spectrumFrame>& frames() {
    static std::vector<spectrumFrame> all;
    return all;
  }
  // The latest frame whose middle is `centre`.
  static const spectrumFrame* frameAt(double centre) {
    for (auto f = frames().rbegin(); f != frames().rend(); ++f)
      if ((f->low + f->high) / 2 == centre) return &*f;
    return nullptr;
  }

  sothreadpool* pool = handPool(); // lives on, as the library's does
  std::shared_ptr<sim::bandScene> scene = std::make_shared<sim::bandScene>();
  std::unique_ptr<sim::protocol1Radio> board;
  std::shared_ptr<openRadio> radio;
  std::deque<listener> listeners;

 private:
  void settle() {
    while (pool->turn()) {
    }
  }
  void turn() {
    radio->rxTurn();
    settle();
    board->poll();
  }
  static void keepFrame(buff<float>* frame, double low, double high, int32_t rate) {
    frames().push_back({{frame->data, frame->data + frame->count}, low, high, rate});
    delete frame;
  }
};

} // namespace larch::test
