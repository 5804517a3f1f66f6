#include "modes/microphoneFilter.h"
#include "audio/Wireless.h"
#include "dsp/filterDesign.h"
#include "modes/shapedFilter.h"

namespace larch {
namespace {

constexpr int32_t audioSampleRate = 48000;

} // namespace

cbuff equalisedFilter(double low, double high, const buff<float>& curve) {
  return shapedFilter(makeSinc2048(low, high), low, high, [&curve](double, int32_t bin) {
    return static_cast<double>(curve.data[bin < microphoneTaps / 2 ? bin : microphoneTaps - 1 - bin]);
  });
}

cbuff microphoneFilter(double low, double high, bool equalised) {
  if (!equalised) return makeBandpass(low, high, audioSampleRate, microphoneTaps, microphoneTaps);
  buff<float> curve;
  buildMicEq(curve);
  return equalisedFilter(low, high, curve);
}

} // namespace larch
