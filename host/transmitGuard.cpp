#include "host/transmitGuard.h"
#include <algorithm>
#include <fmt/format.h>

namespace larchhost {

transmitGuard::transmitGuard(bool allowed, std::chrono::seconds timeout, timeSource now, std::chrono::milliseconds tail)
    : allowed_(allowed), timeout_(std::clamp(timeout, std::chrono::seconds{1}, longestTimeout)), fall_(longestFall + tail),
      now_(std::move(now)) {
  keyedAt_ = unkeyedAt_ = changedAt_ = heardAt_ = checkedAt_ = now_();
}

bool transmitGuard::allow() {
  note_ = !allowed_ ? "not transmitting: start with --transmit" : ended_ ? "ending" : "";
  return note_.empty();
}

bool transmitGuard::press() {
  if (!allow()) return false;
  keyBy(source::hand);
  return true;
}

bool transmitGuard::pressForMode() {
  if (!allow()) return false;
  keyBy(source::mode);
  return true;
}

void transmitGuard::release() {
  if (byHand() || byMode()) unkey("");
}

void transmitGuard::wantVox(bool on) {
  if (on && (!allowed_ || ended_)) {
    note_ = allowed_ ? "ending" : "no VOX: start with --transmit";
    return;
  }
  if (on) note_.clear();
  vox_ = on;
  if (!on && source_ == source::vox) unkey("");
}

void transmitGuard::reportVox(bool on) {
  if (byHand()) return; // an older report: VOX is off while the hand key is down
  if (on && vox_)
    keyBy(source::vox);
  else if (source_ == source::vox || (!on && byMode()))
    unkey("");
  else if (on && !keyed() && !falling_)
    fall(); // VOX was quicker than the word that ended it: the transmitter lifts the key
}

void transmitGuard::reportOnAir(bool on) {
  onAir_ = on;
  changedAt_ = now_();
  reports_ = 0;
  if (!on || keyed() || falling_) return;
  falling_ = true; // nobody keys: VOX had, and was ended before it said so. It has its limit like every fall
  keyedAt_ = unkeyedAt_ = changedAt_;
}

void transmitGuard::reportSignal() {
  heardAt_ = now_();
  reports_++;
}

void transmitGuard::reportFrame() { heardAt_ = now_(); }

void transmitGuard::keyBy(source s) {
  const auto now = now_();
  if (!keyed()) { // a change of hands doesn't wind the time-out up again, nor does a release that hasn't reached the air
    if (!onAir_) keyedAt_ = now;
    heardAt_ = checkedAt_ = now;
    transmissions_++;
  }
  source_ = s;
  falling_ = false;
}

void transmitGuard::unkey(const std::string& why) {
  source_ = source::none;
  fall();
  if (!why.empty()) {
    note_ = why;
    vox_ = false;
  }
}

void transmitGuard::fall() {
  falling_ = true;
  reports_ = 0;
  unkeyedAt_ = changedAt_ = now_();
}

void transmitGuard::check() {
  const auto now = now_();
  const auto stood = now - checkedAt_;
  checkedAt_ = now;
  if (falling_ && settled() && !stuck()) falling_ = false;
  if (!keyed()) return;
  if (now - keyedAt_ >= timeout_)
    unkey(fmt::format("time-out after {} s: press the key again", timeout_.count()));
  else if (stood > longestStall)
    unkey("unkeyed: the program stood still");
  else if (now - heardAt_ > longestSilence)
    unkey("unkeyed: the radio is silent");
}

void transmitGuard::end() {
  if (keyed()) unkey("ending"); // a fall that is under way keeps its limit and its reason
  vox_ = false;
  ended_ = true;
}

bool transmitGuard::settled() const {
  if (keyed()) return false;
  if (!falling_) return !onAir_;
  const auto now = now_();
  return now - unkeyedAt_ >= fall_ || (!onAir_ && reports_ >= holdReports && now - changedAt_ >= hold);
}

bool transmitGuard::stuck() const { return !keyed() && falling_ && onAir_ && now_() - unkeyedAt_ >= fall_; }

std::chrono::milliseconds transmitGuard::remaining() const {
  if (!keyed()) return timeout_;
  return std::max(std::chrono::duration_cast<std::chrono::milliseconds>(timeout_ - (now_() - keyedAt_)),
                  std::chrono::milliseconds{0});
}

} // namespace larchhost
