// What is on the air: signals in absolute radio frequency and a noise floor. Knows no protocol and no board.
#pragma once
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>
#include "sim/randomSource.h"
#include "sim/signalSource.h"

namespace larch::sim {

// Thread-safe: signals may come and go while radios play the scene. One scene may feed several radios.
class bandScene {
 public:
  using signalList = std::vector<std::shared_ptr<const signalSource>>;
  struct content {
    signalList signals;
    double noise_dBFS = -400; // power in 1 Hz against a full-scale sine; from noiseOff_dBFS down there is none
    uint64_t revision = 0;    // another number after every change
  };
  static constexpr double noiseOff_dBFS = -300;

  bandScene();
  void add(std::shared_ptr<const signalSource> signal);
  void remove(const std::shared_ptr<const signalSource>& signal);
  void clear();                       // signals and noise
  void setNoise(double density_dBFS); // in 1 Hz
  std::shared_ptr<const content> current() const;

  // shorthand for tests
  std::shared_ptr<const signalSource> addCarrier(double frequency_Hz, double level_dBFS, double phase_rad = 0);

  // Real samples of the converter itself, 1.0 full scale: `count` samples at clock_Hz from start_s, all levels times gain.
  void renderConverter(double start_s, double clock_Hz, double gain, double* out, size_t count, randomSource& random,
                       double utcAtZero_s = 0) const;

 private:
  template <typename change> void edit(change&& apply);
  mutable std::mutex guard;
  std::shared_ptr<const content> now;
};

// Deviation of each part of complex noise with this density in a stream of rate_Hz.
double complexNoiseDeviation(double density_dBFS, double rate_Hz);

} // namespace larch::sim
