#include "host/pskSession.h"
#include "host/console.h"
#include "host/textValues.h"
#include "host/transmitText.h"
#include <algorithm>
#include <fmt/format.h>

namespace larchhost {
namespace {

constexpr int32_t fineStep = 5, tuneStep = 1000; // Hz
constexpr double signalWidth = 40;               // Hz in which a signal's level is looked for
constexpr size_t mostText = 2000, keptText = 1000, primaryRows = 4, fewestSignals = 4, mostSignals = 30;
constexpr int otherRows = 19; // of the terminal: status, primary text, sending, and a small picture
constexpr char controlB = 'B' - '@', controlF = 'F' - '@';

} // namespace

pskSession::pskSession(const pskOptions& options, const transmitSettings& sending, const stationSettings& settings,
                       const receiver& first, pskMode& mode, const std::string& audioName)
    : textSession(options.receive, sending, settings, first, mode, audioName, {options.text, sendLine::isPlain, "not sent", ""}),
      mode_(mode) {
  mode_.levelAt = [this](int32_t frequency) {
    return levelAt(static_cast<double>(this->first().frequency + int64_t{frequency}), signalWidth);
  };
}

void pskSession::takeTexts() {
  textSession::takeTexts();
  primary_ += mode_.takePrimary();
  if (primary_.size() > mostText) primary_.erase(0, primary_.size() - keptText);
  if (const double noise = noiseLevel(); noise > noData_dBm) mode_.band().setNoise(noise);
  const auto lines = mode_.band().takeLines(pskBand::clock::now());
  if (!picture()) printLines(lines);
}

void pskSession::printLines(const std::vector<pskSignal>& lines) const {
  for (const pskSignal& s : lines)
    printLine(stdout, fmt::format("{} {} {}", frequencyText(first().frequency + s.frequency), s.mode, shownText(s.text, true)));
}

void pskSession::ended() { printLines(mode_.band().takeRest()); }

bool pskSession::press(const keyPress& k) {
  const bool taken = textSession::press(k), busy = sender().guard().busy();
  switch (k.code) {
  case key::left:
  case key::right:
    if (!busy) follow(mode_.frequency() + (k.code == key::left ? -fineStep : fineStep));
    return true;
  case key::up:
  case key::down:
    if (!busy) followNeighbour(k.code == key::up ? -1 : 1);
    return true;
  default: return taken;
  }
}

bool pskSession::command(char c) {
  if (c != '\t' && c != controlB && c != controlF) return false;
  if (sender().guard().busy()) return true;
  c == '\t' ? nextVariant() : retune(c == controlB ? -tuneStep : tuneStep);
  return true;
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

std::vector<std::string> pskSession::statusLines(int columns) const {
  const auto room = static_cast<size_t>(std::max(columns, 0));
  std::vector<std::string> lines = signalLines(room);
  for (auto& line : primaryLines(room)) lines.push_back(std::move(line));
  const std::string state = stateText(sender(), sender().guard().keyed() ? "" : "ending");
  for (auto& line : sendLines(room, state)) lines.push_back(std::move(line));
  return lines;
}

std::string pskSession::keysText() const {
  return "up/down signal  left/right 5 Hz  Tab mode  Enter send/end  Esc stop  ^U drop  ^P ^N drive  ^F ^B tune  ^T carrier  "
         "^A mute  ^D end";
}

} // namespace larchhost
