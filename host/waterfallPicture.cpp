#include "host/waterfallPicture.h"
#include "host/colourScale.h"
#include "host/pngFile.h"
#include "host/spectrumTrace.h"

namespace larchhost {
namespace {

constexpr double below_dB = 6, range_dB = 60; // from below the noise's median to the top of the colours

std::vector<uint8_t> pixels(const std::vector<std::vector<float>>& lines, double bottom) {
  std::vector<uint8_t> out;
  out.reserve(lines.size() * waterfallPicture::width * 3);
  for (const auto& line : lines)
    for (float level : line) {
      const colour c = scaleColour((level - bottom) / range_dB);
      out.insert(out.end(), {c.red, c.green, c.blue});
    }
  return out;
}

} // namespace

void waterfallPicture::addLine(const std::vector<double>& levels) {
  const auto columns = columnsOf(levels, width);
  lines_.emplace_back(columns.begin(), columns.end());
  if (lines_.size() > mostLines) lines_.erase(lines_.begin());
}

void waterfallPicture::save(const std::string& path) const {
  if (lines_.empty()) return;
  std::vector<double> all;
  for (const auto& line : lines_) all.insert(all.end(), line.begin(), line.end());
  const auto rgb = pixels(lines_, quantile(std::move(all), 0.5) - below_dB);
  writePng(path, width, static_cast<int>(lines_.size()), rgb);
}

} // namespace larchhost
