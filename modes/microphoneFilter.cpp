#include "modes/microphoneFilter.h"
#include "audio/Wireless.h"
#include "dsp/filterDesign.h"
#include "dsp/transform.h"

namespace larch {
namespace {

constexpr int32_t audioSampleRate = 48000, half = microphoneTaps / 2;

// Bin i of the mirrored spectrum: below the middle it stands for a negative frequency.
double binFrequency(int32_t i) {
  const double f = i * static_cast<double>(audioSampleRate) / microphoneTaps;
  return i < half ? -f : audioSampleRate - f;
}

float gainAt(const buff<float>& curve, int32_t i) { return curve.data[i < half ? i : microphoneTaps - 1 - i]; }

} // namespace

cbuff equalisedFilter(double low, double high, const buff<float>& curve) {
  const cbuff taps = makeSinc2048(low, high);
  fftForward(taps, taps);
  for (int32_t i = 0; i < microphoneTaps; i++) {
    const double f = binFrequency(i);
    const double gain = low <= f && f < high ? static_cast<double>(gainAt(curve, i)) : 1.0;
    taps.data[i] = taps.data[i] * gain / static_cast<double>(microphoneTaps);
  }
  fftInverse(taps, taps);
  const buff<double> window = blackmanHarris7(microphoneTaps);
  for (int32_t i = 0; i < microphoneTaps; i++) taps.data[i] *= window.data[i];
  return taps;
}

cbuff microphoneFilter(double low, double high, bool equalised) {
  if (!equalised) return makeBandpass(low, high, audioSampleRate, microphoneTaps, microphoneTaps);
  buff<float> curve;
  buildMicEq(curve);
  return equalisedFilter(low, high, curve);
}

} // namespace larch
