#include "host/pskSession.h"
#include "host/console.h"
#include "host/textValues.h"
#include <algorithm>
#include <fmt/format.h>
#include <utility>

namespace larchhost {
namespace {

constexpr int32_t driveStep = 5, fineStep = 5, tuneStep = 1000; // the last two in Hz
constexpr double signalWidth = 40;                              // Hz in which a signal's level is looked for
constexpr size_t mostText = 2000, keptText = 1000, primaryRows = 4, fewestSignals = 4, mostSignals = 30;
constexpr int otherRows = 19; // of the terminal: status, primary text, sending, and a small picture
constexpr char backspace = '\b', otherBackspace = 127, controlA = 'A' - '@', controlB = 'B' - '@', controlD = 'D' - '@',
               controlF = 'F' - '@', controlN = 'N' - '@', controlP = 'P' - '@', controlT = 'T' - '@', controlU = 'U' - '@';

} // namespace

bool pskSession::isSent(char c) { return c >= ' ' && c < sendLine::endSign; }

pskSession::pskSession(const pskOptions& options, const transmitSettings& sending, const stationSettings& settings,
                       const receiver& first, pskMode& mode, const std::string& audioName)
    : receiveSession(options.receive, settings, first, audioName), options_(options), mode_(mode),
      sender_(radio().addTransmitter(this->first(), sending)), script_(options.text.empty() ? script::none : script::waiting),
      endsByItself_(options.receive.seconds == 0) {
  mode_.levelAt = [this](int32_t frequency) {
    return levelAt(static_cast<double>(this->first().frequency + int64_t{frequency}), signalWidth);
  };
}

void pskSession::polled() {
  takeTexts();
  watchEnd();
  sendScript();
  keepKeyed();
  if (sender_.guard().stuck()) quit();
  tellNote();
}

void pskSession::takeTexts() {
  bool again = false;
  for (const char c : mode_.takeSent()) {
    again = line_.reportSent(c) || again;
    sent_ += c;
  }
  if (again) queueText();
  primary_ += mode_.takePrimary();
  if (primary_.size() > mostText) primary_.erase(0, primary_.size() - keptText);
  if (const double noise = noiseLevel(); noise > noData_dBm) mode_.band().setNoise(noise);
  const auto lines = mode_.band().takeLines(pskBand::clock::now());
  if (!picture()) printLines(lines);
  if (sender_.guard().keyed()) return;
  std::erase(sent_, sendLine::endSign);
  if (!sent_.empty() && !picture()) printLine(stdout, "sent " + sent_);
  sent_.clear();
}

void pskSession::printLines(const std::vector<pskSignal>& lines) const {
  for (const pskSignal& s : lines)
    printLine(stdout, fmt::format("{} {} {}", frequencyText(first().frequency + s.frequency), s.mode, shownText(s.text, true)));
}

void pskSession::ended() { printLines(mode_.band().takeRest()); }

// What waits when the guard has ended a transmission isn't sent with the next one.
void pskSession::watchEnd() {
  const transmitGuard& guard = sender_.guard();
  if (std::exchange(keyed_, guard.keyed()) && !guard.keyed() && !guard.note().empty()) giveUp();
}

void pskSession::giveUp() {
  incomplete_ = incomplete_ || script_ == script::sending;
  line_.drop();
  queueText();
}

void pskSession::sendScript() {
  if (script_ == script::waiting && running()) {
    line_.release();
    for (const char c : options_.text) line_.type(c);
    line_.end();
    queueText();
    script_ = script::sending;
  } else if (script_ == script::waiting && missing() && !picture()) {
    quit();
  } else if (script_ == script::sending && line_.waiting().empty() && !sender_.guard().keyed()) {
    script_ = script::over;
    if (endsByItself_ && !picture()) quit();
  }
}

// On the air while there is something to send or to be typed; the mode ends a transmission behind the last character.
void pskSession::keepKeyed() {
  transmitGuard& guard = sender_.guard();
  const std::string waiting = line_.waiting();
  if (!guard.keyed() && guard.settled() && (line_.live() || !waiting.empty())) {
    if (waiting.starts_with(sendLine::endSign)) { // nothing to end
      line_.drop();
      queueText();
    } else if (!guard.pressForMode()) {
      giveUp();
    }
  }
  keyed_ = guard.keyed();
}

void pskSession::queueText() { mode_.queue(line_.text(), line_.base()); }

// The character under way is still sent, and the carrier that ends a transmission.
void pskSession::stopSending() {
  line_.drop();
  queueText();
  sender_.guard().release();
}

void pskSession::tellNote() {
  if (toldNote_ == sender_.guard().note()) return;
  toldNote_ = sender_.guard().note();
  if (!picture() && !toldNote_.empty()) printLine(stderr, "larch: " + toldNote_);
}

bool pskSession::press(const keyPress& k) {
  const bool keyed = sender_.guard().keyed();
  hint_.clear();
  switch (k.code) {
  case key::left:
  case key::right:
    if (!keyed) follow(mode_.frequency() + (k.code == key::left ? -fineStep : fineStep));
    return true;
  case key::up:
  case key::down:
    if (!keyed) followNeighbour(k.code == key::up ? -1 : 1);
    return true;
  case key::escape: return stopSending(), true;
  case key::other: return typed(k.character), true;
  default: return false;
  }
}

void pskSession::typed(char c) {
  const bool keyed = sender_.guard().keyed();
  switch (c) {
  case '\r':
  case '\n': return toggleSending();
  case backspace:
  case otherBackspace:
    if (line_.erase() && line_.live()) queueText();
    return;
  case '\t': return keyed ? void() : nextVariant();
  case controlU: return line_.drop(), queueText();
  case controlA: return radio().setMuted(first(), !first().muted);
  case controlB: return keyed ? void() : retune(-tuneStep);
  case controlF: return keyed ? void() : retune(tuneStep);
  case controlN: return sender_.setDrive(sender_.settings().drive - driveStep);
  case controlP: return sender_.setDrive(sender_.settings().drive + driveStep);
  case controlT: return sender_.toggleTune();
  case controlD: return quit();
  default: break;
  }
  if (!line_.type(c))
    hint_ = isSent(c) ? "too much waits" : "not sent";
  else if (line_.live())
    queueText();
}

void pskSession::toggleSending() {
  if (!line_.live())
    line_.release();
  else
    line_.end();
  queueText();
}

void pskSession::follow(int32_t frequency) {
  const filterEdges edges = first().filter;
  mode_.follow(std::clamp(frequency, edges.low, edges.high));
}

// The next signal in the list.
void pskSession::followNeighbour(int by) {
  const auto signals = mode_.band().heard();
  const pskSignal* next = nullptr;
  for (const pskSignal& s : signals) {
    const int32_t away = (s.frequency - mode_.frequency()) * by;
    if (s.primary || away <= pskBand::sameSignal / 2) continue;
    if (!next || away < (next->frequency - mode_.frequency()) * by) next = &s;
  }
  if (!next) return;
  if (const auto variant = parsePskVariant(next->mode)) mode_.setVariant(*variant);
  follow(next->frequency);
  primary_ += '\n';
}

void pskSession::nextVariant() { mode_.setVariant((mode_.variant() + 1) % pskVariants.size()); }

void pskSession::retune(int32_t by) {
  mode_.band().restart();
  radio().tune(first(), first().frequency + by);
}

std::string pskSession::state() const {
  const transmitGuard& guard = sender_.guard();
  std::string text = !guard.allowed()                    ? "receive only"
                     : guard.onAir() && sender_.tuning() ? "ON AIR: TUNE"
                     : guard.onAir() && !guard.keyed()   ? "ON AIR: ending"
                     : guard.onAir()                     ? "ON AIR"
                     : guard.keyed()                     ? "keying"
                                                         : "receive";
  if (guard.keyed()) {
    const auto left = std::chrono::ceil<std::chrono::seconds>(guard.remaining()).count();
    text += fmt::format("  {}:{:02} left", left / 60, left % 60);
  }
  return text + fmt::format("  drive {}", sender_.settings().drive);
}

std::string pskSession::signalLine(const pskSignal& s, size_t columns) const {
  const int64_t frequency = first().frequency + int64_t{s.frequency};
  std::string text =
      fmt::format("{} {:>11} {:<7} {:4.0f} dBm  ", s.primary ? ">" : " ", frequencyText(frequency), s.mode, s.level_dBm);
  const size_t room = columns - std::min(columns, text.size());
  const size_t cut = s.text.size() - std::min(s.text.size(), room);
  return text.substr(0, columns) + shownText(s.text.substr(cut), unicode());
}

// The ones nearest to the primary detector when there are more than fit.
std::vector<std::string> pskSession::signalLines(size_t columns) const {
  const auto signals = mode_.band().heard();
  const size_t room = std::clamp(static_cast<size_t>(std::max(rows() - otherRows, 0)), fewestSignals, mostSignals);
  size_t from = 0;
  while (from + room < signals.size() && signals[from + room / 2].frequency < mode_.frequency()) from++;
  std::vector<std::string> lines{fmt::format("{} signals", signals.size()).substr(0, columns)};
  for (size_t i = from; i < std::min(from + room, signals.size()); i++) lines.push_back(signalLine(signals[i], columns));
  lines.resize(1 + room);
  return lines;
}

std::vector<std::string> pskSession::primaryLines(size_t columns) const {
  std::vector<std::string> rows(1);
  for (const char c : primary_) {
    if (c == '\r' || c == '\n' || rows.back().size() >= std::max<size_t>(columns, 1)) rows.emplace_back();
    if (c != '\r' && c != '\n') rows.back() += c;
  }
  std::erase(rows, std::string{});
  if (rows.size() > primaryRows) rows.erase(rows.begin(), rows.end() - static_cast<ptrdiff_t>(primaryRows));
  std::vector<std::string> lines{fmt::format("RX {} on {}, {} Hz", mode_.name(first().side),
                                             frequencyText(first().frequency + mode_.frequency()), mode_.frequency())
                                     .substr(0, columns)};
  for (const auto& row : rows) lines.push_back("\033[1m" + shownText(row, unicode()));
  lines.resize(1 + primaryRows);
  return lines;
}

// The end of what has gone out, dimmed, and what is still to go.
std::string pskSession::sendText(size_t room) const {
  std::string gone = line_.gone(), rest = line_.waiting() + line_.held();
  std::replace(gone.begin(), gone.end(), sendLine::endSign, ' ');
  std::replace(rest.begin(), rest.end(), sendLine::endSign, '|');
  if (rest.size() > room) rest.erase(0, rest.size() - room);
  if (gone.size() + rest.size() > room) gone.erase(0, gone.size() + rest.size() - room);
  return fmt::format("\033[2m{}\033[0m{}", gone, rest);
}

std::vector<std::string> pskSession::statusLines(int columns) const {
  const transmitGuard& guard = sender_.guard();
  const auto room = static_cast<size_t>(std::max(columns, 0));
  std::vector<std::string> lines = signalLines(room);
  for (auto& line : primaryLines(room)) lines.push_back(std::move(line));
  const std::string colour = guard.onAir() ? "\033[1;37;41m" : guard.keyed() ? "\033[1;30;43m" : "";
  lines.push_back(colour + fmt::format("TX {}  {}{}", state(), guard.note(), hint_).substr(0, room));
  const std::string what = line_.live() ? "send> " : "hold> ";
  lines.push_back(what.substr(0, room) + sendText(room - std::min(room, what.size() + 1)) + "_");
  return lines;
}

std::string pskSession::keysText() const {
  return "up/down signal  left/right 5 Hz  Tab mode  Enter send/end  Esc stop  ^U drop  ^P ^N drive  ^F ^B tune  ^T carrier  "
         "^A mute  ^D end";
}

} // namespace larchhost
