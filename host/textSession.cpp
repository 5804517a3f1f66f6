#include "host/textSession.h"
#include "host/console.h"
#include "host/transmitText.h"
#include <algorithm>
#include <fmt/format.h>
#include <utility>

namespace larchhost {
namespace {

constexpr int32_t driveStep = 5;
constexpr char backspace = '\b', otherBackspace = 127, controlA = 'A' - '@', controlD = 'D' - '@', controlN = 'N' - '@',
               controlP = 'P' - '@', controlT = 'T' - '@', controlU = 'U' - '@';

} // namespace

textSession::textSession(const listenOptions& options, const transmitSettings& sending, const stationSettings& settings,
                         const receiver& first, textMode& mode, const std::string& audioName, textSending what)
    : receiveSession(options, settings, first, audioName), mode_(mode), sender_(radio().addTransmitter(this->first(), sending)),
      what_(std::move(what)), script_(what_.text.empty() ? script::none : script::waiting), endsByItself_(options.seconds == 0) {}

void textSession::polled() {
  takeTexts();
  watchEnd();
  sendScript();
  keepKeyed();
  keyed_ = sender_.guard().keyed();
  if (sender_.guard().stuck()) quit();
  tellNote();
  tellSent();
}

void textSession::takeTexts() {
  bool again = false;
  for (const char c : mode_.takeSent()) {
    again = line_.reportSent(c) || again;
    sent_ += c;
  }
  if (again) queueText();
}

void textSession::watchEnd() {
  const transmitGuard& guard = sender_.guard();
  if (std::exchange(keyed_, guard.keyed()) && !guard.keyed() && !guard.note().empty()) giveUp();
}

void textSession::giveUp() {
  incomplete_ = incomplete_ || script_ == script::sending;
  line_.drop();
  queueText();
}

void textSession::sendScript() {
  if (script_ == script::waiting && running()) {
    for (const char c : what_.text) put(c);
    line_.release();
    end();
    script_ = script::sending;
  } else if (script_ == script::waiting && missing() && !picture()) {
    quit();
  } else if (script_ == script::sending && line_.waiting().empty() && !sender_.guard().keyed()) {
    script_ = script::over;
    if (endsByItself_ && !picture()) quit();
  }
}

void textSession::keepKeyed() {
  transmitGuard& guard = sender_.guard();
  if (guard.keyed() || !guard.settled() || (!line_.live() && line_.waiting().empty())) return;
  if (ending()) { // but there is nothing to end
    line_.drop();
    queueText();
  } else if (!guard.pressForMode()) {
    giveUp();
  }
}

void textSession::queueText() { mode_.queue(line_.text(), line_.base()); }

void textSession::stopSending() {
  line_.drop();
  queueText();
  sender_.guard().release();
}

void textSession::stopBehindCharacter() {
  transmitGuard& guard = sender_.guard();
  const bool again = guard.byHand() || !guard.keyed() || ending();
  line_.drop();
  queueText();
  if (again) return guard.release();
  line_.release();
  end();
}

bool textSession::ending() const {
  const std::string waiting = line_.waiting();
  return waiting.ends_with(sendLine::endSign) && waiting.size() <= what_.ending.size() + 1;
}

void textSession::end() {
  for (const char c : what_.ending) line_.type(c);
  line_.end();
  queueText();
}

void textSession::tellNote() {
  if (toldNote_ == sender_.guard().note()) return;
  toldNote_ = sender_.guard().note();
  if (!picture() && !toldNote_.empty()) printLine(stderr, "larch: " + toldNote_);
}

void textSession::tellSent() {
  if (sender_.guard().keyed()) return;
  std::erase_if(sent_, [](char c) { return c == sendLine::endSign || (c >= 0 && c < ' '); });
  sent_.erase(sent_.find_last_not_of(' ') + 1);
  if (!sent_.empty() && !picture()) printLine(stdout, sentLine(sent_));
  sent_.clear();
}

std::string textSession::sentLine(const std::string& text) const { return "sent " + text; }

bool textSession::press(const keyPress& k) {
  hint_.clear();
  switch (k.code) {
  case key::left:
  case key::right: return sender_.guard().busy(); // the frequency stays while it is on the air
  case key::escape: return stopSending(), true;
  case key::other: return typed(k.character), true;
  default: return false;
  }
}

void textSession::typed(char c) {
  if (command(c)) return;
  switch (c) {
  case '\r':
  case '\n': return toggleSending();
  case backspace:
  case otherBackspace: return takeBack();
  case controlU: return line_.drop(), queueText();
  case controlA: return radio().setMuted(first(), !first().muted);
  case controlN: return changeDrive(-1);
  case controlP: return changeDrive(1);
  case controlT: return sender_.toggleTune();
  case controlD: return quit();
  default: return put(c);
  }
}

void textSession::put(char c) {
  if (!line_.type(c))
    hint_ = what_.alphabet(c) ? "too much waits" : what_.refusal;
  else if (line_.live())
    queueText();
}

void textSession::takeBack() {
  if (line_.erase() && line_.live()) queueText();
}

void textSession::changeDrive(int32_t by) { sender_.setDrive(sender_.settings().drive + by * driveStep); }

void textSession::toggleSending() {
  if (line_.live() && (sender_.guard().keyed() || !line_.waiting().empty())) return end();
  line_.live() ? line_.drop() : line_.release(); // nothing is under way: just hold again
  queueText();
}

std::vector<std::string> textSession::sendLines(size_t columns, const std::string& state) const {
  return {stateColour(sender_.guard()) + fmt::format("TX {}  {}{}", state, sender_.guard().note(), hint_).substr(0, columns),
          lineText(line_, columns)};
}

} // namespace larchhost
