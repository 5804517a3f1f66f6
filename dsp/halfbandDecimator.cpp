#include "dsp/halfbandDecimator.h"
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

namespace larch {

using decimator::rotation;

namespace {

constexpr std::size_t tile = 512; // input samples that are mixed from one phase
// Half the number of the outer taps of each kind of stage, and the history of the long ones.
constexpr int32_t half39 = 10, half19 = 5, half11 = 3;
constexpr int32_t history39 = 38, history19 = 18, historyMore11 = 9;
constexpr std::size_t widest = 4; // complex numbers in the widest vector

std::size_t roundedUp(std::size_t count) { return (count + widest - 1) / widest * widest; }

rotation product(rotation a, rotation b) { return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re}; }
rotation inverseOf(rotation a) { return {a.re, -a.im}; }

} // namespace

halfbandDecimator::halfbandDecimator(cpuVariant variant)
    : kernels_(&decimator::kernelsOf(variant)), cosines_(makeAlignedDoubles(2 * tile)), sines_(makeAlignedDoubles(2 * tile)) {}

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
  if (outputs > 0 && ratio > 1 && stages_.empty()) build(ratio);
  return outputs;
}

// A turn of the chain takes v = ratio / 4 samples into the first short stage, v / 2 into the next and so on, and each computes
// on the window at the old end of its history of v + 9: it lags v samples. All these lags are one sample each at the input of
// the 19-tap stage, where they are added up, so that the short stages themselves run on the newest samples.
void halfbandDecimator::build(int32_t ratio) {
  decimation_ = std::bit_floor(static_cast<uint32_t>(ratio));
  const std::size_t inputs = std::max<std::size_t>(tile, decimation_);
  const int32_t shortStages = std::max(std::countr_zero(decimation_) - 2, 0);
  std::size_t capacity = inputs / decimation_;
  addStage(history39, half39, 1, capacity);
  if (ratio > 2) addStage(history19, half19, 1 + shortStages, 2 * capacity);
  capacity = inputs / 2;
  for (int32_t v = ratio / 4; v > 1; v /= 2, capacity /= 2) addStage(v + historyMore11, half11, 0, capacity);
  if (decimation_ > tile) mixed_ = makeAlignedDoubles(2 * tile);
}

// lag: the window ends so many samples before the newest. An odd lag puts the outer taps on even samples and the centre on odd
// ones, an even lag the other way round.
void halfbandDecimator::addStage(int32_t history, int32_t halfTaps, int32_t lag, std::size_t capacity) {
  stage s;
  s.history = history;
  const std::size_t reach = 2 * halfTaps - 1 + lag / 2; // the window's, of its parity
  s.kept = std::max<std::size_t>(reach, widest);        // never less than the centre's
  s.parity = roundedUp(s.kept + capacity + widest);     // both windows at full alignment
  s.memory = makeAlignedDoubles(4 * s.parity);
  const double *outer = lag % 2 ? s.even() : s.odd(), *centre = lag % 2 ? s.odd() : s.even();
  s.input.window = outer - 2 * reach;
  s.input.centre = centre - 2 * (lag % 2 ? halfTaps + lag / 2 : halfTaps - 1 + lag / 2);
  s.kernel = halfTaps == half11 ? kernels_->stage11 : kernels_->stage19;
  stages_.push_back(std::move(s));
}

uint64_t halfbandDecimator::process(double phaseStep, int32_t ratio, const cbuff& output, const cbuff& input) {
  if (phaseStep == 0.0 || !std::isfinite(phaseStep)) return decimate(ratio, output, input);
  const uint64_t outputs = prepare(ratio, output, input);
  const double magnitude = std::hypot(phase_.re, phase_.im);
  phase_ = {phase_.re / magnitude, phase_.im / magnitude};
  if (outputs == 0) return 0;
  if (phaseStep != tableStep_) prepareTable(phaseStep);
  const double* in = reinterpret_cast<const double*>(input.data);
  double* out = reinterpret_cast<double*>(output.data);
  if (ratio > 1) {
    runTiles(in, out, outputs * decimation_, true);
    return outputs;
  }
  for (uint64_t done = 0; done < outputs; done += tile) {
    const std::size_t count = std::min<uint64_t>(tile, outputs - done);
    kernels_->mix(in + 2 * done, count, {cosines_.get(), sines_.get()}, phase_, out + 2 * done);
    advance(count);
  }
  return outputs;
}

uint64_t halfbandDecimator::decimate(int32_t ratio, const cbuff& output, const cbuff& input) {
  const uint64_t outputs = prepare(ratio, output, input);
  if (outputs == 0) return 0;
  if (ratio > 1)
    runTiles(reinterpret_cast<const double*>(input.data), reinterpret_cast<double*>(output.data), outputs * decimation_, false);
  else
    std::memmove(static_cast<void*>(output.data), input.data, outputs * sizeof(std::complex<double>));
  return outputs;
}

// The first `tile` powers, by doubling: each from rotations by exact angles and at most nine products.
void halfbandDecimator::prepareTable(double phaseStep) {
  const double step = std::abs(phaseStep) <= M_PI ? phaseStep : std::atan2(std::sin(phaseStep), std::cos(phaseStep));
  const auto set = [this](std::size_t k, rotation r) {
    cosines_[2 * k] = cosines_[2 * k + 1] = r.re;
    sines_[2 * k] = -r.im;
    sines_[2 * k + 1] = r.im;
  };
  set(0, {std::cos(step), -std::sin(step)});
  for (std::size_t power = 1; power < tile; power *= 2) {
    const double angle = step * static_cast<double>(power);
    const rotation w{std::cos(angle), -std::sin(angle)};
    for (std::size_t k = 0; k < power; k++) set(power + k, product(w, {cosines_[2 * k], sines_[2 * k + 1]}));
  }
  tableStep_ = phaseStep;
}

// The phase goes on by `count` samples, at most a tile.
void halfbandDecimator::advance(std::size_t count) {
  phase_ = product(phase_, {cosines_[2 * (count - 1)], sines_[2 * (count - 1) + 1]});
}

// Within a tile everything, the histories too, stands as seen from the phase at the tile's start; only the outputs are turned by
// it. Chains whose turn takes more than a tile mix to the full phase at once.
void halfbandDecimator::runTiles(const double* in, double* out, uint64_t count, bool mixing) {
  const std::size_t turn = std::max<std::size_t>(tile, decimation_);
  const bool relative = mixing && turn == tile;
  if (relative) turnHistories(inverseOf(phase_));
  while (count > 0) {
    const std::size_t inputs = std::min<uint64_t>(turn, count);
    fillFirst(in, inputs, mixing);
    if (relative) {
      const rotation before = phase_;
      advance(inputs);
      runChain(inputs, out, true, before, count > inputs ? product(before, inverseOf(phase_)) : before);
    } else {
      runChain(inputs, out, false, {}, {});
    }
    in += 2 * inputs;
    out += 2 * (inputs / decimation_);
    count -= inputs;
  }
}

// The new samples of the first stage of the chain.
void halfbandDecimator::fillFirst(const double* in, std::size_t count, bool mixing) {
  const stage& first = inOrder(0);
  const decimator::rotationTable table{cosines_.get(), sines_.get()};
  if (!mixing) return kernels_->split(in, count, first.even(), first.odd());
  if (count <= tile && decimation_ <= tile) return kernels_->mixAndSplit(in, count, table, first.even(), first.odd());
  for (std::size_t done = 0; done < count; done += tile) {
    kernels_->mix(in + 2 * done, tile, table, phase_, mixed_.get());
    kernels_->split(mixed_.get(), tile, first.even() + done, first.odd() + done);
    advance(tile);
  }
}

// The outputs are turned by `turn`, what stays as history by `turnHistory`.
void halfbandDecimator::runChain(std::size_t count, double* out, bool turning, rotation turn, rotation turnHistory) {
  for (std::size_t i = 0; i + 1 < stages_.size(); i++) {
    const stage &s = inOrder(i), &next = inOrder(i + 1);
    count /= 2;
    s.kernel(s.input, count, next.even(), next.odd());
    finish(s, count, turning, turnHistory);
  }
  count /= 2;
  if (turning)
    kernels_->stage39Rotated(stages_[0].input, count, turn, out);
  else
    kernels_->stage39(stages_[0].input, count, out);
  finish(stages_[0], count, turning, turnHistory);
}

// As many samples of each parity as there were outputs become history. Up to 3 more are taken along, where new ones will go.
void halfbandDecimator::finish(const stage& s, std::size_t outputs, bool turning, rotation turnHistory) {
  double *even = s.even() - 2 * s.kept, *odd = s.odd() - 2 * s.kept;
  if (turning) return kernels_->keepRotated(even, odd, roundedUp(s.kept), outputs, turnHistory);
  std::memmove(even, even + 2 * outputs, s.kept * sizeof(std::complex<double>));
  std::memmove(odd, odd + 2 * outputs, s.kept * sizeof(std::complex<double>));
}

void halfbandDecimator::turnHistories(rotation factor) {
  for (const stage& s : stages_) {
    kernels_->rotate(s.even() - 2 * s.kept, roundedUp(s.kept), factor);
    kernels_->rotate(s.odd() - 2 * s.kept, roundedUp(s.kept), factor);
  }
}

} // namespace larch
