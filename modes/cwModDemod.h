// Morse telegraphy: what the host sets of it, its key and the text that waits to be sent.
#pragma once
#include "modes/hostEvents.h"
#include "modes/modDemod.h"
#include "modes/textRing.h"
#include <string>

namespace larch {

// Holds its properties, the state of the straight key and the text ring; receives and transmits as the empty mode.
class cwModDemod : public modDemod {
 public:
  explicit cwModDemod(std::shared_ptr<syncTask> group);

  // The straight key, on this object's group. Down also raises the transceiver's ptt; up leaves it to the hang time.
  void keyDown();
  void keyUp();
  bool isKeyDown() const { return keyDown_.load(std::memory_order_relaxed); }
  // On this object's group: see textRing.
  void queueText(const std::string& text, uint32_t base) { text_.queue(text, base); }
  textRing& text() { return text_; }

  property<double> freq{650.0};          // Hz: pitch of the receive tone and the sidetone
  property<double> wpm{20.0};            // words per minute, transmit
  property<int32_t> swHangTime{200};     // ms of idle keying until ptt falls
  property<double> sidetoneVolume{1.0};  // linear, 1: full scale
  property<double> rxwpm{20.0};          // the decoder's estimate, words per minute
  property<double> dbg1{0.0}, dbg2{0.0}; // kept and reported for the host

  hostText sentChars = nullptr; // one character of the text queue went out
  hostText newChars = nullptr;  // a character or blank was decoded
  hostText newDebug = nullptr;  // can be bound, nothing calls it

 private:
  void key(const modDemodOwner& held, bool down);

  // relaxed: the transmit chain reads one word a block, and either value will do
  std::atomic<bool> keyDown_{false};
  textRing text_;
};

} // namespace larch
