// A simulated radio, a transceiver and one of the text modes behind the boundary: text in, text callbacks out.
#pragma once
#include "sim/bandScene.h"
#include "sim/protocol1Radio.h"
#include "tests/boundary/testHost.h"
#include <memory>
#include <ostream>

namespace textHost {

using textCallback = void (*)(const char*);

// What the text modes have in common among their functions.
struct textMode {
  const char* name;
  modDemod* (*create)();
  void (*queueText)(modDemod*, const char*, uint32_t);
  void (*bindSentChars)(modDemod*, textCallback);
  void (*hurry)(modDemod*); // as fast as it goes, without a hang time
};

inline void PrintTo(const textMode& m, std::ostream* out) { *out << m.name; }

template <class X> X* as(modDemod* h) { return reinterpret_cast<X*>(h); }
template <class X> modDemod* asMode(X* h) { return reinterpret_cast<modDemod*>(h); }

inline const textMode textModes[] = {
    {"cw", [] { return asMode(cwModDemod_create()); },
     [](modDemod* h, const char* text, uint32_t base) { cwModDemod_QueueText(as<cwModDemod>(h), text, base); },
     [](modDemod* h, textCallback f) { cwModDemod_bindsentChars(as<cwModDemod>(h), f); },
     [](modDemod* h) {
       cwModDemod_setwpm(as<cwModDemod>(h), 3840);
       cwModDemod_setswHangTime(as<cwModDemod>(h), 1'000'000);
     }},
    {"psk", [] { return asMode(PskModDemod_create()); },
     [](modDemod* h, const char* text, uint32_t base) { PskModDemod_QueueText(as<PskModDemod>(h), text, base); },
     [](modDemod* h, textCallback f) { PskModDemod_bindsentChars(as<PskModDemod>(h), f); },
     [](modDemod* h) { PskModDemod_setmode(as<PskModDemod>(h), 16); }},
    {"rtty", [] { return asMode(RTTYModDemod_create()); },
     [](modDemod* h, const char* text, uint32_t base) { RTTYModDemod_QueueText(as<RTTYModDemod>(h), text, base); },
     [](modDemod* h, textCallback f) { RTTYModDemod_bindsentChars(as<RTTYModDemod>(h), f); }, [](modDemod*) {}},
    {"hell", [] { return asMode(hellschreiberModDemod_create()); },
     [](modDemod* h, const char* text, uint32_t base) {
       hellschreiberModDemod_QueueText(as<hellschreiberModDemod>(h), text, base);
     },
     [](modDemod* h, textCallback f) { hellschreiberModDemod_bindsentChars(as<hellschreiberModDemod>(h), f); },
     [](modDemod* h) { hellschreiberModDemod_setfrequencyStep(as<hellschreiberModDemod>(h), 12000); }}};

inline std::string sent;      // by sentChars
inline int callbacks = 0;     // of sentChars
inline bool released = false; // the core let go of the key
inline vtrx* added = nullptr;

// At 48 kHz each datagram pays for one that is sent: 126 samples.
class textStation {
 public:
  static constexpr size_t batch = 48, onTheirWay = 24; // datagrams

  explicit textStation(modDemod* mode, std::shared_ptr<larch::sim::bandScene> scene = std::make_shared<larch::sim::bandScene>())
      : board(larch::sim::protocol1Radio::onFreeLoopback({}, std::move(scene))), radio_(testHost::watched(HpsdrRadio_create())) {
    auto* base = reinterpret_cast<Radio*>(radio_);
    HpsdrRadio_setipAddress(radio_, board->address().c_str());
    HpsdrRadio_setclockFrequency(radio_, 76'800'000);
    Radio_bindvtrxAdded(base, [](vtrx* handle, int32_t, int32_t) { added = handle; });
    Radio_start(base);
    works = testHost::pollUntil([&] {
      board->poll();
      return added && board->report().streaming;
    });
    vtrx_bindptt(testHost::watched(added), [](bool on) { released = released || !on; });
    vtrx_setdrive(added, 255);
    vtrx_setModulation(added, mode);
    vtrx_setRxFilter(added, 100, 3100);
    vtrx_setTxFilter(added, -20000, 20000);
    vtrx_start(added);
    works = works && testHost::settle(added);
  }
  ~textStation() {
    Radio_stop(reinterpret_cast<Radio*>(radio_));
    vtrx_release(added);
    HpsdrRadio_release(radio_);
    added = nullptr;
  }
  textStation(const textStation&) = delete;
  textStation& operator=(const textStation&) = delete;

  // A batch of datagrams to the host and its answers.
  bool stream() {
    const uint64_t answered = board->report().dataReceived;
    board->emit(batch);
    emitted_ += batch;
    return testHost::pollUntil([&] {
      board->poll();
      getRenderUpdates();
      const uint64_t now = board->report().dataReceived;
      return now + onTheirWay >= emitted_ || now >= answered + batch;
    });
  }
  template <class Condition> bool streamUntil(Condition reached) {
    constexpr int most = 1'500; // batches: three minutes on the air
    for (int n = 0; n < most; n++) {
      if (reached()) return true;
      if (!stream()) return false;
    }
    return false;
  }
  bool streamFor(double seconds) {
    int left = static_cast<int>(seconds * 48000 / 126 / batch) + 1;
    return streamUntil([&] { return left-- <= 0; });
  }

  bool key() {
    released = false;
    vtrx_setptt(added, true);
    return testHost::settle(added);
  }
  // Sends until `reached`; where the text itself has ended the transmission, in the next one.
  template <class Condition> bool sendUntil(Condition reached) {
    while (true) {
      if (!streamUntil([&] { return released || reached(); })) return false;
      if (reached()) return true;
      if (!streamUntil([&] { return !board->transmitting(); }) || !key()) return false;
    }
  }

  std::unique_ptr<larch::sim::protocol1Radio> board;
  bool works = false;

 private:
  HpsdrRadio* radio_;
  uint64_t emitted_ = 0;
};

} // namespace textHost
