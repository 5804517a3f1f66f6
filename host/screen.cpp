#include "host/screen.h"
#include "host/colourScale.h"
#include "host/textValues.h"
#include <algorithm>
#include <cmath>
#include <fmt/format.h>

namespace larchhost {
namespace {

constexpr double s9_dBm = -73, sUnit_dB = 6, meterTop_dB = 60;
constexpr double slow = 0.1; // how fast the scale follows the band
constexpr double margin_dB = 8, least_dB = 50;
constexpr int axisMark = 10;        // columns between the marks of the frequency axis
constexpr double narrowMark = 2000; // Hz between them that take a further digit
constexpr const char* eighths[] = {" ", "▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
constexpr const char* endLine = "\033[0m\033[K\r\n";

// Cuts text to the screen's width and ends the line; the text holds no colour codes.
void addLine(std::string& out, const std::string& text, int columns) {
  out += text.substr(0, static_cast<size_t>(std::max(columns, 0)));
  out += endLine;
}

std::string axis(double low, double high, int columns) {
  std::string line(static_cast<size_t>(columns), ' ');
  const int marks = std::max(1, columns / (2 * axisMark));
  const int decimals = (high - low) / marks < narrowMark ? 4 : 3;
  for (int m = 0; m <= marks; m++) {
    const std::string text = fmt::format("{:.{}f}", (low + (high - low) * m / marks) / 1e6, decimals);
    const int at = std::clamp(columns * m / marks - static_cast<int>(text.size()) / 2, 0,
                              std::max(0, columns - static_cast<int>(text.size())));
    if (static_cast<int>(text.size()) <= columns) line.replace(static_cast<size_t>(at), text.size(), text);
  }
  return line;
}

} // namespace

std::string rateWarning(const receiver& r) {
  return r.bandwidthSufficient ? "" : fmt::format(" rate too low: --rate {}", rateText(r.mode->rate()));
}

std::string sMeterText(double level_dBm) {
  if (level_dBm > s9_dBm + 0.5) return fmt::format("S9+{:.0f}", level_dBm - s9_dBm);
  return fmt::format("S{:.0f}", std::clamp(9 + std::floor((level_dBm - s9_dBm) / sUnit_dB + 0.5), 0.0, 9.0));
}

std::string levelBar(double share, int width, bool unicode) {
  const int lit = share > 0 ? static_cast<int>(std::lround(std::min(share, 1.0) * width)) : 0;
  std::string bar;
  for (int i = 0; i < width; i++) bar += unicode ? (i < lit ? "█" : "░") : (i < lit ? "#" : ".");
  return bar;
}

std::string sMeterBar(double level_dBm, int width, bool unicode) {
  const double bottom = s9_dBm - 9 * sUnit_dB, top = s9_dBm + meterTop_dB;
  return levelBar((level_dBm - bottom) / (top - bottom), width, unicode);
}

void screen::addColour(std::string& out, double level, bool background) const {
  const colour c = scaleColour((level - bottom_) / (top_ - bottom_));
  if (trueColour_)
    out += fmt::format("\033[{};2;{};{};{}m", background ? 48 : 38, c.red, c.green, c.blue);
  else
    out += fmt::format("\033[{};5;{}m", background ? 48 : 38, cubeColour(c));
}

void screen::addSpectrum(std::string& out, const std::vector<double>& columns, int rows) const {
  for (int row = 0; row < rows; row++) {
    for (double level : columns) {
      const double height = std::clamp((level - bottom_) / (top_ - bottom_), 0.0, 1.0) * rows - (rows - 1 - row);
      const int part = static_cast<int>(std::lround(std::clamp(height, 0.0, 1.0) * 8));
      addColour(out, bottom_ + (top_ - bottom_) * (rows - row) / rows, false);
      out += unicode_ ? eighths[part] : part > 4 ? "#" : part > 1 ? "." : " ";
    }
    out += endLine;
  }
}

void screen::addWaterfall(std::string& out, int columns, int rows) const {
  const auto level = [this](size_t line, size_t column) {
    return line < waterfall_.size() && column < waterfall_[line].size() ? waterfall_[line][column] : noData_dBm;
  };
  for (int row = 0; row < rows; row++) {
    for (size_t c = 0; c < static_cast<size_t>(columns); c++) {
      const size_t upper = unicode_ ? 2 * static_cast<size_t>(row) : static_cast<size_t>(row);
      addColour(out, level(upper, c), !unicode_);
      if (unicode_) addColour(out, level(upper + 1, c), true);
      out += unicode_ ? "▀" : " ";
    }
    out += endLine;
  }
}

std::string screen::draw(const screenState& state, const std::vector<double>& levels, double low, double high, int columns,
                         int rows) {
  const auto line = columnsOf(levels, columns);
  const double floor = quantile(levels, 0.3), peak = quantile(levels, 1.0);
  if (floor > noData_dBm) {
    bottom_ += slow * (floor - margin_dB - bottom_);
    top_ += slow * (std::max(peak + margin_dB, bottom_ + least_dB) - top_);
  }
  waterfall_.push_front(line);
  while (waterfall_.size() > 2 * static_cast<size_t>(std::max(rows, 1))) waterfall_.pop_back();

  const station& radio = *state.radio;
  std::string out;
  addLine(out,
          fmt::format("larch  {} at {}  {}  gain {} dB  zoom {:g}  step {} Hz  audio: {}", radio.settings().board.name,
                      radio.settings().address, rateText(radio.settings().rate), radio.settings().gain_dB, state.zoom, state.step,
                      state.audio),
          columns);
  const int fixed = 4 + static_cast<int>(state.receivers.size() + state.further.size());
  const int picture = std::max(4, rows - fixed);
  const int spectrumRows = std::max(2, picture / 3);
  addSpectrum(out, line, spectrumRows);
  addLine(out, axis(low, high, columns), columns);
  addWaterfall(out, columns, picture - spectrumRows);
  for (size_t i = 0; i < state.receivers.size(); i++) {
    const receiver& r = *state.receivers[i];
    const std::string text =
        fmt::format("{} {:>11} {} {} {:6.1f} dBm {:<6} ", i == state.selected ? ">" : " ", frequencyText(r.frequency),
                    r.mode->name(r.side), r.mode->filterText(r.filter), r.signal_dBm, sMeterText(r.signal_dBm));
    const int room = columns - static_cast<int>(text.size()) - 24;
    out += text.substr(0, static_cast<size_t>(columns));
    if (room > 4) out += sMeterBar(r.signal_dBm, std::min(room, 40), unicode_);
    if (r.muted) out += " muted";
    out += rateWarning(r);
    out += endLine;
  }
  for (const auto& text : state.further) out += text + endLine;
  addLine(out,
          fmt::format("ADC peak {:.1f} dBFS{}  sequence breaks {}  {}", radio.adcPeak_dBFS(),
                      radio.adcOverload() ? "  OVERLOAD" : "", radio.sequenceBreaks(), state.message),
          columns);
  out += state.keys.substr(0, static_cast<size_t>(columns));
  out += "\033[0m\033[K\033[J";
  return out;
}

} // namespace larchhost
