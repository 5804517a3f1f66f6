#include "host/slotMessage.h"

namespace larchhost {

void slotMessage::queue(const transmitGuard& guard) {
  state_ = state::queued;
  before_ = guard.transmissions();
}

void slotMessage::watch(const transmitGuard& guard) {
  if (state_ == state::queued && guard.transmissions() != before_) state_ = state::sending;
  if (state_ == state::sending && !guard.keyed()) state_ = guard.note().empty() ? state::sent : state::cut;
}

void slotMessage::interrupt(const transmitGuard& guard) {
  watch(guard);
  if (state_ == state::sending) state_ = state::cut;
}

} // namespace larchhost
