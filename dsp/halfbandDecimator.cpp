#include "dsp/halfbandDecimator.h"
#include <algorithm>
#include <cmath>
#include <iterator>
#include <span>

namespace larch {

namespace {

using cdouble = std::complex<double>;

// The taps at even offsets, outermost first, mirrored; the centre is 0.5, the others are 0.
constexpr double halfTaps39[] = {-3.62907885576887e-6, 4.02466442580786e-5, -0.000235834343041218, 0.000963902327396773,
                                 -0.003076553710626,   0.00818383132692986, -0.0190660145353977,   0.0410960724707912,
                                 -0.0907564864768072,  0.312854461452131};
constexpr double halfTaps19[] = {0.000333811843036611, -0.00353395473118229, 0.0185252451861531, -0.0689599668906186,
                                 0.303634864592664};
constexpr double halfTaps11[] = {0.00622556206707906, -0.0499000904333449, 0.293674528365953};

constexpr int32_t history39 = 38, history19 = 18, history11 = 9; // 11 taps: and the samples a turn of the stage takes

std::span<const double> halfTapsOf(int32_t history) {
  if (history == history39) return halfTaps39;
  if (history == history19) return halfTaps19;
  return halfTaps11;
}

// The window starts with the oldest sample of the line.
cdouble halfband(const cdouble* window, std::span<const double> half) {
  const std::size_t last = 4 * half.size() - 2;
  cdouble sum = window[last / 2] * 0.5;
  for (std::size_t k = 0; k < half.size(); k++) sum += (window[2 * k] + window[last - 2 * k]) * half[k];
  return sum;
}

} // namespace

std::vector<int32_t> halfbandDecimator::histories() const {
  std::vector<int32_t> result;
  for (const stage& s : stages_) result.push_back(s.history);
  return result;
}

// Without outputs nothing is built, so that no ratio can ask for more memory than its input has.
uint64_t halfbandDecimator::prepare(int32_t ratio, const cbuff& output, const cbuff& input) {
  if (ratio < 1) return 0;
  if (ratio != ratio_) stages_.clear();
  ratio_ = ratio;
  const uint64_t outputs = ratio == 3 ? 0 : std::min(input.count / ratio, output.count);
  if (outputs > 0 && stages_.empty()) build(ratio);
  return outputs;
}

void halfbandDecimator::build(int32_t ratio) {
  std::vector<int32_t> wanted;
  if (ratio > 1) wanted.push_back(history39);
  if (ratio > 2) wanted.push_back(history19);
  for (int32_t v = ratio / 4; v > 1; v /= 2) wanted.push_back(v + history11);
  for (int32_t history : wanted) stages_.push_back({history, std::vector<cdouble>(history + 2), false});
}

// One sample into the chain; true when the chain gives one.
bool halfbandDecimator::push(cdouble sample, cdouble& result) {
  const std::size_t count = stages_.size();
  for (std::size_t turn = 0; turn < count; turn++) { // stages 2, 3 ... of 11 taps first, then 1, then 0
    stage& s = stages_[turn + 2 < count ? turn + 2 : count - 1 - turn];
    std::copy(s.line.begin() + 1, s.line.end(), s.line.begin());
    s.line.back() = sample;
    s.second = !s.second;
    if (s.second) return false;
    // 11 taps: the delay of a turn of `history - 9` samples
    sample = halfband(s.line.data(), halfTapsOf(s.history));
  }
  result = sample;
  return true;
}

uint64_t halfbandDecimator::process(double phaseStep, int32_t ratio, const cbuff& output, const cbuff& input) {
  if (phaseStep == 0.0 || !std::isfinite(phaseStep)) return decimate(ratio, output, input);
  const uint64_t outputs = prepare(ratio, output, input);
  phase_ /= std::abs(phase_);
  const cdouble rotation{std::cos(phaseStep), -std::sin(phaseStep)};
  uint64_t done = 0;
  for (uint64_t i = 0; done < outputs; i++) {
    phase_ *= rotation;
    if (push(input.data[i] * phase_, output.data[done])) done++;
  }
  return done;
}

uint64_t halfbandDecimator::decimate(int32_t ratio, const cbuff& output, const cbuff& input) {
  const uint64_t outputs = prepare(ratio, output, input);
  uint64_t done = 0;
  for (uint64_t i = 0; done < outputs; i++)
    if (push(input.data[i], output.data[done])) done++;
  return done;
}

} // namespace larch
