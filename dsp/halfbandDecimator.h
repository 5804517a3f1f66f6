// Mixer and chain of halfband decimators by powers of two.
#pragma once
#include "dsp/buff.h"
#include "dsp/alignedDoubles.h"
#include "dsp/cpuVariant.h"
#include "dsp/decimatorKernels.h"
#include <complex>
#include <cstdint>
#include <vector>

namespace larch {

// Turns sample n of the input by e^(-j step (n+1)) and decimates by 1, 2, 4, 8 ... One object belongs to one task group. Each
// stage halves the rate: 11-tap stages first, then one of 19 taps, then the sharpest of 39 taps at the lowest rate.
class halfbandDecimator {
 public:
  explicit halfbandDecimator(cpuVariant variant = selectedVariant());
  halfbandDecimator(const halfbandDecimator&) = delete;
  halfbandDecimator& operator=(const halfbandDecimator&) = delete;

  // phaseStep: radians a sample, positive turns downwards; exactly 0.0 (or not finite) doesn't mix and leaves the phase alone.
  // Returns the number of outputs: input.count / ratio rounded down, at most output.count; the rest of the input is dropped.
  // Ratio 3 and ratios below 1 give 0 outputs. A ratio above 4 that is no power of two runs the chain of the power of two below
  // it on the first samples: no more outputs, but not an exact decimation. A changed ratio clears all memory but the phase, and
  // is the only thing that allocates; otherwise rt. The output may be the input's memory.
  uint64_t process(double phaseStep, int32_t ratio, const cbuff& output, const cbuff& input);
  // The same without the mixer.
  uint64_t decimate(int32_t ratio, const cbuff& output, const cbuff& input);

  std::complex<double> phase() const { return {phase_.re, phase_.im}; }
  // Samples of history of each stage, index 0 last in the chain.
  std::vector<int32_t> histories() const;

 private:
  // Even and odd input samples stand apart, `kept` of each parity before the new ones.
  struct stage {
    int32_t history = 0;           // samples
    std::size_t kept = 0;          // complex numbers of each parity
    std::size_t parity = 0;        // complex numbers of memory for each parity
    alignedDoubles memory;         // even, then odd
    decimator::stageInput input{}; // where output 0 reads
    decimator::stageKernel kernel = nullptr;

    double* even() const { return memory.get() + 2 * kept; }
    double* odd() const { return even() + 2 * parity; }
  };

  uint64_t prepare(int32_t ratio, const cbuff& output, const cbuff& input);
  void build(int32_t ratio);
  void addStage(int32_t history, int32_t halfTaps, int32_t lag, std::size_t capacity);
  void prepareTable(double phaseStep);
  void runTiles(const double* in, double* out, uint64_t count, bool mixing);
  void fillFirst(const double* in, std::size_t count, bool mixing);
  void runChain(std::size_t count, double* out, bool turning, decimator::rotation turn, decimator::rotation turnHistory);
  void finish(const stage& s, std::size_t outputs, bool turning, decimator::rotation turnHistory);
  void turnHistories(decimator::rotation factor);
  void advance(std::size_t count);
  stage& inOrder(std::size_t turn) { return stages_[turn + 2 < stages_.size() ? turn + 2 : stages_.size() - 1 - turn]; }

  const decimator::kernels* kernels_;
  int32_t ratio_ = 1;
  decimator::rotation phase_;
  std::vector<stage> stages_;
  uint64_t decimation_ = 1; // of the chain: 2 to the number of stages
  double tableStep_ = 0;    // radians a sample; 0: no table yet
  alignedDoubles cosines_, sines_;
  alignedDoubles mixed_; // one tile, for chains whose turn takes more than a tile
};

} // namespace larch
