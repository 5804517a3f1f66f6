// Speech noise reduction: RNNoise, whose frames have 480 samples, on blocks of 512 with a strength in percent.
#pragma once
#include <array>
#include <cstdint>
#include <memory>
#include <numeric>
#include <vector>

struct DenoiseState;

namespace larch {

// One stream of audio at 48 kHz, full scale 32768. The output is the input `delay()` samples later, as the network leaves it:
// full network at 100 percent, the delayed input bit for bit at 0, a linear blend of both between (and beyond, as it comes).
// Used on one task group. The constructor allocates; process is rt; the network runs at any strength.
class noiseReducer {
 public:
  static constexpr uint64_t blockLength = 512;

  noiseReducer();

  // A block of 512; out may be in. A strength that is no finite number counts as 0. Samples beyond any audio (NaN included) reach
  // the network as silence or at the limit, since it would never forget them; the delayed input keeps them.
  void process(float* out, const float* in, float strength_percent);

  // Samples from input to output, the same for all objects. The first call sets the library's tables up: not rt.
  static uint64_t delay();

 private:
  static constexpr uint64_t networkFrame = 480;
  static constexpr uint64_t queueStart = networkFrame - std::gcd(networkFrame, blockLength); // the least that never runs dry
  static constexpr uint64_t queueCapacity = 2 * blockLength + 2 * networkFrame;
  struct releaser {
    void operator()(DenoiseState* state) const;
  };
  using networkState = std::unique_ptr<DenoiseState, releaser>;

  static networkState makeNetwork();
  static uint64_t networkDelay();
  void queueNetworkFrame();

  std::array<float, networkFrame> gathered_{}; // input on its way to the next frame
  uint64_t gatheredCount_ = 0;
  std::array<float, queueCapacity> queue_{}; // the network's output, from queueBegin_ to queueEnd_
  uint64_t queueBegin_ = 0, queueEnd_ = queueStart;
  std::vector<float> delayLine_; // the input of the last delay() samples, a ring
  uint64_t delayAt_ = 0;
  networkState network_;
};

} // namespace larch
