// Transmitting with all threads that a program has: the board's, the receive thread, workers, and a host that sets and polls.
#include "modes/cwModDemod.h"
#include "modes/sigGenModDemod.h"
#include "modes/ssbModDemod.h"
#include "platform/clock.h"
#include "tests/radio/transmitStation.h"
#include <cmath>
#include <random>

namespace larch::test {
namespace {

std::vector<std::shared_ptr<vtrx>> added;
void onAdded(handle* h, int32_t, int32_t) {
  added.push_back(std::static_pointer_cast<vtrx>(h->object));
  delete h;
}

template <class X, class Body> void set(const std::shared_ptr<X>& object, Body body) {
  asyncObject& base = *object;
  base.queueSetItem(seqTask([object, body] { body(*object); }, "test.set"));
}
template <class X, class Body> void verb(const std::shared_ptr<X>& object, Body body) {
  asyncObject& base = *object;
  base.queueSeqProcess(seqTask([object, body] { body(*object); }, "test"));
}

// A running station whose host is the test's thread.
struct busyStation {
  explicit busyStation(int transceivers) {
    added.clear();
    board = sim::protocol1Radio::onFreeLoopback({});
    board->recordTransmit(true);
    board->run();
    radio = keptByCore(std::make_shared<openRadio>(std::make_shared<syncTask>(pool())));
    radio->vtrxAdded = onAdded;
    set(radio, [address = board->address(), clock = static_cast<int32_t>(sim::radioOptions{}.board->clock_Hz)](HpsdrRadio& r) {
      r.ipAddress.set(address);
      r.clockFrequency.set(clock);
      r.maxHwReceivers.set(1);
    });
    for (int i = 0; i < transceivers; i++) verb(radio, [i](Radio& r) { r.addVtrx(7000000 + 1000 * i, 0); });
    verb(radio, [](Radio& r) { r.start(); });
    EXPECT_TRUE(board->waitUntil([](const auto& r) { return r.iqSent > 10; }));
    const int64_t limit = monotonicNow_ns() + 60'000'000'000;
    while (static_cast<int>(added.size()) < transceivers && monotonicNow_ns() < limit) poll();
    EXPECT_EQ(added.size(), static_cast<std::size_t>(transceivers));
    for (const auto& v : added) {
      keptByCore(v);
      set(v, [](vtrx& each) {
        keptByCore(each.rxagc.value);
        keptByCore(each.txagc.value);
        each.newSpectrum = [](buff<float>* frame, double, double, int32_t) { delete frame; };
        each.drive.set(255);
        each.start();
      });
    }
  }
  ~busyStation() {
    verb(radio, [](Radio& r) { r.stop(); });
    EXPECT_TRUE(board->waitUntil([](const auto& r) { return !r.streaming; }));
    for (const auto& v : added)
      set(v, [](vtrx& each) {
        each.stop();
        each.setModulation(nullptr);
      });
    board->stop();
    added.clear();
    poll();
  }
  // Workers live until the process ends.
  static sothreadpool* pool() {
    static auto* made = new sothreadpool(3);
    return made;
  }
  static void poll() {
    pool()->getUpdates();
    pool()->getRenderUpdates();
  }
  void use(const std::shared_ptr<vtrx>& v, const std::shared_ptr<modDemod>& mode) const {
    set(v, [mode](vtrx& each) { each.setModulation(mode); });
  }
  bool waitForMox(bool on) const {
    return board->waitUntil([on](const auto& r) { return r.settings.mox == on; }, std::chrono::seconds(60));
  }
  // Everybody lets go, as often as a late verb of a mode has keyed once more; the board hears so.
  void releaseAll() const {
    const int64_t limit = monotonicNow_ns() + 60'000'000'000;
    do {
      for (const auto& v : added)
        set(v, [](vtrx& each) {
          each.useVox.set(false);
          each.ptt.set(false);
        });
      // whoever fell last has had its groups by then
      const uint64_t now = board->report().dataReceived;
      EXPECT_TRUE(board->waitUntil([now](const auto& r) { return r.dataReceived > now + 20; }, std::chrono::seconds(60)));
    } while (std::ranges::any_of(added, [](const auto& v) { return v->ptt.get(); }) && monotonicNow_ns() < limit);
    EXPECT_TRUE(waitForMox(false));
  }

  bool silent = useNoSoundCard();
  std::unique_ptr<sim::protocol1Radio> board;
  std::shared_ptr<openRadio> radio;
};

std::shared_ptr<syncTask> ownGroup() { return std::make_shared<syncTask>(busyStation::pool()); }

TEST(HpsdrRadioTransmitCONCURRENTTest, anOverRisesAndFallsOnTheWire) {
  busyStation s(1);
  s.use(added[0], keptByCore(std::make_shared<sigGenModDemod>(ownGroup())));
  for (int over = 0; over < 3; over++) {
    s.board->clearRecords();
    set(added[0], [](vtrx& v) { v.ptt.set(true); });
    ASSERT_TRUE(s.board->waitUntil([](const auto& r) { return r.transmit.moxFrames > 100; }, std::chrono::seconds(60)));
    set(added[0], [](vtrx& v) { v.ptt.set(false); });
    ASSERT_TRUE(s.waitForMox(false));
    const auto heard = s.board->transmitted();
    std::vector<int> keyed;
    for (const auto& each : heard)
      if (each.mox) keyed.push_back(-each.sample.q);
    ASSERT_GT(keyed.size(), 3000u);
    EXPECT_EQ(keyed.size() % 126, 0u);
    for (std::size_t i = 0; i < 768; i++) ASSERT_EQ(keyed[i], 0) << i;
    for (std::size_t i = 768; i < 768 + 511; i++) ASSERT_LE(keyed[i], keyed[i + 1] + 40) << "rises: " << i;
    EXPECT_GT(*std::ranges::max_element(keyed), 30000);
    for (std::size_t i = keyed.size() - 504; i < keyed.size(); i++) ASSERT_EQ(keyed[i], 0) << "silence before the key goes up";
    const auto report = s.board->report();
    EXPECT_EQ(report.transmit.withoutMox, 0u);
    EXPECT_EQ(report.problems, 0u) << s.board->problems().summary();
  }
}

TEST(HpsdrRadioTransmitCONCURRENTTest, aHostThatKeysWithoutRestLeavesTheRadioUnkeyed) {
  std::mt19937 random(41);
  const auto draw = [&random](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
  busyStation s(3);
  std::vector<std::shared_ptr<modDemod>> modes;
  for (int i = 0; i < 3; i++) {
    modes.push_back(keptByCore(std::make_shared<ssbModDemod>(ownGroup())));
    modes.push_back(keptByCore(std::make_shared<sigGenModDemod>(ownGroup())));
    modes.push_back(keptByCore(std::make_shared<cwModDemod>(ownGroup())));
  }
  for (int round = 0; round < 3; round++) {
    for (int i = 0; i < 80; i++) {
      const int who = draw(3);
      const auto v = added[static_cast<std::size_t>(who)];
      const auto mode = [&](int kind) { return modes[static_cast<std::size_t>(3 * who + kind)]; };
      switch (draw(11)) {
      case 0:
      case 1:
      case 2: set(v, [on = draw(2) == 0](vtrx& t) { t.ptt.set(on); }); break;
      case 3: set(v, [](vtrx& t) { t.tune.set(!t.tune.value); }); break;
      case 4: s.use(v, draw(5) == 0 ? nullptr : mode(draw(3))); break;
      case 5: set(v, [f = 7000000 + draw(9000)](vtrx& t) { t.vfo.set(f); }); break;
      case 6:
        set(v, [loud = draw(2)](vtrx& t) {
          t.foregroundDisplay.set(true);
          t.useVox.set(true);
          t.VoxHold.set(0.01);
          t.VoxThreshold.set(loud ? -1 : 0.4);
        });
        break;
      case 7: set(v, [d = draw(256)](vtrx& t) { t.drive.set(d); }); break;
      case 8: set(v, [](vtrx& t) { t.DelayAudio.set(!t.DelayAudio.value); }); break;
      case 9: {
        const auto cw = std::static_pointer_cast<cwModDemod>(mode(2));
        verb(cw, [down = draw(2)](cwModDemod& m) { down ? m.keyDown() : m.keyUp(); });
        break;
      }
      default: set(s.radio, [g = draw(40) - 12](HpsdrRadio& r) { r.txGain.set(g); });
      }
      sleepFor_ns(draw(4) * 2'000'000);
      if (draw(3) == 0) busyStation::poll();
    }
    for (int i = 0; i < 3; i++) {
      const auto cw = std::static_pointer_cast<cwModDemod>(modes[static_cast<std::size_t>(3 * i + 2)]);
      verb(cw, [](cwModDemod& m) { m.keyUp(); });
    }
    s.releaseAll();
    EXPECT_EQ(s.board->report().problems, 0u) << s.board->problems().summary();
    for (const auto& each : s.board->transmitted())
      if (std::hypot(each.sample.i, each.sample.q) > 32766.71) FAIL() << each.sample.i << " " << each.sample.q;
    s.board->clearRecords();
  }
  EXPECT_EQ(s.radio->ep6SeqErrors.get(), 0);
}

TEST(HpsdrRadioTransmitCONCURRENTTest, removalOfTheKeyedTransceiverUnkeys) {
  busyStation s(2);
  s.use(added[0], keptByCore(std::make_shared<sigGenModDemod>(ownGroup())));
  s.use(added[1], keptByCore(std::make_shared<ssbModDemod>(ownGroup())));
  for (std::size_t i = 0; i < 2; i++) {
    set(added[i], [](vtrx& v) { v.ptt.set(true); });
    ASSERT_TRUE(s.waitForMox(true));
    const uint64_t frames = s.board->report().transmit.moxFrames;
    ASSERT_TRUE(
        s.board->waitUntil([frames](const auto& r) { return r.transmit.moxFrames > frames + 30; }, std::chrono::seconds(60)));
    if (i == 0)
      set(added[0], [](vtrx& v) { v.remove(); });
    else
      verb(s.radio, [gone = added[1]](Radio& r) { r.removeVtrx(gone); });
    ASSERT_TRUE(s.waitForMox(false));
  }
  EXPECT_EQ(s.board->report().problems, 0u) << s.board->problems().summary();
}

} // namespace
} // namespace larch::test
