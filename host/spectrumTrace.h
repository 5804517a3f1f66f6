// The frames between two pictures, averaged, and cut into as many columns as a picture has.
#pragma once
#include <cstdint>
#include <span>
#include <vector>

namespace larchhost {

constexpr double noData_dBm = -200.0; // the core's mark for a point without data

// Frames hold bels of power behind a window that takes 11.34 dB off a carrier; here levels are dBm such that a carrier reads as
// on the S-meter: full scale of the receiver counts as +10 dBm.
class spectrumTrace {
 public:
  void add(std::span<const float> frame, double low, double high); // Hz at the frame's ends
  bool empty() const { return frames_ == 0; }
  // The average of what has been added, which then starts anew. Frames of another span restart the average by themselves.
  std::vector<double> take();
  double low() const { return low_; }
  double high() const { return high_; }
  uint64_t total() const { return total_; } // frames ever added

 private:
  std::vector<double> sum_;
  int frames_ = 0;
  uint64_t total_ = 0;
  double low_ = 0, high_ = 0;
};

// The strongest of the points that fall into each column.
std::vector<double> columnsOf(const std::vector<double>& levels, int columns);
// The level that `share` (0 to 1) of the points lie below; points without data don't count. noData_dBm when there is none.
double quantile(std::vector<double> levels, double share);

struct signalPeak {
  double frequency; // Hz
  double level_dBm;
};
// Up to `most` local maxima at least `above_dB` over the median, strongest first, none nearer to another than `apart` Hz.
std::vector<signalPeak> strongest(const std::vector<double>& levels, double low, double high, double above_dB, double apart,
                                  size_t most);

} // namespace larchhost
