#include "host/cwSession.h"
#include "host/console.h"
#include "host/transmitText.h"
#include <algorithm>
#include <fmt/format.h>

namespace larchhost {
namespace {

constexpr int32_t widthStep = 50, narrowest = 100, widest = 3000; // Hz
constexpr double slowest = 5, fastest = 60;                       // words per minute
constexpr double flushSpeed = 57600; // a dot is one sample: what is left of a character passes unheard
constexpr double dashOfOneWpm_s = 3.6;
constexpr std::chrono::milliseconds keyPause{1}, stopMargin{1500};
constexpr int mostMovements = 64; // of the key, a poll
constexpr size_t textRows = 5;

} // namespace

cwSession::cwSession(const cwOptions& options, const transmitSettings& sending, const stationSettings& settings,
                     const receiver& first, cwMode& mode, std::unique_ptr<keyInput> key, const std::string& audioName)
    : textSession(options.receive, sending, settings, first, mode, audioName,
                  {options.text, sendLine::hasCode, "no Morse code for this", ""}),
      mode_(mode), key_(std::move(key)), wpm_(options.wpm) {}

std::chrono::milliseconds cwSession::pause() const { return key_ ? keyPause : textSession::pause(); }

void cwSession::polled() {
  textSession::polled();
  if (picture()) return;
  if (const auto line = received_.takeLine(clock::now())) printReceived(*line);
}

void cwSession::takeTexts() {
  textSession::takeTexts();
  received_.add(mode_.takeReceived(), clock::now());
}

void cwSession::watchEnd() {
  textSession::watchEnd();
  finishStop();
  readKeyDevice();
}

// A key that is down has to come up.
void cwSession::giveUp() {
  textSession::giveUp();
  liftKey();
}

void cwSession::readKeyDevice() {
  if (!key_) return;
  for (int i = 0; i < mostMovements; i++) {
    const auto down = key_->next();
    if (!down) break;
    moveKey(*down);
  }
  if (key_->gone() && !toldGone_) {
    toldGone_ = true;
    const std::string words = fmt::format("the key {} has gone", key_->name());
    hint(words);
    if (!picture()) printLine(stderr, "larch: " + words);
  }
}

void cwSession::moveKey(bool down) {
  if (!down) return liftKey();
  if (keyDown_ || !sender().guard().pressForMode()) return;
  mode_.key(keyDown_ = true);
}

void cwSession::liftKey() {
  if (keyDown_) mode_.key(keyDown_ = false);
}

// The mode ends a transmission in a pause; it goes on with the next character, and where a key came down at the same moment.
void cwSession::keepKeyed() {
  transmitGuard& guard = sender().guard();
  if (guard.keyed()) return;
  if (keyDown_)
    guard.pressForMode();
  else
    keepText();
  if (!guard.keyed() && !guard.note().empty() && (keyDown_ || !line().waiting().empty())) giveUp();
}

void cwSession::keepText() {
  const std::string waiting = line().waiting();
  if (stopping_ || waiting.empty()) return;
  if (waiting.front() != sendLine::endSign) {
    sender().guard().pressForMode();
  } else { // nothing to end
    line().drop();
    queueText();
  }
}

void cwSession::queueText() {
  if (!stopping_) textSession::queueText();
}

// The element under way goes to its end, and what is left of its character passes within a millisecond: else it would come at the
// beginning of the next transmission. The second time it ends at once.
void cwSession::stopSending() {
  transmitGuard& guard = sender().guard();
  const bool again = stopping_ || guard.byHand();
  const bool sounding = guard.keyed() && !keyDown_;
  liftKey();
  line().drop();
  queueText();
  if (again || !sounding) return guard.release();
  line().end();
  queueText();
  mode_.setSpeed(flushSpeed);
  stopping_ = true;
  stopBy_ = clock::now() + stopMargin +
            std::chrono::duration_cast<clock::duration>(std::chrono::duration<double>(dashOfOneWpm_s / wpm_));
}

void cwSession::finishStop() {
  if (!stopping_) return;
  if (clock::now() > stopBy_) { // once: a key that goes down from now on is a fresh one
    stopBy_ = clock::time_point::max();
    liftKey();
    sender().guard().release();
  }
  if (!sender().guard().settled()) return;
  stopping_ = false;
  mode_.setSpeed(wpm_);
  queueText(); // what has been typed since
}

bool cwSession::command(char c) {
  receiver& r = first();
  switch (c) {
  case '\t': moveKey(!keyDown_); break;
  case '+':
  case '=': changeSpeed(1); break;
  case '-': changeSpeed(-1); break;
  case '<': changeDrive(-1); break;
  case '>': changeDrive(1); break;
  case '[': changeWidth(-widthStep); break;
  case ']': changeWidth(widthStep); break;
  case '{': radio().setGain(radio().settings().gain_dB - 1); break;
  case '}': radio().setGain(radio().settings().gain_dB + 1); break;
  case '*': radio().setMuted(r, !r.muted); break;
  default: return false;
  }
  return true;
}

void cwSession::changeSpeed(double by) {
  wpm_ = std::clamp(wpm_ + by, slowest, fastest);
  if (!stopping_) mode_.setSpeed(wpm_);
}

void cwSession::changeWidth(int32_t by) {
  filterEdges edges = first().filter;
  edges.high = std::clamp(edges.high + by / 2, narrowest / 2, widest / 2);
  radio().setFilter(first(), edges);
}

std::string cwSession::sentLine(const std::string& text) const { return fmt::format("{:4} s  sent     {}", seconds(), text); }

void cwSession::printReceived(const std::string& line) const {
  printLine(stdout, fmt::format("{:4} s  {:3.0f} wpm  {}", seconds(), mode_.receivedSpeed(), line));
}

int64_t cwSession::seconds() const { return std::chrono::duration_cast<std::chrono::seconds>(clock::now() - started_).count(); }

void cwSession::printRest() {
  if (const std::string line = received_.takeRest(); !line.empty()) printReceived(line);
}

std::vector<std::string> cwSession::statusLines(int columns) const {
  const auto room = static_cast<size_t>(std::max(columns, 0));
  std::vector<std::string> lines{fmt::format("RX {:.0f} wpm", mode_.receivedSpeed()).substr(0, room)};
  for (const auto& line : received_.lines(room, textRows)) lines.push_back(line);
  lines.resize(1 + textRows);
  const std::string state = stateText(sender(), keyDown_ ? "KEY" : "");
  for (auto& line : sendLines(room, fmt::format("{}  {:.0f} wpm", state, wpm_))) lines.push_back(std::move(line));
  return lines;
}

std::string cwSession::keysText() const {
  return "Enter send/hold  Esc stop  Tab key  + - speed  < > drive  [ ] width  { } gain  * mute  ^T tune  ^C end  arrows "
         "tune/step";
}

} // namespace larchhost
