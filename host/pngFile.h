// Pictures as PNG files.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

namespace larchhost {

// Three bytes a pixel, red first, the top line first. Throws std::runtime_error when the file can't be written.
void writePng(const std::string& path, int width, int height, const std::vector<uint8_t>& rgb);

} // namespace larchhost
