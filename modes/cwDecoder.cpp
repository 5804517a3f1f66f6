#include "modes/cwDecoder.h"
#include "modes/morseTable.h"
#include <cmath>

namespace larch {
namespace {

constexpr int64_t shortestTracked = 22; // looks, 15 ms: a faster sender doesn't move the dot length

// A dot and a space of a dash's length, or the reverse.
bool spansFourDots(double ratio) { return (ratio > 0.15 && ratio < 0.45) || (ratio >= 2.0 && ratio < 4.0); }

} // namespace

void cwDecoder::process(const cbuff& block, const listener& decoded) {
  for (uint64_t i = 0; i < block.count; i += lookSpacing) {
    const double magnitude = std::hypot(block.data[i].real(), block.data[i].imag());
    // what is no number would spoil the levels for good: it counts as a key that is up
    const bool key = std::isfinite(magnitude) && isKeyed(magnitude);
    trackSpeed(key);
    debounce(key, decoded);
  }
}

bool cwDecoder::isKeyed(double magnitude) {
  floor_ *= 1.001;
  peak_ *= 0.999;
  if (magnitude > peak_) peak_ += 0.2 * (magnitude - peak_);
  if (floor_ > magnitude) floor_ = magnitude;
  const double span = peak_ - floor_;
  return magnitude > peak_ - (rawState_ ? span * 0.5 : span / 3.0);
}

void cwDecoder::trackSpeed(bool key) {
  if (key == rawState_) {
    rawRun_++;
    return;
  }
  if (!key && rawRun_ > shortestTracked && previousRawRun_ > shortestTracked) {
    const double ratio = static_cast<double>(rawRun_) / static_cast<double>(previousRawRun_);
    const int64_t measuredDot = (rawRun_ + previousRawRun_) / 4;
    if (spansFourDots(ratio)) dotLength_ = dotLength_ * 0.95 + static_cast<double>(measuredDot) * 0.05;
  }
  rawState_ = key;
  previousRawRun_ = rawRun_;
  rawRun_ = 0;
}

void cwDecoder::debounce(bool key, const listener& decoded) {
  const bool changed = key != debounced_ && debouncedRun_ > dot() / 2;
  const bool longSilence = !key && debouncedRun_ > 5 * dot(); // ends itself, without waiting for the next mark
  if (!changed && !longSilence) {
    debouncedRun_++;
    return;
  }
  endRun(decoded);
  debouncedRun_ = 0;
  debounced_ = key;
}

void cwDecoder::endRun(const listener& decoded) {
  if (!debounced_) {
    if (debouncedRun_ >= 2 * dot()) endCharacter(decoded);
    return;
  }
  if (debouncedRun_ < dot() / 2) return;
  code_ *= 2;
  elementCount_++;
  if (debouncedRun_ >= 2 * dot()) code_ |= 1;
}

void cwDecoder::endCharacter(const listener& decoded) {
  const char c = morseCharacter(code_ | elementCount_ << 5);
  code_ = 0;
  elementCount_ = 0;
  if (c == ' ') return;
  decoded(c);
  if (debouncedRun_ > 5 * dot()) decoded(' ');
}

int32_t cwDecoder::speed() const { return static_cast<int32_t>(57600 / dot() / static_cast<int64_t>(lookSpacing)); }

} // namespace larch
