#include "modes/sigGenModDemod.h"
#include "modes/realAudio.h"
#include <cmath>

namespace larch {
namespace {

constexpr double shortPi = 3.1415927, fullTurn = 6.2831854, samplePeriod_s = 2.0833333333333333e-5; // 1 / 48000
constexpr double foldBeyond = 1e9; // radians, hours of the highest frequency: the phase still has seven digits behind the point

} // namespace

buff<float> sigGenModDemod::demodulate(const cbuff& block) { return realAudio(block); }

void sigGenModDemod::modulate(const cbuff& input, const cbuff& output) {
  static_cast<void>(input);
  const double step = 2 * freq2.get() * shortPi * samplePeriod_s, carrier = ampl1.get(), tone = ampl2.get();
  // required: only an upward wrap, so that a negative frequency runs down and down; the short turn makes each fold a small jump.
  // What a wild frequency has left of the phase is forgotten.
  if (!(std::abs(phase_) < foldBeyond)) phase_ = std::isfinite(phase_) ? std::fmod(phase_, fullTurn) : 0.0;
  for (uint64_t i = 0; i < output.count; i++) {
    phase_ += step;
    if (phase_ > fullTurn) phase_ -= fullTurn;
    output.data[i] = {carrier + tone * std::cos(phase_), -tone * std::sin(phase_)};
  }
}

} // namespace larch
