// The one message of `larch slots` on its way to the air.
#pragma once
#include "host/transmitGuard.h"

namespace larchhost {

// The mode keys for it when its slot begins, and unkeys behind the last tone. Both may be told within one poll.
class slotMessage {
 public:
  explicit slotMessage(bool given) : state_(given ? state::waiting : state::none) {}

  bool waits() const { return state_ == state::waiting; } // for a moment at which it can be queued
  bool isAhead() const { return waits() || state_ == state::queued; }
  bool isMissing() const { return isAhead() || state_ == state::cut; } // on the air: not yet

  // It is the library's from now on, and whatever the guard allows next is its transmission.
  void queue(const transmitGuard& guard);
  void watch(const transmitGuard& guard);     // on each poll
  void interrupt(const transmitGuard& guard); // before a transmission that may be under way is ended

 private:
  enum class state { none, waiting, queued, sending, sent, cut } state_;
  uint32_t before_ = 0; // transmissions until it was queued
};

} // namespace larchhost
