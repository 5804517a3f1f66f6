// Mixer and chain of halfband decimators by powers of two.
#pragma once
#include "dsp/buff.h"
#include <complex>
#include <cstdint>
#include <vector>

namespace larch {

// Turns the input by e^(-j step n) and decimates it by 1, 2, 4, 8 ... One object belongs to one task group. Each stage halves the
// rate: 11-tap stages first, then one of 19 taps, then the sharpest of 39 taps at the lowest rate.
class halfbandDecimator {
 public:
  halfbandDecimator() = default;
  halfbandDecimator(const halfbandDecimator&) = delete;
  halfbandDecimator& operator=(const halfbandDecimator&) = delete;

  // phaseStep: radians a sample, positive turns downwards; exactly 0.0 (or not finite) doesn't mix and leaves the phase alone.
  // Returns the number of outputs: input.count / ratio rounded down, at most output.count; the rest of the input is dropped.
  // Ratio 3 and ratios below 1 give 0 outputs. A ratio above 4 that is no power of two runs the chain of the power of two below
  // it on the first samples: no more outputs, but not an exact decimation. A changed ratio clears all memory but the phase, and
  // is the only thing that allocates; otherwise rt.
  uint64_t process(double phaseStep, int32_t ratio, const cbuff& output, const cbuff& input);
  // The same without the mixer.
  uint64_t decimate(int32_t ratio, const cbuff& output, const cbuff& input);

  std::complex<double> phase() const { return phase_; }
  // Samples of history of each stage, index 0 last in the chain.
  std::vector<int32_t> histories() const;

 private:
  struct stage {
    int32_t history;                        // samples
    std::vector<std::complex<double>> line; // history and one pair
    bool second = false;                    // the next sample completes a pair
  };

  uint64_t prepare(int32_t ratio, const cbuff& output, const cbuff& input);
  void build(int32_t ratio);
  bool push(std::complex<double> sample, std::complex<double>& result);

  int32_t ratio_ = 1;
  std::complex<double> phase_{1.0, 0.0};
  std::vector<stage> stages_;
};

} // namespace larch
