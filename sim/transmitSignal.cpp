#include "sim/transmitSignal.h"
#include <algorithm>
#include <cmath>

namespace larch::sim {

double transmitSignal::keyed(bool down) {
  constexpr double step = 1 / (keyRamp_s * transmitRate_Hz);
  ramp = std::clamp(ramp + (down ? step : -step), 0.0, 1.0);
  return 0.5 - 0.5 * std::cos(M_PI * ramp);
}

const transmitFrame& transmitSignal::make(const commandFrame& frame, bool cwInternal) {
  made.on = frame.mox();
  for (size_t n = 0; n < frame.samples.size(); ++n) {
    const txSample& s = frame.samples[n];
    const double key = keyed(cwInternal && (s.i & 1) != 0);
    made.on |= key > 0;
    made.samples[n] = cwInternal || key > 0 ? std::complex<float>(static_cast<float>(key))
                                            : std::complex<float>(static_cast<float>(s.i / transmitFullScale),
                                                                  static_cast<float>(-s.q / transmitFullScale));
  }
  return made;
}

} // namespace larch::sim
