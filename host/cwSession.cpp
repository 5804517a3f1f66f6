#include "host/cwSession.h"
#include "host/console.h"
#include "host/textValues.h"
#include <algorithm>
#include <fmt/format.h>
#include <utility>

namespace larchhost {
namespace {

constexpr int32_t driveStep = 5, widthStep = 50, narrowest = 100, widest = 3000; // Hz
constexpr double slowest = 5, fastest = 60;                                      // words per minute
constexpr double flushSpeed = 57600; // a dot is one sample: what is left of a character passes unheard
constexpr double dashOfOneWpm_s = 3.6;
constexpr std::chrono::milliseconds keyPause{1}, stopMargin{300};
constexpr size_t textRows = 5;
constexpr char backspace = '\b', otherBackspace = 127, controlT = 'T' - '@', controlU = 'U' - '@', controlD = 'D' - '@';

} // namespace

cwSession::cwSession(const cwOptions& options, const transmitSettings& sending, const stationSettings& settings,
                     const receiver& first, cwMode& mode, std::unique_ptr<keyInput> key, const std::string& audioName)
    : receiveSession(options.receive, settings, first, audioName), options_(options), mode_(mode), key_(std::move(key)),
      sender_(radio().addTransmitter(this->first(), sending)), wpm_(options.wpm),
      script_(options.text.empty() ? script::none : script::waiting), endsByItself_(options.receive.seconds == 0) {}

std::chrono::milliseconds cwSession::pause() const { return key_ ? keyPause : receiveSession::pause(); }

void cwSession::polled() {
  takeTexts();
  watchEnd();
  readKeyDevice();
  sendScript();
  keepKeyed();
  if (sender_.guard().stuck()) quit();
  tellNote();
  if (!picture()) printText();
}

void cwSession::takeTexts() {
  bool again = false;
  for (const char c : mode_.takeSent()) {
    again = line_.reportSent(c) || again;
    sent_ += c;
  }
  if (again) queueText();
  received_.add(mode_.takeReceived(), clock::now());
}

// A transmission that the guard has ended is over: what waits isn't sent with the next one, a key that is down has to come up.
void cwSession::watchEnd() {
  const transmitGuard& guard = sender_.guard();
  if (std::exchange(keyed_, guard.keyed()) && !guard.keyed() && !guard.note().empty()) giveUp();
  finishStop();
}

void cwSession::giveUp() {
  incomplete_ = incomplete_ || script_ == script::sending;
  line_.drop();
  queueText();
  liftKey();
}

void cwSession::sendScript() {
  if (script_ == script::waiting && running()) {
    for (const char c : options_.text) line_.type(c);
    line_.release();
    line_.end();
    queueText();
    script_ = script::sending;
  }
  if (script_ == script::waiting && missing() && !picture()) quit();
  if (script_ == script::sending && line_.waiting().empty() && !sender_.guard().keyed()) {
    script_ = script::over;
    if (endsByItself_ && !picture()) quit();
  }
}

void cwSession::readKeyDevice() {
  if (!key_) return;
  while (const auto down = key_->next()) moveKey(*down);
  if (key_->gone() && !toldGone_) {
    toldGone_ = true;
    hint_ = fmt::format("the key {} has gone", key_->name());
    if (!picture()) printLine(stderr, "larch: " + hint_);
  }
}

void cwSession::moveKey(bool down) {
  if (!down) return liftKey();
  if (keyDown_ || !sender_.guard().pressForMode()) return;
  mode_.key(keyDown_ = true);
}

void cwSession::liftKey() {
  if (keyDown_) mode_.key(keyDown_ = false);
}

// The mode ends a transmission in a pause; it goes on with the next character, and where a key came down at the same moment.
void cwSession::keepKeyed() {
  transmitGuard& guard = sender_.guard();
  if (guard.keyed()) {
    keyed_ = true;
    return;
  }
  if (keyDown_)
    guard.pressForMode();
  else
    keepText();
  if (!guard.keyed() && !guard.note().empty() && (keyDown_ || !line_.waiting().empty())) giveUp();
  keyed_ = guard.keyed();
}

void cwSession::keepText() {
  const std::string waiting = line_.waiting();
  if (stopping_ || waiting.empty()) return;
  if (waiting.front() != sendLine::endSign) {
    sender_.guard().pressForMode();
  } else { // nothing to end
    line_.drop();
    queueText();
  }
}

void cwSession::queueText() {
  if (!stopping_) mode_.queue(line_.text(), line_.base());
}

// The element under way goes to its end, and what is left of its character passes within a millisecond: else it would come at the
// beginning of the next transmission. The second time it ends at once.
void cwSession::stopSending() {
  transmitGuard& guard = sender_.guard();
  const bool again = stopping_ || guard.byHand();
  const bool sounding = guard.keyed() && !keyDown_;
  liftKey();
  line_.drop();
  queueText();
  if (again || !sounding) return guard.release();
  line_.end();
  queueText();
  mode_.setSpeed(flushSpeed);
  stopping_ = true;
  stopBy_ = clock::now() + stopMargin +
            std::chrono::duration_cast<clock::duration>(std::chrono::duration<double>(dashOfOneWpm_s / wpm_));
}

void cwSession::finishStop() {
  if (!stopping_) return;
  if (clock::now() > stopBy_) sender_.guard().release();
  if (!sender_.guard().settled()) return;
  stopping_ = false;
  mode_.setSpeed(wpm_);
  queueText(); // what has been typed since
}

bool cwSession::press(const keyPress& k) {
  const bool keyed = sender_.guard().keyed();
  hint_.clear();
  switch (k.code) {
  case key::left:
  case key::right: return keyed; // the frequency stays while it is on the air
  case key::escape: return stopSending(), true;
  case key::other: return typed(k.character), true;
  default: return false;
  }
}

void cwSession::typed(char c) {
  receiver& r = first();
  switch (c) {
  case '\r':
  case '\n':
    if (!line_.live())
      line_.release();
    else if (sender_.guard().keyed() || !line_.waiting().empty())
      line_.end();
    else
      line_.drop(); // nothing is under way: just hold again
    return queueText();
  case backspace:
  case otherBackspace:
    if (line_.erase() && line_.live()) queueText();
    return;
  case '\t': return moveKey(!keyDown_);
  case controlU: return line_.drop(), queueText();
  case controlT: return sender_.toggleTune();
  case controlD: return quit();
  case '+':
  case '=': return changeSpeed(1);
  case '-': return changeSpeed(-1);
  case '<': return sender_.setDrive(sender_.settings().drive - driveStep);
  case '>': return sender_.setDrive(sender_.settings().drive + driveStep);
  case '[': return changeWidth(-widthStep);
  case ']': return changeWidth(widthStep);
  case '{': return radio().setGain(radio().settings().gain_dB - 1);
  case '}': return radio().setGain(radio().settings().gain_dB + 1);
  case '*': return radio().setMuted(r, !r.muted);
  default: break;
  }
  if (!line_.type(c))
    hint_ = sendLine::hasCode(c) ? "too much waits" : "no Morse code for this";
  else if (line_.live())
    queueText();
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

void cwSession::tellNote() {
  if (toldNote_ == sender_.guard().note()) return;
  toldNote_ = sender_.guard().note();
  if (!picture() && !toldNote_.empty()) printLine(stderr, "larch: " + toldNote_);
}

void cwSession::printText() {
  if (const auto line = received_.takeLine(clock::now())) printReceived(*line);
  if (sent_.empty() || sender_.guard().keyed()) return;
  std::erase(sent_, sendLine::endSign);
  if (!sent_.empty()) printLine(stdout, fmt::format("{:4} s  sent     {}", seconds(), sent_));
  sent_.clear();
}

void cwSession::printReceived(const std::string& line) const {
  printLine(stdout, fmt::format("{:4} s  {:3.0f} wpm  {}", seconds(), mode_.receivedSpeed(), line));
}

int64_t cwSession::seconds() const { return std::chrono::duration_cast<std::chrono::seconds>(clock::now() - started_).count(); }

void cwSession::printRest() {
  if (const std::string line = received_.takeRest(); !line.empty()) printReceived(line);
}

std::string cwSession::state() const {
  const transmitGuard& guard = sender_.guard();
  std::string text = !guard.allowed()                    ? "receive only"
                     : guard.onAir() && sender_.tuning() ? "ON AIR: TUNE"
                     : guard.onAir() && keyDown_         ? "ON AIR: KEY"
                     : guard.onAir()                     ? "ON AIR"
                     : guard.keyed()                     ? "keying"
                                                         : "receive";
  if (guard.keyed()) {
    const auto left = std::chrono::ceil<std::chrono::seconds>(guard.remaining()).count();
    text += fmt::format("  {}:{:02} left", left / 60, left % 60);
  }
  return text + fmt::format("  drive {}  {:.0f} wpm", sender_.settings().drive, wpm_);
}

// The end of what has gone out, dimmed, and what is still to go.
std::string cwSession::sendText(size_t room) const {
  std::string gone = line_.gone(), rest = line_.waiting() + line_.held();
  std::erase(gone, sendLine::endSign);
  std::replace(rest.begin(), rest.end(), sendLine::endSign, '|');
  if (rest.size() > room) rest.erase(0, rest.size() - room);
  if (gone.size() + rest.size() > room) gone.erase(0, gone.size() + rest.size() - room);
  return fmt::format("\033[2m{}\033[0m{}", gone, rest);
}

std::vector<std::string> cwSession::statusLines(int columns) const {
  const transmitGuard& guard = sender_.guard();
  const auto room = static_cast<size_t>(std::max(columns, 0));
  std::vector<std::string> lines{fmt::format("RX {:.0f} wpm", mode_.receivedSpeed()).substr(0, room)};
  for (const auto& line : received_.lines(room, textRows)) lines.push_back(line);
  lines.resize(1 + textRows);
  const std::string colour = guard.onAir() ? "\033[1;37;41m" : guard.keyed() ? "\033[1;30;43m" : "";
  lines.push_back(colour + fmt::format("TX {}  {}{}", state(), guard.note(), hint_).substr(0, room));
  const std::string what = line_.live() ? "send> " : "hold> ";
  lines.push_back(what.substr(0, room) + sendText(room - std::min(room, what.size() + 1)) + "_");
  return lines;
}

std::string cwSession::keysText() const {
  return "Enter send/hold  Esc stop  Tab key  + - speed  < > drive  [ ] width  { } gain  * mute  ^T tune  ^C end  arrows "
         "tune/step";
}

} // namespace larchhost
