#include "modes/fmFilters.h"
#include "audio/Wireless.h"
#include "dsp/filterDesign.h"
#include "modes/microphoneFilter.h"
#include "modes/shapedFilter.h"

namespace larch {
namespace {

constexpr int32_t audioSampleRate = 48000, receiveTaps = 1024;

} // namespace

cbuff fmMicrophoneFilter(const buff<float>& curve) {
  return shapedFilter(makeSinc2048(fmLow_Hz, fmHigh_Hz), fmLow_Hz, fmHigh_Hz, [&curve](double f, int32_t bin) {
    return f / fmLow_Hz * static_cast<double>(curve.data[microphoneTaps - 1 - bin]);
  });
}

cbuff fmMicrophoneFilter() {
  buff<float> curve;
  buildMicEq(curve);
  return fmMicrophoneFilter(curve);
}

cbuff fmReceiveFilter() {
  // required: the band-pass has its window already and gets a second one
  const cbuff band = makeBandpass(fmLow_Hz, fmHigh_Hz, audioSampleRate, receiveTaps, receiveTaps);
  return shapedFilter(band, fmLow_Hz, fmHigh_Hz, [](double f, int32_t) { return 1 / (f / fmLow_Hz); });
}

} // namespace larch
