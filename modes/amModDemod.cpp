#include "modes/amModDemod.h"
#include "audio/Wireless.h"
#include "dsp/filterDesign.h"
#include "modes/microphoneFilter.h"
#include <algorithm>
#include <atomic>
#include <cmath>

namespace larch {

double amDcAverage = 0.0;

namespace {

constexpr int32_t audioSampleRate = 48000, bandTaps = 1536;
constexpr double low = 150, high = 3000; // Hz, of the filters behind the clipper
constexpr double microphoneLow = 300;    // required: the equalised microphone filter begins higher
constexpr double averageStep = 0.01;     // share of a sample in the average: a time constant of 100 samples
constexpr double limiterFactor = 0.97, speechLevel = 0.48, carrierLevel = 0.5;

cbuff equalised() { return microphoneFilter(microphoneLow, high, true); }
cbuff bandFilter() { return makeBandpass(low, high, audioSampleRate, bandTaps, bandTaps); }

} // namespace

amModDemod::amModDemod(std::shared_ptr<syncTask> group)
    : modDemod(std::move(group)), speech_(equalised(), bandFilter()), shapeFilter_(bandFilter()) {}

buff<float> amModDemod::demodulate(const cbuff& block) {
  const std::atomic_ref<double> shared(amDcAverage);
  if (!std::isfinite(shared.load(std::memory_order_relaxed))) shared.store(0.0, std::memory_order_relaxed);
  buff<float> audio(block.count);
  for (uint64_t i = 0; i < block.count; i++) {
    const double re = block.data[i].real(), im = block.data[i].imag(), magnitude = std::sqrt(re * re + im * im);
    double average = shared.load(std::memory_order_relaxed);
    average += (magnitude - average) * averageStep;
    shared.store(average, std::memory_order_relaxed);
    audio.data[i] = static_cast<float>(magnitude - average);
  }
  return audio;
}

void amModDemod::modulate(const cbuff& input, const cbuff& output) {
  if (const int32_t version = micEqRevision(); version != eqVersion_) {
    eqVersion_ = version;
    speech_.setMicrophoneTaps(equalised());
  }
  speech_.process(input, compression.get(), limiterFactor, shapeFilter_.input);
  shapeFilter_.process();
  // required: only the real part of the speech, on one of the carrier's two axes
  const double carrier = carrierLevel / std::sqrt(2.0);
  const uint64_t n = std::min(output.count, fftConvolver::block);
  for (uint64_t i = 0; i < n; i++) output.data[i] = {shapeFilter_.output.data[i].real() * speechLevel + carrier, carrier};
}

} // namespace larch
