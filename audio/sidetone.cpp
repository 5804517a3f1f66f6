#include "audio/sidetone.h"
#include "audio/sampleClock.h"
#include <cmath>
#include <numbers>

namespace larch {

void sidetone::apply(float* stereo, unsigned long frames, bool key, int32_t frequency, float volume) {
  constexpr double headroom = 0.99, turn = 2 * std::numbers::pi;
  if (key != keyed_) {
    envelope_ = 0;
    keyed_ = key;
  }
  if (!key && envelope_ >= shapingSamples) return;
  const double amplitude = volume * headroom;
  const float step = static_cast<float>(turn * frequency / audioRate);
  for (unsigned long i = 0; i < frames; i++) {
    double e = 1;
    if (envelope_ < shapingSamples) {
      e = 0.5 + 0.5 * std::cos((shapingSamples - envelope_) * std::numbers::pi / shapingSamples);
      envelope_++;
    }
    if (!key) e = 1 - e; // required: after the release the rest of this callback is silence, not the receiver
    if (amplitude != 0) stereo[2 * i] = stereo[2 * i + 1] = static_cast<float>(std::sin(phase_) * e * amplitude);
    phase_ += step;
    if (phase_ > static_cast<float>(turn)) phase_ -= static_cast<float>(turn);
  }
}

} // namespace larch
