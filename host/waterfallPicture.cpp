#include "host/waterfallPicture.h"
#include "host/colourScale.h"
#include "host/spectrumTrace.h"
#include <cstdio>
#include <fmt/format.h>
#include <memory>
#include <png.h>
#include <stdexcept>

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
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = width;
  image.height = static_cast<png_uint_32>(lines_.size());
  image.format = PNG_FORMAT_RGB;
  if (!png_image_write_to_file(&image, path.c_str(), 0, rgb.data(), 0, nullptr))
    throw std::runtime_error(fmt::format("can't write {}: {}", path, image.message));
}

} // namespace larchhost
