#include "dsp/noiseReducer.h"
#include <algorithm>
#include <cmath>
#include <rnnoise.h>

namespace larch {
namespace {

constexpr float networkLimit = 1 << 20; // far above 16-bit audio, and its powers still fit a float
constexpr float fullStrength_percent = 100.0f;

float forNetwork(float sample) { return std::isnan(sample) ? 0.0f : std::clamp(sample, -networkLimit, networkLimit); }

} // namespace

void noiseReducer::releaser::operator()(DenoiseState* state) const { rnnoise_destroy(state); }

noiseReducer::networkState noiseReducer::makeNetwork() { return networkState(rnnoise_create(nullptr)); }

// The network's own delay differs between its versions, so it is measured: a pulse below its threshold of silence passes without
// gains. Running once under the guard of the static value, before any other state is made, this also keeps threads from racing
// for the library's tables, which it fills unguarded at its first frame.
uint64_t noiseReducer::networkDelay() {
  static const uint64_t measured = [] {
    constexpr uint64_t frames = 6;
    const networkState network = makeNetwork();
    std::array<float, networkFrame> frame{};
    frame[0] = 1.0f;
    uint64_t peakAt = 0;
    float peak = 0;
    for (uint64_t k = 0; k < frames; k++) {
      rnnoise_process_frame(network.get(), frame.data(), frame.data());
      for (uint64_t i = 0; i < networkFrame; i++)
        if (std::fabs(frame[i]) > peak) {
          peak = std::fabs(frame[i]);
          peakAt = k * networkFrame + i;
        }
      frame.fill(0.0f);
    }
    return peakAt;
  }();
  return measured;
}

uint64_t noiseReducer::delay() { return queueStart + networkDelay(); }

// delay() comes first: it sets the tables up
noiseReducer::noiseReducer() : delayLine_(delay(), 0.0f), network_(makeNetwork()) {}

void noiseReducer::queueNetworkFrame() {
  rnnoise_process_frame(network_.get(), gathered_.data(), gathered_.data());
  gatheredCount_ = 0;
  std::copy(queue_.begin() + queueBegin_, queue_.begin() + queueEnd_, queue_.begin());
  queueEnd_ -= queueBegin_;
  queueBegin_ = 0;
  std::copy(gathered_.begin(), gathered_.end(), queue_.begin() + queueEnd_);
  queueEnd_ += networkFrame;
}

void noiseReducer::process(float* out, const float* in, float strength_percent) {
  for (uint64_t i = 0; i < blockLength; i++) {
    gathered_[gatheredCount_++] = forNetwork(in[i]);
    if (gatheredCount_ == networkFrame) queueNetworkFrame();
  }
  const float wetShare = std::isfinite(strength_percent) ? strength_percent / fullStrength_percent : 0.0f;
  const float dryShare = 1.0f - wetShare;
  for (uint64_t i = 0; i < blockLength; i++) {
    const float wet = queue_[queueBegin_++], dry = delayLine_[delayAt_];
    delayLine_[delayAt_] = in[i];
    if (++delayAt_ == delayLine_.size()) delayAt_ = 0;
    // 0 and 100 percent to the bit, also where the other side is no number
    out[i] = wetShare == 0 ? dry : dryShare == 0 ? wet : wetShare * wet + dryShare * dry;
  }
}

} // namespace larch
