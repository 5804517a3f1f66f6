#include "host/hellPicture.h"
#include "host/colourScale.h"
#include "host/pngFile.h"
#include "host/spectrumTrace.h"
#include <algorithm>
#include <cmath>
#include <fmt/format.h>

namespace larchhost {
namespace {

constexpr double bandOfStep = 800, deepest = 64; // the spectrum's width in steps
constexpr double frameLength = 2048;             // samples of the spectrum
constexpr double belsToDecibels = 10;
constexpr double range_dB = 16;          // from the loudest points down
constexpr double leastOverNoise_dB = 26; // of what counts as loudest, so that noise stays dark
constexpr double loudest = 0.999;        // share of the points below
constexpr const char* endColour = "\033[0m";

} // namespace

hellSpectrum hellSpectrumFor(int32_t rate, double step) {
  const int halvings = static_cast<int>(std::lround(std::log2(rate / (bandOfStep * step))));
  const double zoom = std::clamp(std::exp2(halvings), 1.0, deepest);
  const int32_t speed = std::clamp(3 - halvings, 0, 2);
  const double overlap = zoom > 1 ? std::max(std::floor(std::exp2(speed) * zoom / 2), 1.0) : std::exp2(speed);
  return {zoom, speed, rate / zoom / frameLength * overlap};
}

hellPicture::hellPicture(double top, double step, double frames_s)
    : top_(top), step_(step), pixelFrames_(frames_s / step),
      hold_(std::max<size_t>(1, static_cast<size_t>(std::lround(rows * pixelFrames_)))) {}

size_t hellPicture::turn(size_t y) const {
  const double row = (height - margins * rowPoints - static_cast<double>(y)) / rowPoints - 1; // the bottom one is 0
  return static_cast<size_t>(std::lround(std::max(row, 0.0) * pixelFrames_));
}

// Straight lines between the frame's points, in decibels.
void hellPicture::add(std::span<const float> frame, double low, double high) {
  while (columns_.size() < frames_ + hold_ - forgotten_) columns_.emplace_back(height, static_cast<float>(noData_dBm));
  const double points = static_cast<double>(frame.size()) / (high - low), highest = top_ + step_ * (margins + 0.5);
  for (size_t y = 0; y < height; y++) {
    const double at = (highest - (static_cast<double>(y) + 0.5) * step_ / rowPoints - low) * points;
    if (!(at >= 0) || !(at + 1 < static_cast<double>(frame.size()))) continue;
    const auto i = static_cast<size_t>(at);
    const double part = at - std::floor(at);
    const auto level = static_cast<float>(belsToDecibels * (frame[i] * (1 - part) + frame[i + 1] * part));
    const size_t first = std::max(frames_ - std::min(frames_, turn(y)), forgotten_) - forgotten_;
    for (size_t x = first; x < first + hold_; x++) columns_[x][y] = std::max(columns_[x][y], level);
  }
  frames_++;
  if (columns_.size() > mostStrips * columns) {
    columns_.erase(columns_.begin(), columns_.begin() + columns);
    forgotten_ += columns;
  }
}

hellPicture::contrast hellPicture::contrastOf(size_t from) const {
  std::vector<double> all;
  for (size_t i = from; i < columns_.size(); i++) all.insert(all.end(), columns_[i].begin(), columns_[i].end());
  const double noise = quantile(all, 0.5), top = std::max(quantile(std::move(all), loudest), noise + leastOverNoise_dB);
  return {top - range_dB, top};
}

void hellPicture::save(const std::string& path) const {
  if (columns_.empty()) return;
  const contrast c = contrastOf(0);
  const size_t pitch = height + gap, lineCount = strips() * pitch - gap;
  std::vector<uint8_t> rgb(lineCount * columns * 3, 0);
  for (size_t i = 0; i < columns_.size(); i++)
    for (size_t y = 0; y < height; y++) {
      const colour point = scaleColour(c.place(columns_[i][y]));
      const size_t at = ((i / columns * pitch + y) * columns + i % columns) * 3;
      rgb[at] = point.red;
      rgb[at + 1] = point.green;
      rgb[at + 2] = point.blue;
    }
  writePng(path, columns, static_cast<int>(lineCount), rgb);
}

// The loudest of what falls into each cell, newest on the right.
std::vector<hellPicture::levels> hellPicture::cells(size_t count, size_t cellFrames, size_t lines) const {
  std::vector<levels> result(lines, levels(count, static_cast<float>(noData_dBm)));
  const size_t come = frames_ - forgotten_, shown = std::min(come, count * cellFrames), first = come - shown;
  for (size_t i = 0; i < shown; i++) {
    const size_t cell = count - 1 - (shown - 1 - i) / cellFrames;
    for (size_t y = 0; y < height; y++) {
      float& level = result[y * lines / height][cell];
      level = std::max(level, columns_[first + i][y]);
    }
  }
  return result;
}

std::vector<std::string> hellPicture::lines(size_t cellCount, size_t cellFrames, bool trueColour, bool unicode) const {
  constexpr size_t lineCount = rows + 2 * margins;
  constexpr int fore = 38, back = 48;
  const auto shown = cells(cellCount, cellFrames, unicode ? 2 * lineCount : lineCount);
  const contrast c = contrastOf(columns_.size() - std::min(columns_.size(), cellCount * cellFrames));
  const auto code = [&](float level, int ground) {
    const colour p = scaleColour(c.place(level));
    return trueColour ? fmt::format("\033[{};2;{};{};{}m", ground, p.red, p.green, p.blue)
                      : fmt::format("\033[{};5;{}m", ground, cubeColour(p));
  };
  std::vector<std::string> result(lineCount);
  for (size_t line = 0; line < lineCount; line++) {
    for (size_t cell = 0; cell < cellCount; cell++)
      result[line] += unicode ? code(shown[2 * line][cell], fore) + code(shown[2 * line + 1][cell], back) + "▀"
                              : code(shown[line][cell], back) + " ";
    result[line] += endColour;
  }
  return result;
}

} // namespace larchhost
