// The waterfall of a band as Hellschreiber is read: time from left to right, frequency upwards, in strips below each other.
#pragma once
#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>
#include <string>
#include <vector>

namespace larchhost {

// What a station sets for a spectrum that is as fine in frequency and in time as the pixels are.
struct hellSpectrum {
  double zoom;
  int32_t waterfallSpeed;
  double frames_s; // that come then
};
// rate: Hz, of the receiver; step: Hz between two rows of the characters, and pixels a second.
hellSpectrum hellSpectrumFor(int32_t rate, double step);

// A column of points for each frame of the spectrum, ten points high for a row of the characters. A column of a character is sent
// pixel by pixel, from its bottom to its top: each row is shown earlier by its turn, and stays until the next column's, so that
// letters stand upright and lines hang together.
class hellPicture {
 public:
  static constexpr int rows = 8, margins = 2; // of the characters; above and below them
  static constexpr int rowPoints = 10, height = (rows + 2 * margins) * rowPoints;
  static constexpr int columns = 1200, gap = 10; // points of a strip, and between two
  static constexpr size_t mostStrips = 12;       // the oldest go first

  // Hz: the topmost row of the characters and the distance of two.
  hellPicture(double top, double step, double frames_s);

  // A frame of the library in bels, from low to high Hz.
  void add(std::span<const float> frame, double low, double high);
  size_t frames() const { return frames_; } // ever
  size_t strips() const { return (columns_.size() + columns - 1) / columns; }
  // Throws std::runtime_error when the file can't be written. Without a frame nothing is written.
  void save(const std::string& path) const;
  // The last of it as lines of colour codes for a terminal, one for each row of the characters; a cell is cellFrames of time
  // wide.
  std::vector<std::string> lines(size_t cells, size_t cellFrames, bool trueColour, bool unicode) const;

 private:
  struct contrast {
    double bottom, top;
    double place(double level) const { return (level - bottom) / (top - bottom); }
  };
  using levels = std::vector<float>; // dB, the highest frequency first
  contrast contrastOf(size_t from) const;
  size_t turn(size_t y) const; // frames for which a row waits for it
  std::vector<levels> cells(size_t count, size_t cellFrames, size_t lines) const;

  const double top_, step_, pixelFrames_;
  const size_t hold_; // frames of a column of the characters
  size_t frames_ = 0, forgotten_ = 0;
  std::deque<levels> columns_;
};

} // namespace larchhost
