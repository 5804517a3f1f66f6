#include "host/pngFile.h"
#include <cstdio>
#include <fmt/format.h>
#include <png.h>
#include <stdexcept>

namespace larchhost {

void writePng(const std::string& path, int width, int height, const std::vector<uint8_t>& rgb) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = static_cast<png_uint_32>(width);
  image.height = static_cast<png_uint_32>(height);
  image.format = PNG_FORMAT_RGB;
  if (!png_image_write_to_file(&image, path.c_str(), 0, rgb.data(), 0, nullptr))
    throw std::runtime_error(fmt::format("can't write {}: {}", path, image.message));
}

} // namespace larchhost
