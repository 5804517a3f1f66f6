#include "modes/ssbModDemod.h"
#include "audio/Wireless.h"
#include "dsp/filterDesign.h"
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

cbuff clipFilter(double low, double high) { return makeBandpass(low, high, audioSampleRate, clipTaps, clipTaps); }

} // namespace

ssbModDemod::ssbModDemod(std::shared_ptr<syncTask> group)
    : modDemod(std::move(group)),
      speech_(microphoneFilter(firstLow, firstHigh, UseMicEQ.value), clipFilter(firstLow, firstHigh)) {}

buff<float> ssbModDemod::demodulate(const cbuff& block) { return realAudio(block); }

void ssbModDemod::setTxFilter(int32_t low, int32_t high) {
  const double l = low + narrowing, h = high - narrowing;
  speech_.setClipTaps(clipFilter(l, h));
  speech_.setMicrophoneTaps(microphoneFilter(l, h, UseMicEQ.get()));
}

void ssbModDemod::modulate(const cbuff& input, const cbuff& output) {
  // required: a new curve takes effect with the next setTxFilter, not here
  if (UseMicEQ.get()) eqVersion_ = micEqRevision();
  peak_ = std::max(peak_, speech_.process(input, compression.get(), outputFactor, output));
}

} // namespace larch
