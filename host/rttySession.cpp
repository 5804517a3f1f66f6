#include "host/rttySession.h"
#include "host/console.h"
#include "host/pskBand.h"
#include "host/rttyShifts.h"
#include "host/textValues.h"
#include "host/transmitText.h"
#include <algorithm>
#include <fmt/format.h>
#include <utility>

namespace larchhost {
namespace {

constexpr int32_t widthStep = 50, narrowest = 200, widest = 1000; // Hz
constexpr double toneWidth = 40;                                  // Hz in which a tone's level is looked for
constexpr double smoothing = 0.4, least_dB = 1;
constexpr std::chrono::milliseconds measurePause{100}, holdBack{300}, linePause{2000};
constexpr size_t lineLength = 60, textRows = 6;

} // namespace

rttySession::rttySession(const rttyOptions& options, const transmitSettings& sending, const stationSettings& settings,
                         const receiver& first, rttyMode& mode, const std::string& audioName)
    : textSession(options.receive, sending, settings, first, mode, audioName, {options.text, isQueued, "has no code", "\r\n"}),
      mode_(mode), squelch_dB_(options.squelch_dB), raw_(options.raw), received_({lineLength, linePause}) {}

bool rttySession::isQueued(char c) {
  return isRttyText(c) || c == '\r' || c == '\n' || c == rttyFiguresMark || c == rttyLettersMark;
}

std::string rttySession::queuedText(const std::string& text) {
  std::string queued;
  for (const char c : text) queued += rttyQueued(c, queued, queued.empty());
  return queued;
}

void rttySession::polled() {
  measure();
  textSession::polled();
  if (picture() || raw_) return;
  while (const auto line = received_.takeLine(clock::now())) printReceived(*line);
}

void rttySession::ended() {
  for (const heardByte& h : held_)
    if (open()) tell(h.byte);
  while (const auto line = received_.takeLine(clock::now()))
    if (!raw_) printReceived(*line);
  if (const std::string line = received_.takeRest(); !line.empty() && !raw_) printReceived(line);
}

void rttySession::printReceived(const std::string& line) const {
  printLine(stdout, fmt::format("{} RTTY {}", frequencyText(markFrequency()), shownText(line, true)));
}

// Both tones: a receiver makes letters of a steady one as it does of noise. A strong signal that ends is forgotten as fast as a
// weak one.
void rttySession::measure() {
  if (clock::now() - measured_ < measurePause) return;
  measured_ = clock::now();
  const auto mark = static_cast<double>(markFrequency());
  const double tone = std::max(levelAt(mark, toneWidth), levelAt(mark + rttyMode::shift, toneWidth));
  const double over = noiseLevel() > noData_dBm ? std::max(tone - noiseLevel(), 0.0) : 0;
  clearance_dB_ += smoothing * (std::min(over, 1.5 * std::max(squelch_dB_, least_dB)) - clearance_dB_);
}

void rttySession::takeTexts() {
  textSession::takeTexts();
  takeReceived();
}

// The receiver reads the noise as well: what it makes of that isn't told. The measurement is late, and so is the telling.
void rttySession::takeReceived() {
  for (const char c : mode_.takeReceived()) held_.push_back({c, clock::now()});
  for (; !held_.empty() && clock::now() - held_.front().at >= holdBack; held_.pop_front())
    if (open()) tell(held_.front().byte);
  if (std::exchange(wasOpen_, open()) && !open()) received_.add("\n", clock::now());
}

void rttySession::tell(char byte) {
  if (byte == '\r' || byte == '\n')
    received_.add("\n", clock::now());
  else if (byte < 0 || byte >= ' ')
    received_.add({byte}, clock::now());
}

bool rttySession::command(char c) {
  switch (c) {
  case '<': changeDrive(-1); break;
  case '>': changeDrive(1); break;
  case '[': changeWidth(-widthStep); break;
  case ']': changeWidth(widthStep); break;
  case '{': radio().setGain(radio().settings().gain_dB - 1); break;
  case '}': radio().setGain(radio().settings().gain_dB + 1); break;
  case '*': radio().setMuted(first(), !first().muted); break;
  default: return false;
  }
  return true;
}

void rttySession::changeWidth(int32_t by) {
  filterEdges edges = first().filter;
  edges.high = std::clamp(edges.high + by / 2, narrowest / 2, widest / 2);
  radio().setFilter(first(), edges);
}

void rttySession::put(char c) {
  if (!isRttyText(c)) return hint("has no code");
  const bool idle = line().waiting().empty() && line().held().empty();
  for (const char queued : rttyQueued(c, line().text() + line().held(), idle)) textSession::put(queued);
}

void rttySession::takeBack() {
  textSession::takeBack();
  const std::string left = line().live() ? line().waiting() : line().held();
  if (left.ends_with(rttyFiguresMark) || left.ends_with(rttyLettersMark)) textSession::takeBack();
}

std::vector<std::string> rttySession::statusLines(int columns) const {
  const auto room = static_cast<size_t>(std::max(columns, 0));
  std::vector<std::string> lines{fmt::format("RX mark on {}, space {} Hz above  {:.0f} dB{}", frequencyText(markFrequency()),
                                             rttyMode::shift, clearance_dB_, open() ? "" : "  silent")
                                     .substr(0, room)};
  for (const auto& line : received_.lines(room, textRows)) lines.push_back("\033[1m" + shownText(line, unicode()));
  lines.resize(1 + textRows);
  const std::string sent =
      fmt::format("{}  mark on {}", stateText(sender()), frequencyText(first().frequency + rttyMode::sentMark));
  for (auto& line : sendLines(room, sent)) lines.push_back(std::move(line));
  return lines;
}

std::string rttySession::keysText() const {
  return "Enter send/end  Esc stop  ^U drop  < > drive  [ ] width  { } gain  * mute  ^T carrier  ^D end  arrows tune/step";
}

} // namespace larchhost
