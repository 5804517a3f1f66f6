// One way of putting information on a carrier: what a transceiver calls for all that differs between modes.
#pragma once
#include "dsp/buff.h"
#include "modes/modDemodOwner.h"
#include "runtime/property.h"
#include "runtime/snapshot.h"
#include <atomic>

namespace larch {

// Used directly it is the empty mode: no audio, no transmit signal. One object serves one transceiver at a time. The virtual
// operations run on the owning transceiver's group; property sets run on the mode's own group.
class modDemod : public asyncObject {
 public:
  explicit modDemod(std::shared_ptr<syncTask> group) : asyncObject(std::move(group)) {}

  // A block of 512 channel-filtered samples at sampleRate(); returns audio at 48000 Hz, empty to swallow the block. The block is
  // a view for the duration of the call.
  virtual buff<float> demodulate(const cbuff& block) {
    static_cast<void>(block);
    return {};
  }
  // Microphone input and output at 48000 Hz, equally long; writes into the output.
  virtual void modulate(const cbuff& input, const cbuff& output) {
    static_cast<void>(input);
    static_cast<void>(output);
  }
  virtual int32_t sampleRate() { return 48000; }
  virtual void setRxFilter(int32_t low, int32_t high) { // Hz from the tuned frequency
    static_cast<void>(low);
    static_cast<void>(high);
  }
  virtual void setTxFilter(int32_t low, int32_t high) {
    static_cast<void>(low);
    static_cast<void>(high);
  }
  virtual void vfoChanged(int32_t frequency) { static_cast<void>(frequency); } // Hz
  virtual void attached() {}
  virtual void pttChanged(bool on) { static_cast<void>(on); }

  property<int32_t> rxFreq{0};           // Hz of audio offset that a digital mode works at
  property<int32_t> txFreq{0};           // Hz, the same for transmit
  property<bool> rnnoise{false};         // noise reduction on this mode's audio
  property<double> rnnoiseSquelch{80.0}; // its strength, percent
  property<int32_t> db1{0};              // kept and reported for the host

  // read and written by the transceiver on its group
  int32_t txTailSamples = 512;    // length of the tail after ptt falls, at 48000 Hz
  bool txFinishing = false;       // ptt has fallen: flush what is left
  bool useTxFilter = true;        // take the transmit block from behind the transceiver's filter
  bool blockedTx = true;          // transmit in blocks of 512 with a leading silence; false: groups of 126 straight from modulate
  bool minimumPhaseRx = false;    // build the receive filter in minimum-phase form
  snapshot<modDemodOwner> owner;  // published by the transceiver's group at attach and swap; any thread reads
  std::atomic<bool> inUse{false}; // modeTurn's

 protected:
  // For verbs and observers that touch signal state or the transceiver: body(held) runs as a task of the transceiver's group, in
  // the order of the calls, and `held.object` is locked meanwhile. While the mode serves no transceiver it runs here and now, and
  // `held` is empty.
  template <class Body> void onSignalGroup(const char* name, Body body) {
    const modDemodOwner held = owner.load();
    const auto transceiver = held.object.lock();
    if (!transceiver) return body(modDemodOwner());
    auto self = std::static_pointer_cast<modDemod>(shared_from_this());
    asyncObject& target = *transceiver;
    target.queueSeqProcess(seqTask(
        [self = std::move(self), transceiver, name, body] {
          const modDemodOwner now = self->owner.load();
          if (now.object.lock() == transceiver) return body(now);
          // it has changed hands meanwhile: what serves nobody runs on the mode's own group, never here
          asyncObject& own = *self;
          own.queueSeqProcess(seqTask([self, name, body] { self->onSignalGroup(name, body); }, name));
        },
        name));
  }
};

// A transceiver's turn inside the signal code of a mode. While the mode changes hands two transceivers may have it, on two
// threads: the one that comes second gets none, and leaves its block out. rt, waits for nothing.
class modeTurn {
 public:
  explicit modeTurn(modDemod* mode) : mode_(mode && !mode->inUse.exchange(true, std::memory_order_acquire) ? mode : nullptr) {}
  ~modeTurn() {
    if (mode_) mode_->inUse.store(false, std::memory_order_release);
  }
  modeTurn(const modeTurn&) = delete;
  modeTurn& operator=(const modeTurn&) = delete;
  modDemod* mode() const { return mode_; } // null: no turn, or no mode

 private:
  modDemod* const mode_;
};

} // namespace larch
