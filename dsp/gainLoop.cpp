#include "dsp/gainLoop.h"
#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace larch {
namespace {

constexpr float samplesPerSecond = 48000.0f; // required: whatever the block's rate
constexpr float noSquelch = -180.0f;
constexpr float decibelsPerDecade = 20.0f;
constexpr double targetOfSilence = 200.0;
constexpr float headroom = 1.2f; // a block's peak is brought to 1 / 1.2 of full scale
constexpr uint64_t lanes = 16;   // a count that the compiler knows, so that it makes vectors

// NaN stays. 1.0 < x ? 1.0 : x and its mirror are one machine instruction each in this order.
inline float clamped(float x) {
  x = 1.0f < x ? 1.0f : x;
  return -1.0f > x ? -1.0f : x;
}

void multiply(float* x, uint64_t n, float factor) {
  for (; n >= lanes; n -= lanes, x += lanes)
    for (uint64_t k = 0; k < lanes; k++) x[k] *= factor;
  for (uint64_t k = 0; k < n; k++) x[k] *= factor;
}

void multiplyClamped(float* x, uint64_t n, float factor) {
  for (; n >= lanes; n -= lanes, x += lanes)
    for (uint64_t k = 0; k < lanes; k++) x[k] = clamped(x[k] * factor);
  for (uint64_t k = 0; k < n; k++) x[k] = clamped(x[k] * factor);
}

float peakOf(const float* x, uint64_t n) { // NaN samples don't count
  std::array<float, lanes> peaks{};
  for (; n >= lanes; n -= lanes, x += lanes)
    for (uint64_t k = 0; k < lanes; k++) peaks[k] = std::fabs(x[k]) > peaks[k] ? std::fabs(x[k]) : peaks[k];
  for (uint64_t k = 0; k < n; k++) peaks[k] = std::fabs(x[k]) > peaks[k] ? std::fabs(x[k]) : peaks[k];
  return *std::max_element(peaks.begin(), peaks.end());
}

int64_t truncatedSamples(float seconds) {
  const float samples = seconds * samplesPerSecond;
  constexpr float beyond = 9223372036854775808.0f; // 2^63
  if (!(samples > -beyond)) return std::isnan(samples) ? 0 : std::numeric_limits<int64_t>::min();
  return samples < beyond ? static_cast<int64_t>(samples) : std::numeric_limits<int64_t>::max();
}

// The way of the gain towards the block's target at one of its two speeds.
struct approach {
  double keep; // factor of the gain
  double pull; // what the target adds; formed in single precision

  approach(float factor, float target) : keep(factor), pull((1 - factor) * target) {}
};

// One block's gain law. Falling, holding and rising last for many samples each, so that each is a loop of its own: holding is a
// constant factor, and in the two others the only chain from sample to sample is a product and a sum; limit, direction and
// NaN are branches that are seldom taken. The results are those of one loop with all decisions at each sample, to the bit.
class gainFollower {
 public:
  gainFollower(const gainParameters& p, gainState& state, float peak, double volume, double maxLinear)
      : target_(peak == 0 ? targetOfSilence : 1 / (peak * headroom)),
        fall_(std::exp(-1 / (p.attack_s * samplesPerSecond)), static_cast<float>(target_)),
        rise_(std::exp(-1 / (p.decay_s * samplesPerSecond)), static_cast<float>(target_)), maxLinear_(maxLinear), volume_(volume),
        hangSamples_(truncatedSamples(p.hang_s)), state_(state) {}

  void run(float* x, uint64_t n) {
    while (n > 0) {
      const uint64_t done = state_.gain > target_ ? fall(x, n) : state_.hangCount >= 1 ? hold(x, n) : rise(x, n);
      x += done;
      n -= done;
    }
  }

 private:
  uint64_t fall(float* x, uint64_t n) {
    state_.hangCount = hangSamples_; // renewed by each falling sample
    return follow(x, n, fall_, [this](double gain) { return gain > target_; });
  }

  uint64_t rise(float* x, uint64_t n) {
    return follow(x, n, rise_, [this](double gain) { return !(gain > target_); });
  }

  uint64_t hold(float* x, uint64_t n) {
    const uint64_t held = std::min(n, static_cast<uint64_t>(state_.hangCount));
    state_.gain = limited(state_.gain);
    multiplyClamped(x, held, static_cast<float>(volume_ * state_.gain));
    state_.hangCount -= static_cast<int64_t>(held);
    return held;
  }

  // At least one sample; ends where the direction does.
  template <class Direction> uint64_t follow(float* x, uint64_t n, approach a, Direction same) {
    double gain = state_.gain;
    uint64_t i = 0;
    do {
      double next = a.pull + a.keep * gain;
      if (!(next <= maxLinear_)) next = limited(std::isnan(next) ? gain : next);
      const bool steady = next == gain; // then every further sample gets the same
      gain = next;
      if (steady) {
        multiplyClamped(x + i, n - i, static_cast<float>(volume_ * gain));
        i = n;
        break;
      }
      x[i] = clamped(x[i] * static_cast<float>(volume_ * gain));
      i++;
    } while (i < n && same(gain));
    state_.gain = gain;
    return i;
  }

  // The lesser of limit and gain. A limit that is NaN would make the gain NaN for good: none then.
  double limited(double gain) const { return maxLinear_ < gain ? maxLinear_ : gain; }

  double target_;
  approach fall_, rise_;
  double maxLinear_, volume_;
  int64_t hangSamples_;
  gainState& state_;
};

void follow(const gainParameters& p, gainState& state, const buff<float>& audio, double volume) {
  const double maxLinear = std::pow(10.0, p.maxGain_dB / decibelsPerDecade);
  if (state.fixedAtMax) {
    multiplyClamped(audio.data, audio.count, static_cast<float>(volume * maxLinear));
    return;
  }
  gainFollower(p, state, peakOf(audio.data, audio.count), volume, maxLinear).run(audio.data, audio.count);
}

} // namespace

buff<float> processGain(const gainParameters& parameters, gainState& state, const buff<float>& audio, bool holdover,
                        bool applyVolume, float signalStrength) {
  const float volume = applyVolume ? parameters.volume : 1.0f;
  if (!parameters.enabled) {
    multiplyClamped(audio.data, audio.count, static_cast<float>(std::pow(10.0, parameters.manualGain) * volume));
  } else if (parameters.squelch > noSquelch) {
    // required: with a squelch set no automatic gain acts, and the open gate doesn't clamp
    if (parameters.squelch > signalStrength)
      std::fill_n(audio.data, audio.count, 0.0f);
    else
      multiply(audio.data, audio.count, volume);
  } else if (holdover) {
    multiplyClamped(audio.data, audio.count, static_cast<float>(volume * state.gain));
  } else {
    follow(parameters, state, audio, volume);
  }
  return audio;
}

} // namespace larch
