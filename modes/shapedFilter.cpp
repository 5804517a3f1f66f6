#include "modes/shapedFilter.h"
#include "dsp/filterDesign.h"
#include "dsp/transform.h"

namespace larch {
namespace {

constexpr double audioSampleRate = 48000;

double binFrequency(int32_t i, int32_t count) {
  const double f = i * audioSampleRate / count;
  return i < count / 2 ? -f : audioSampleRate - f;
}

} // namespace

cbuff shapedFilter(const cbuff& taps, double low, double high, const binGain& gain) {
  const auto count = static_cast<int32_t>(taps.count);
  const cbuff shaped(taps.count);
  fftForward(taps, shaped);
  for (int32_t i = 0; i < count; i++) {
    const double f = binFrequency(i, count);
    const double g = low <= f && f < high ? gain(f, i) : 1.0;
    shaped.data[i] = shaped.data[i] * g / static_cast<double>(count);
  }
  fftInverse(shaped, shaped);
  const buff<double> window = blackmanHarris7(count);
  for (int32_t i = 0; i < count; i++) shaped.data[i] *= window.data[i];
  return shaped;
}

} // namespace larch
