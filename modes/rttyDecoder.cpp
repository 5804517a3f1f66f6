#include "modes/rttyDecoder.h"
#include "modes/baudot.h"
#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace larch {
namespace {

constexpr double shortPi = 3.1415927;                // required: eight digits
constexpr double lookTime = 0.00016666666666666666;  // s
constexpr int32_t longEighth = 17, shortEighth = 16; // looks, in turn: a bit has 132
constexpr uint32_t eighthsOfBit = 8, dataBits = 5;
constexpr int32_t allowedDrift = 2;
constexpr int32_t codes = 32;

} // namespace

void rttyToneSum::setFrequency(double frequency) {
  const double a = 2 * frequency * shortPi * lookTime;
  step_ = {std::cos(a), -std::sin(a)};
}

void rttyDecoder::process(const std::complex<double>* samples, uint64_t count, int32_t frequency) {
  space_.setFrequency(static_cast<double>(frequency) + shift);
  mark_.setFrequency(frequency);
  for (uint64_t i = 0; i < count; i += lookSpacing) {
    space_.take(samples[i]);
    mark_.take(samples[i]);
    if (i % traceSpacing == 0) around_.trace(static_cast<float>(space_.level() - mark_.level()));
    if (--subSampleTimer_ <= 0) eighth();
  }
  space_.normalise();
  mark_.normalise();
}

void rttyDecoder::eighth() {
  subSampleTimer_ = timerToggle_ ? shortEighth : longEighth;
  timerToggle_ = !timerToggle_;
  history_[subSampleIndex_] = mark_.level() - space_.level();
  judge();
  if (++phaseIndex_ == phaseCount) endPeriod();
  subSampleIndex_ = (subSampleIndex_ + 1) % historyLength;
}

// As if a frame ended here: the stop bit, five data bits and the start bit, one bit apart, each against the middle of them all.
void rttyDecoder::judge() {
  constexpr uint32_t bits = dataBits + 2;
  double s[bits]; // newest first
  for (uint32_t k = 0; k < bits; k++) s[k] = history_[(subSampleIndex_ - k * eighthsOfBit) % historyLength];
  const double threshold = (*std::max_element(s, s + bits) + *std::min_element(s, s + bits)) / 2;
  for (double& value : s) value -= threshold;
  double metric = 2 * s[0] - s[bits - 1];
  uint8_t code = 0;
  for (uint32_t k = 1; k <= dataBits; k++) { // the last data bit first
    metric += std::abs(s[k]);
    code = static_cast<uint8_t>(code << 1 | (s[k] > 0));
  }
  note(metric, code);
}

void rttyDecoder::note(double metric, uint8_t code) {
  phaseRecord& here = phase(phaseIndex_);
  here.metrics = {metric, here.metrics[0], here.metrics[1]};
  here.code = code;
  if (metric > bestMetric_) {
    bestMetric_ = metric;
    bestCode_ = code;
    bestPhase_ = phaseIndex_;
  }
}

void rttyDecoder::endPeriod() {
  rttyPeriod period;
  settlePhase(period);
  read(period);
  around_.period(period);
  phaseIndex_ = 0;
  bestMetric_ = noMetric;
  lastBestPhase_ = bestPhase_;
}

// A jump of the phase has to be better over three periods.
void rttyDecoder::settlePhase(rttyPeriod& period) {
  int32_t drift = std::abs(bestPhase_ - lastBestPhase_);
  if (drift > phaseCount / 2) drift = phaseCount - drift;
  if (drift > allowedDrift) {
    const phaseRecord &best = phase(bestPhase_), &last = phase(lastBestPhase_);
    if (best.sum() > last.sum()) {
      period.moved = true;
      period.metrics = best.metrics;
      period.lastMetrics = last.metrics;
    } else {
      bestCode_ = last.code;
      bestPhase_ = lastBestPhase_;
      drift = 0;
    }
  }
  period.drift = drift;
}

void rttyDecoder::read(rttyPeriod& period) {
  if (bestCode_ == baudotBlank) shifted_ = false; // a blank unshifts
  const char c = baudotCharacter(bestCode_ + (shifted_ ? codes : 0));
  if (c == baudotFigures) {
    shifted_ = true;
  } else if (c == baudotLetters) {
    shifted_ = false;
  } else {
    period.hasCharacter = true;
    period.character = c;
  }
}

} // namespace larch
