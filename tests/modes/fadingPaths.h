// A short-wave path as two rays, after Watterson: each a complex Gaussian process with a Gaussian Doppler spectrum.
#pragma once
#include "sim/randomSource.h"
#include <array>
#include <cmath>
#include <complex>
#include <vector>

namespace larch::study {

struct fadingSpread {
  double delay_ms = 0, doppler_Hz = 0; // of the second ray; twice the deviation of the Doppler spectrum. 0, 0: no fading
};
constexpr fadingSpread moderateFading{1, 0.5}; // as in the recommendations for tests of modems: middle latitudes, moderate

// One ray: a sum of rotating phasors with random frequencies and Gaussian amplitudes; mean power 1/2.
class fadingRay {
 public:
  fadingRay(double doppler_Hz, sim::randomSource& random) {
    double gauss[4 * parts] = {};
    random.addNoise(gauss, 4 * parts, 1);
    for (size_t k = 0; k < parts; k++) {
      amplitude_[k] = std::complex<double>(gauss[4 * k], gauss[4 * k + 1]) / std::sqrt(4.0 * parts);
      turns_Hz_[k] = gauss[4 * k + 2] * doppler_Hz / 2;
    }
  }
  std::complex<double> at(double t) const {
    std::complex<double> sum = 0;
    for (size_t k = 0; k < parts; k++) sum += amplitude_[k] * std::polar(1.0, 2 * M_PI * turns_Hz_[k] * t);
    return sum;
  }

 private:
  static constexpr size_t parts = 24;
  std::array<std::complex<double>, parts> amplitude_;
  std::array<double, parts> turns_Hz_;
};

// The two rays' gains at each sample, from points 20 ms apart.
class fadingPaths {
 public:
  fadingPaths(fadingSpread spread, double rate, sim::randomSource& random)
      : spread_(spread), step_(rate * 0.02), rays_{fadingRay(spread.doppler_Hz, random), fadingRay(spread.doppler_Hz, random)} {}

  double delay_s() const { return spread_.delay_ms / 1000; }
  // Of rays 0 and 1, at rising n.
  std::array<std::complex<double>, 2> at(size_t n) {
    const double point = static_cast<double>(n) / step_;
    const auto k = static_cast<size_t>(point);
    while (points_.size() < k + 2)
      points_.push_back(
          {rays_[0].at(0.02 * static_cast<double>(points_.size())), rays_[1].at(0.02 * static_cast<double>(points_.size()))});
    const double part = point - static_cast<double>(k);
    return {points_[k][0] + (points_[k + 1][0] - points_[k][0]) * part,
            points_[k][1] + (points_[k + 1][1] - points_[k][1]) * part};
  }

 private:
  fadingSpread spread_;
  double step_;
  std::array<fadingRay, 2> rays_;
  std::vector<std::array<std::complex<double>, 2>> points_;
};

} // namespace larch::study
