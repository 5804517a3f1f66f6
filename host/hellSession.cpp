#include "host/hellSession.h"
#include "host/textValues.h"
#include "host/transmitText.h"
#include <algorithm>
#include <fmt/format.h>

namespace larchhost {
namespace {

constexpr size_t cellFrames = 4;   // of the strip in the terminal: a third of a column of a character
constexpr int32_t tuneStep = 1000; // Hz
constexpr char controlB = 'B' - '@', controlF = 'F' - '@';

} // namespace

hellSession::hellSession(const hellOptions& options, const transmitSettings& sending, const stationSettings& settings,
                         const receiver& wanted, hellMode& mode, double frames_s, const std::string& audioName)
    : textSession(options.receive, sending, settings, wanted, mode, audioName,
                  {options.text, sendLine::isPlain, "not sent", " "}),
      mode_(mode), picture_(hellMode::topRow_Hz, mode.step(), frames_s) {
  first().frameSeen = [this](std::span<const float> frame, double low, double high) {
    const double carrier = first().frequency;
    picture_.add(frame, low - carrier, high - carrier);
  };
}

bool hellSession::command(char c) {
  if (c != controlB && c != controlF) return false;
  if (!sender().guard().busy()) radio().tune(first(), first().frequency + (c == controlB ? -tuneStep : tuneStep));
  return true;
}

std::string hellSession::saveWaterfall(const std::string& path) const {
  picture_.save(path);
  return picture_.frames() > 0 ? fmt::format("{} columns", picture_.frames()) : "";
}

std::vector<std::string> hellSession::statusLines(int columns) const {
  const auto room = static_cast<size_t>(std::max(columns, 0));
  std::vector<std::string> lines = picture_.lines(room, cellFrames, terminal::trueColour(), unicode());
  lines.insert(lines.begin(), fmt::format("RX topmost row on {}, {:g} Hz a row",
                                          frequencyText(first().frequency + int64_t{hellMode::topRow_Hz}), mode_.step())
                                  .substr(0, room));
  for (auto& line : sendLines(room, stateText(sender()))) lines.push_back(std::move(line));
  return lines;
}

std::string hellSession::keysText() const {
  return "Enter send/end  Esc stop  ^U drop  ^P ^N drive  ^F ^B tune 1 kHz  ^T carrier  ^A mute  ^D end  arrows tune/step";
}

} // namespace larchhost
