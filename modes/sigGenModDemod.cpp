#include "modes/sigGenModDemod.h"
#include "modes/realAudio.h"
#include <cmath>

namespace larch {
namespace {

constexpr double shortPi = 3.1415927, fullTurn = 6.2831854, samplePeriod_s = 2.0833333333333333e-5; // 1 / 48000

} // namespace

buff<float> sigGenModDemod::demodulate(const cbuff& block) { return realAudio(block); }

void sigGenModDemod::modulate(const cbuff& input, const cbuff& output) {
  static_cast<void>(input);
  const double step = 2 * freq2.get() * shortPi * samplePeriod_s, carrier = ampl1.get(), tone = ampl2.get();
  if (!std::isfinite(phase_)) phase_ = 0; // a frequency that was no number is forgotten
  for (uint64_t i = 0; i < output.count; i++) {
    phase_ += step;
    if (phase_ > fullTurn) phase_ -= fullTurn;
    output.data[i] = {carrier + tone * std::cos(phase_), -tone * std::sin(phase_)};
  }
}

} // namespace larch
