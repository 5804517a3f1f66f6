#include "modes/ssbModDemod.h"
#include "audio/Wireless.h"
#include "dsp/filterDesign.h"
#include "dsp/vectorOps.h"
#include "modes/microphoneFilter.h"
#include "modes/realAudio.h"
#include <algorithm>

namespace larch {
namespace {

constexpr int32_t audioSampleRate = 48000, clipTaps = 1536;
constexpr double narrowing = 100; // Hz at each end
// required: low above high, so that the first filters have the opposite polarity until the host sets one
constexpr double firstLow = 3100, firstHigh = 50;
constexpr double outputFactor = 0.94;

} // namespace

ssbModDemod::ssbModDemod(std::shared_ptr<syncTask> group)
    : modDemod(std::move(group)), micFilter_(microphoneFilter(firstLow, firstHigh, UseMicEQ.value)),
      clipFilter_(makeBandpass(firstLow, firstHigh, audioSampleRate, clipTaps, clipTaps)), limiter_(fftConvolver::block) {}

buff<float> ssbModDemod::demodulate(const cbuff& block) { return realAudio(block); }

void ssbModDemod::setTxFilter(int32_t low, int32_t high) {
  const double l = low + narrowing, h = high - narrowing;
  clipFilter_.setTaps(makeBandpass(l, h, audioSampleRate, clipTaps, clipTaps));
  micFilter_.setTaps(microphoneFilter(l, h, UseMicEQ.get()));
}

void ssbModDemod::modulate(const cbuff& input, const cbuff& output) {
  // required: a new curve takes effect with the next setTxFilter, not here
  if (UseMicEQ.get()) eqVersion_ = micEqRevision();
  input.copy(micFilter_.input);
  micFilter_.process();
  scale(micFilter_.output, 2 * compression.get(), micFilter_.output);
  double peak = 0;
  limitUnitPeak(micFilter_.output, clipFilter_.input, peak);
  peak_ = std::max(peak_, peak);
  clipFilter_.process();
  limiter_.process(clipFilter_.output, outputFactor, output);
}

} // namespace larch
