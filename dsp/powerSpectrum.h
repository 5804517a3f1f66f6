// The points of a spectrum frame that lie inside the band of a 2048-point transform, as log10 of their power.
#pragma once
#include "dsp/alignedDoubles.h"
#include "dsp/cpuVariant.h"
#include <array>
#include <complex>
#include <cstdint>

namespace larch {

// out[i] = log10 of (float)(powers[i] * scale + 1e-38), good to 1e-10 before it is rounded to float; powers >= 0, scale > 0. The
// same for every variant. Infinite and undefined powers give themselves. The floor is a denormal float. rt.
void logPowers(const double* powers, std::size_t count, double scale, float* out, cpuVariant variant = selectedVariant());

// Which bin each point of a frame shows, kept between the frames. One object belongs to one task group.
class powerSpectrum {
 public:
  static constexpr int32_t points = 2048; // of the frame and of the transform

  // Frequencies in hertz; inLow to inHigh, the upper end excluded, is the band of the transform, rate its sample rate.
  struct band {
    double low = 0, high = 0; // of the frame: point i stands for i * (high - low) / 2048 + low
    int64_t inLow = 0, inHigh = 0;
    int32_t rate = 0; // at least 1
    bool operator==(const band&) const = default;
  };

  explicit powerSpectrum(cpuVariant variant = selectedVariant());

  // Works the bins out anew when the band changed. rt.
  void setBand(const band& wanted);
  bool isInside(int32_t point) const { return bins_[point] != outside; }
  int32_t pointsInside() const { return inside_; }

  // Writes all points of the frame: log10 of (float)(|bin|^2 * 10 / 2048^2 + 1e-38) inside the band. Points outside it get the
  // floor and are the caller's to write. rt.
  void paint(const std::complex<double>* transform, float* frame);

 private:
  static constexpr int16_t outside = -1;
  static constexpr int32_t group = 8; // points that are looked up together

  cpuVariant variant_;
  band band_;
  int32_t inside_ = 0;
  std::array<int16_t, points> bins_;            // bin of each point
  std::array<bool, points / group> descending_; // the group's bins are neighbours, from above downwards
  alignedDoubles powers_;
};

} // namespace larch
