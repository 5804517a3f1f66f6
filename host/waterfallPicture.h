// The waterfall as a PNG file, newest line at the bottom.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

namespace larchhost {

class waterfallPicture {
 public:
  static constexpr int width = 1024;
  static constexpr size_t mostLines = 4000; // the oldest go first

  // One line of levels in dBm, low frequency first; the picture's contrast follows the levels of the whole recording.
  void addLine(const std::vector<double>& levels);
  size_t lines() const { return lines_.size(); }
  // Throws std::runtime_error when the file can't be written. Without a line nothing is written.
  void save(const std::string& path) const;

 private:
  std::vector<std::vector<float>> lines_;
};

} // namespace larchhost
