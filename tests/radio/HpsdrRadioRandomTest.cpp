// Hosts without plan or patience: random changes to transmitting transceivers while the stream runs, and what must hold on the
// wire whatever they do.
#include "modes/amModDemod.h"
#include "modes/cwModDemod.h"
#include "modes/fmModDemod.h"
#include "modes/proxyModDemod.h"
#include "modes/sigGenModDemod.h"
#include "modes/ssbModDemod.h"
#include "tests/radio/transmitStation.h"
#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>

namespace larch::test {
namespace {

constexpr int32_t fallGroups = 9; // (512 + 504) / 126, rounded up: no mode here has another tail
constexpr double fullScale = 32766;

std::mt19937 random_;
int draw(int n) { return static_cast<int>(random_() % static_cast<unsigned>(n)); }
bool chance(int oneIn) { return draw(oneIn) == 0; }

// Counts how often it is asked for samples.
struct askCounter {
  int asked = 0;
};
template <class Mode> class counted : public Mode, public askCounter {
 public:
  using Mode::Mode;
  void modulate(const cbuff& input, const cbuff& output) override {
    asked++;
    Mode::modulate(input, output);
  }
};
class countedSteady : public steadyMode, public askCounter {
 public:
  countedSteady() : steadyMode(false, 5.0) {}
  void modulate(const cbuff& input, const cbuff& output) override {
    asked++;
    steadyMode::modulate(input, output);
  }
};

// Samples as a host's own mode may hand them over.
void wildChunk(cbuff* out, cbuff* mic) {
  static constexpr double values[] = {0, 1, -1, 0.3, 100, 1e300, std::numeric_limits<double>::quiet_NaN()};
  for (uint64_t i = 0; i < out->count; i++) out->data[i] = {values[draw(7)], values[draw(6)]};
  delete out;
  delete mic;
}

struct player {
  std::shared_ptr<vtrx> transceiver;
  std::shared_ptr<modDemod> mode; // the current one; may be null
  askCounter* counter = nullptr;
  std::shared_ptr<counted<cwModDemod>> cw;
  int askedBefore = 0;
  bool hadRole = true; // since the last look
};

class randomHost {
 public:
  randomHost(int32_t rate, int receivers)
      : s(rate, receivers), samples(2 * static_cast<uint64_t>(504 / (6 * receivers + 2))),
        period(static_cast<uint64_t>(rate) * 126 / 48000) {
    s.onSent = [this](const sentDatagram& d) { look(d); };
    s.radio->unkeyedBy = [this](bool own) { unkeyed(own); };
    s.radio->tookRole = [this](const std::shared_ptr<vtrx>& former) {
      note("role to " + nameOf(s.radio->transmitter.lock().get()));
      for (player& p : players) p.hadRole |= p.transceiver == former || p.transceiver == s.radio->transmitter.lock();
    };
    addPlayer();
    s.start();
  }

  ~randomHost() {
    s.settle();
    s.onSent = [](const sentDatagram&) {};
    s.radio->unkeyedBy = [](bool) {};
    s.radio->tookRole = [](const std::shared_ptr<vtrx>&) {};
    for (const auto& each : watched)
      if (const auto v = each.lock()) v->ptt.observer = nullptr;
  }
  randomHost(const randomHost&) = delete;
  randomHost& operator=(const randomHost&) = delete;

  void change() {
    whatever();
    const int datagrams = chance(30) ? 60 : draw(8);
    for (int i = 0; i < datagrams && !testing::Test::HasFailure(); i++) step();
    if (chance(3)) rest();
  }
  // All let go; the radio is unkeyed by then, and goes on well.
  void tellStory() const {
    for (const auto& line : story) std::printf("  %s\n", line.c_str());
  }
  void finish() {
    for (player& p : players)
      set(p, [](vtrx& v) {
        v.useVox.set(false);
        v.ptt.set(false);
      });
    rest();
    for (int i = 0; i < 40 + fallGroups; i++) step();
    rest();
    EXPECT_FALSE(s.radio->ptt.value);
    for (int i = 0; i < 3; i++) step();
    rest();
    EXPECT_FALSE(s.board->report().settings.mox);
    while (!players.empty()) removePlayer(0);
    EXPECT_TRUE(s.radio->transmitter.expired());
    EXPECT_EQ(s.board->report().problems, 0u) << s.board->problems().summary();
    EXPECT_EQ(s.radio->ep6SeqErrors.value, 0);
  }
  int overs = 0, keyedDatagrams = 0, ownEnds = 0, otherEnds = 0;

 private:
  // Datagrams that are paid for and not yet made.
  int64_t outstanding() const {
    return static_cast<int64_t>(s.radio->rxSequence * samples / period) + startDatagrams - s.radio->txSequence - gone_;
  }
  bool anybodyKeys() const {
    return std::ranges::any_of(players, [](const player& p) { return p.transceiver->ptt.value; });
  }

  // The latest events, for the one who has to find out.
  void note(const std::string& what) {
    story.push_back(std::to_string(s.radio->rxSequence) + "/" + std::to_string(s.radio->txSequence) + " " + what);
    if (story.size() > 60) story.pop_front();
  }
  std::string nameOf(const vtrx* v) const {
    const auto at = std::ranges::find_if(watched, [v](const auto& each) { return each.lock().get() == v; });
    return v ? std::string(1, static_cast<char>('A' + (at - watched.begin()) % 26)) : "nobody";
  }

  // ---- the wire
  void look(const sentDatagram& d) {
    note(std::string("sent ") + std::to_string(d.sequence) + (mox(d) ? " MOX" : "") + (isSilent(d) ? "" : " samples"));
    EXPECT_EQ(d.sequence, expectedSequence);
    expectedSequence = d.sequence + 1;
    EXPECT_EQ(d.frame[0].mox(), d.frame[1].mox());
    for (const auto& f : d.frame)
      for (const auto& w : f.samples) {
        EXPECT_LE(std::hypot(w[2], w[3]), fullScale + 0.71) << "rounding adds half a step to each part at the most";
        EXPECT_LE(std::max(std::abs(w[2]), std::abs(w[3])), fullScale);
      }
    if (!mox(d)) {
      wasKeyed = false;
      // only what was on its way when another one unkeyed the radio
      if (!isSilent(d)) {
        EXPECT_GT(onTheirWay--, 0) << "samples without MOX";
      }
      return;
    }
    overs += !wasKeyed;
    wasKeyed = true;
    keyedDatagrams++;
    if (released && d.sequence >= startDatagrams) { // what is sent ahead of the stream is none of an over
      EXPECT_LT(sinceRelease++, allowed) << "keyed though nobody wants it";
    }
  }

  // ---- the keys
  void watch(const std::shared_ptr<vtrx>& v) {
    watched.push_back(v);
    v->ptt.observer = [this, inner = v->ptt.observer, key = v.get()] {
      note(nameOf(key) + (key->ptt.value ? " down" : " up"));
      inner();
      if (key->ptt.value)
        lastDown = key;
      else
        lastFall[key] = s.radio->txSequence;
      watchRelease();
    };
  }
  // The release of the last key: what is on its way then, and the groups of the fall.
  void watchRelease() {
    const bool now = !anybodyKeys();
    if (now && !released) {
      sinceRelease = 0;
      allowed = std::max<int64_t>(outstanding(), 0) + fallGroups;
    }
    released = now;
  }
  // An over that has had its fall ends in silence. One that another transceiver ends, or a request that was still on its way
  // from the over before, may have samples on their way.
  void unkeyed(bool own) {
    const auto transmitter = s.radio->transmitter.lock();
    const bool complete = own && s.radio->txSequence - lastFall[transmitter.get()] >= fallGroups;
    onTheirWay = complete ? 0 : outstanding();
    (complete ? ownEnds : otherEnds)++;
    note(std::string("unkeyed ") + (complete ? "by its fall" : "by another") + ", on their way " + std::to_string(outstanding()));
  }

  // ---- time
  void step() {
    if (chance(4)) {
      s.emit(1 + static_cast<std::size_t>(draw(6))); // comes in a bunch
    } else
      s.emit(1);
    const int turns = chance(3) ? draw(10) : 1000;
    for (int i = 0; i < turns && s.turn(); i++) {
    }
    if (chance(5)) s.pool->getUpdates();
    if (chance(5)) s.pool->getRenderUpdates();
  }
  void rest() {
    s.settle();
    EXPECT_EQ(outstanding(), 0) << "each period has been paid";
    onTheirWay = 0;
    const auto transmitter = s.radio->transmitter.lock();
    for (player& p : players) {
      if (p.transceiver == transmitter) p.hadRole = true;
      if (p.counter && !p.hadRole) {
        EXPECT_EQ(p.counter->asked, p.askedBefore) << "without the role it is asked for nothing";
      }
      p.askedBefore = p.counter ? p.counter->asked : 0;
      p.hadRole = p.transceiver == transmitter;
    }
    EXPECT_FALSE(s.radio->ptt.value && !transmitter) << "keyed by nobody";
    for (const player& p : players)
      if (s.radio->ptt.value && p.transceiver->ptt.value && p.transceiver.get() == lastDown) {
        EXPECT_EQ(transmitter, p.transceiver) << "the last to key has the role";
      }
    s.pool->getUpdates();
    s.pool->getRenderUpdates();
  }

  // ---- what hosts do
  template <class Body> void set(player& p, Body body) {
    asyncObject& base = *p.transceiver;
    base.queueSetItem(seqTask([v = p.transceiver, body] { body(*v); }, "set"));
  }
  template <class Body> void setRadio(Body body) {
    asyncObject& base = *s.radio;
    base.queueSetItem(seqTask([r = s.radio, body] { body(*r); }, "set"));
  }
  template <class Body> void onMode(const std::shared_ptr<counted<cwModDemod>>& m, Body body) {
    asyncObject& base = *m;
    base.queueSeqProcess(seqTask([m, body] { body(*m); }, "verb"));
  }
  void addPlayer() {
    player p;
    p.transceiver = s.add(3000000 + draw(50000000));
    watch(p.transceiver);
    players.push_back(p);
    if (!chance(4)) pickMode(players.back());
  }
  void removePlayer(std::size_t i) {
    const auto gone = players[i].transceiver;
    note("remove " + nameOf(gone.get()));
    if (chance(2)) rest(); // else some of it is under way
    const int64_t asked = outstanding();
    const bool wasTransmitter = s.radio->transmitter.lock() == gone;
    if (chance(2)) {
      set(players[i], [](vtrx& v) { v.remove(); });
    } else
      setRadio([gone](Radio& r) { r.removeVtrx(gone); });
    if (chance(2)) set(players[i], [](vtrx& v) { v.ptt.set(!v.ptt.value); });
    s.settle();
    players.erase(players.begin() + static_cast<std::ptrdiff_t>(i));
    watchRelease();
    EXPECT_NE(s.radio->transmitter.lock(), gone);
    if (wasTransmitter && !s.radio->transmitter.lock()) {
      EXPECT_FALSE(s.radio->ptt.value) << "keyed by one that has gone";
    }
    set(gone, nullptr);
    s.settle();
    EXPECT_LE(outstanding(), asked);
    gone_ += outstanding(); // who has been removed answers no more
  }
  void set(const std::shared_ptr<vtrx>& v, std::nullptr_t) {
    asyncObject& base = *v;
    base.queueSetItem(seqTask([v] { v->setModulation(nullptr); }, "set"));
  }
  template <class Mode> void use(player& p, std::shared_ptr<Mode> mode) {
    p.counter = mode.get();
    p.askedBefore = 0;
    p.hadRole = true;
    p.mode = keptByCore(std::move(mode));
  }
  void pickMode(player& p) {
    const auto group = std::make_shared<syncTask>(s.pool);
    p.mode = nullptr;
    p.counter = nullptr;
    p.cw = nullptr;
    switch (draw(9)) {
    case 0: use(p, std::make_shared<counted<ssbModDemod>>(group)); break;
    case 1: {
      const auto generator = std::make_shared<counted<sigGenModDemod>>(group);
      generator->ampl2.set(draw(3));
      use(p, generator);
      break;
    }
    case 2: use(p, std::make_shared<counted<modDemod>>(group)); break;
    case 3: {
      const auto proxy = std::make_shared<counted<proxyModDemod>>(group);
      proxy->getTxChunk = wildChunk;
      use(p, proxy);
      break;
    }
    case 4:
      p.cw = std::make_shared<counted<cwModDemod>>(group);
      p.cw->wpm.set(10 + draw(60));
      p.cw->swHangTime.set(draw(100));
      use(p, p.cw);
      break;
    case 5: use(p, std::make_shared<countedSteady>()); break;
    case 6: use(p, std::make_shared<counted<amModDemod>>(group)); break;
    case 7: use(p, std::make_shared<counted<fmModDemod>>(group)); break;
    default: break;
    }
    note(nameOf(p.transceiver.get()) + " another mode " + (p.mode ? typeid(*p.mode).name() : "none"));
    set(p, [m = p.mode](vtrx& v) { v.setModulation(m); });
  }
  void changeTelegraphy(player& p) {
    if (!p.cw) return pickMode(p);
    switch (draw(3)) {
    case 0: onMode(p.cw, [](cwModDemod& m) { m.keyDown(); }); break;
    case 1: onMode(p.cw, [](cwModDemod& m) { m.keyUp(); }); break;
    default: onMode(p.cw, [tail = draw(2)](cwModDemod& m) { m.queueText(tail ? "e~" : "k", 0); });
    }
  }
  void restart() {
    note("restart");
    rest();
    setRadio([](Radio& r) { r.stop(); });
    rest();
    if (chance(2)) set(players[0], [](vtrx& v) { v.ptt.set(!v.ptt.value); });
    expectedSequence = 0;
    gone_ = 0;
    setRadio([](Radio& r) { r.start(); });
    s.settle();
    ASSERT_TRUE(s.board->waitUntil([](const auto& r) { return r.streaming; }));
    rest();
  }
  void changeRadio() {
    switch (draw(8)) {
    case 0: setRadio([on = chance(4)](Radio& r) { r.cwInternal.set(on); }); break;
    case 1: setRadio([g = draw(60) - 12](HpsdrRadio& r) { r.rxGain.set(g); }); break;
    case 2: setRadio([g = draw(30) - 12](HpsdrRadio& r) { r.txGain.set(g); }); break;
    case 3: setRadio([v = draw(256)](HpsdrRadio& r) { r.writeStatus(v); }); break;
    case 4:
      setRadio([v = draw(256)](HpsdrRadio& r) {
        r.biasEnabled.set(v & 1);
        r.paBias0.set(v);
      });
      break;
    case 5: setRadio([v = draw(256)](Radio& r) { r.drive.set(v); }); break;
    case 6: setRadio([v = 5 + draw(3)](HpsdrRadio& r) { r.TypeID.set(v); }); break;
    default: setRadio([v = draw(2000000) - 1000000](Radio& r) { r.TransceiverOffset.set(v); });
    }
  }
  void whatever() {
    player& p = players[static_cast<std::size_t>(draw(static_cast<int>(players.size())))];
    switch (draw(24)) {
    case 0:
    case 1:
    case 2:
    case 3: set(p, [](vtrx& v) { v.ptt.set(true); }); break;
    case 4:
    case 5:
    case 6:
    case 7: set(p, [](vtrx& v) { v.ptt.set(false); }); break;
    case 8: set(p, [](vtrx& v) { v.tune.set(!v.tune.value); }); break;
    case 9: pickMode(p); break;
    case 10:
    case 11: changeTelegraphy(p); break;
    case 12:
      // without a sound card the microphone is silent: the threshold makes that loud or quiet
      set(p, [loud = chance(3), hold = draw(3) * 0.02](vtrx& v) {
        v.foregroundDisplay.set(true);
        v.useVox.set(true);
        v.VoxThreshold.set(loud ? -1 : 0.4);
        v.VoxHold.set(hold);
      });
      break;
    case 13:
    case 14: set(p, [](vtrx& v) { v.useVox.set(false); }); break;
    case 15: set(p, [f = 3000000 + draw(57000000)](vtrx& v) { v.vfo.set(f); }); break;
    case 16: set(p, [low = draw(6000) - 3000, width = draw(6000)](vtrx& v) { v.setTxFilter(low, low + width); }); break;
    case 17: set(p, [](vtrx& v) { v.DelayAudio.set(!v.DelayAudio.value); }); break;
    case 18: set(p, [d = draw(300) - 20](vtrx& v) { v.drive.set(d); }); break;
    case 19: set(p, [f = draw(20000) - 10000](vtrx& v) { v.TxOffset.set(f); }); break;
    case 20:
      if (players.size() < 4) addPlayer();
      break;
    case 21:
      if (players.size() > 1) removePlayer(static_cast<std::size_t>(draw(static_cast<int>(players.size()))));
      break;
    case 22: changeRadio(); break;
    default:
      if (chance(20)) restart();
    }
  }

  static constexpr int startDatagrams = 10;
  transmitStation s;
  const uint64_t samples, period;
  std::vector<player> players;
  std::vector<std::weak_ptr<vtrx>> watched;
  std::map<const vtrx*, uint32_t> lastFall; // the datagram that was next when its key went up
  uint32_t expectedSequence = 0;
  std::deque<std::string> story;
  const vtrx* lastDown = nullptr;
  bool released = true, wasKeyed = false;
  int64_t sinceRelease = 0, allowed = 0;
  int64_t gone_ = 0;      // groups that were asked of transceivers that had been removed by then
  int64_t onTheirWay = 0; // groups that were asked for when another one unkeyed the radio
};

unsigned numberOf(const char* name, unsigned otherwise) {
  const char* given = std::getenv(name);
  return given ? static_cast<unsigned>(std::strtoul(given, nullptr, 10)) : otherwise;
}

TEST(HpsdrRadioRandomTest, whateverHostsDoTheWireStaysWellFormedAndUnkeys) {
  const unsigned changes = numberOf("LARCH_RANDOM_CHANGES", 600), seed = numberOf("LARCH_RANDOM_SEED", 20);
  std::printf("LARCH_RANDOM_SEED=%u LARCH_RANDOM_CHANGES=%u\n", seed, changes);
  SCOPED_TRACE(seed);
  random_.seed(seed);
  struct {
    int32_t rate;
    int receivers;
  } const forms[] = {{48000, 1}, {96000, 2}};
  unsigned done = 0;
  int overs = 0, keyed = 0, ownEnds = 0, otherEnds = 0;
  for (const auto& form : forms) {
    randomHost host(form.rate, form.receivers);
    for (unsigned i = 0; i < changes / 2 && !HasFailure(); i++, done++) host.change();
    if (!HasFailure()) host.finish();
    if (HasFailure()) return host.tellStory();
    overs += host.overs;
    keyed += host.keyedDatagrams;
    ownEnds += host.ownEnds;
    otherEnds += host.otherEnds;
  }
  EXPECT_GT(overs, static_cast<int>(changes / 60)) << "it must have transmitted";
  std::printf("%u changes, %d overs, %d keyed datagrams, %d ends by a fall, %d by others\n", done, overs, keyed, ownEnds,
              otherEnds);
}

} // namespace
} // namespace larch::test
