#include "modes/fmModDemod.h"
#include "audio/Wireless.h"
#include "dsp/filterDesign.h"
#include "dsp/turnKernel.h"
#include "modes/fmFilters.h"
#include "modes/realAudio.h"
#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>

namespace larch {
namespace {

constexpr int32_t audioSampleRate = 48000, bandTaps = 1536;
constexpr double fullTurn = 2 * std::numbers::pi;
constexpr double limiterFactor = 0.97, toneLevel = 0.1, gainWithTone = 0.85, outputLevel = 0.99;
constexpr double foldBeyond = 1e6; // radians: far from where the phase loses digits

cbuff bandFilter() { return makeBandpass(fmLow_Hz, fmHigh_Hz, audioSampleRate, bandTaps, bandTaps); }

// What a wild deviation or drive has left of the phase is forgotten, so that the carrier goes on.
double folded(double phase) {
  if (std::abs(phase) < foldBeyond) return phase;
  return std::isfinite(phase) ? std::fmod(phase, fullTurn) : 0.0;
}

} // namespace

fmModDemod::fmModDemod(std::shared_ptr<syncTask> group)
    : modDemod(std::move(group)), receiveFilter_(fmReceiveFilter()), speech_(fmMicrophoneFilter(), bandFilter()),
      shapeFilter_(bandFilter()) {
  useTxFilter = true;
}

buff<float> fmModDemod::demodulate(const cbuff& block) {
  const auto ratio = static_cast<uint64_t>(sampleRate() / audioSampleRate);
  const uint64_t n = std::min(block.count, turns_.count) / ratio;
  sampleTurns(previous_, block.data, turns_.data, n * ratio);
  if (n > 0) previous_ = block.data[n * ratio - 1];
  for (uint64_t j = 0; j < n; j++)
    receiveFilter_.input.data[j] = std::accumulate(turns_.data + j * ratio, turns_.data + (j + 1) * ratio, 0.0);
  // required: a wide block renews the first 64 of the filter's 512 inputs and takes the first 64 outputs; the rest stays
  receiveFilter_.process();
  return realAudio(slice(receiveFilter_.output, 0, n));
}

void fmModDemod::followEqualiser() {
  const int32_t version = micEqRevision();
  if (version == eqVersion_) return;
  eqVersion_ = version;
  speech_.setMicrophoneTaps(fmMicrophoneFilter());
}

bool fmModDemod::addTone() {
  const double frequency = CTCSS.get();
  if (!(frequency > 0.0) || std::isinf(frequency)) return false;
  tone_.setFrequency(frequency);
  std::complex<double>* audio = shapeFilter_.output.data;
  for (uint64_t i = 0; i < fftConvolver::block; i++) audio[i] += toneLevel * tone_.next();
  tone_.normalise();
  return true;
}

void fmModDemod::modulate(const cbuff& input, const cbuff& output) {
  followEqualiser();
  speech_.process(input, compression.get(), limiterFactor, shapeFilter_.input);
  shapeFilter_.process();
  const double gain = addTone() ? gainWithTone : 1.0;
  const double turn = fullTurn * deviation.get() * gain / audioSampleRate; // radians a sample at full audio
  const uint64_t n = std::min(output.count, fftConvolver::block);
  for (uint64_t i = 0; i < n; i++) {
    txPhase_ = folded(txPhase_ + turn * shapeFilter_.output.data[i].real());
    output.data[i] = {outputLevel * std::cos(txPhase_), -outputLevel * std::sin(txPhase_)};
  }
  // required: one turn at most, however far the block went
  if (txPhase_ > fullTurn)
    txPhase_ -= fullTurn;
  else if (txPhase_ < -fullTurn)
    txPhase_ += fullTurn;
}

} // namespace larch
