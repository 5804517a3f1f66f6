#include "modes/slotCapture.h"
#include <algorithm>
#include <cmath>
#include <numbers>

namespace larch {
namespace {

// 1500 Hz at 375 kept samples a second, that is four whole turns
constexpr double mixStep_rad = 25.132741228718345, turn_rad = 2 * std::numbers::pi;

} // namespace

void slotCapture::begin(int32_t samplesPerBlock, bool iq) {
  buffer_ = buff<float>(static_cast<uint64_t>(std::max(samplesPerBlock, 0)));
  if (!buffer_.data) buffer_ = {};
  running_ = true;
  iq_ = iq;
  count_ = 0;
  peak_ = 0;
}

bool slotCapture::add(const cbuff& chunk, const controls& with) {
  if (!running_ || with.decimation < 1) return false;
  const auto wanted = static_cast<uint64_t>(std::max(with.samplesPerBlock, 0));
  size_ = std::min(wanted, buffer_.count);
  const uint64_t room = size_ > count_ ? size_ - count_ : 0;
  if (iq_)
    keepBoth(chunk, static_cast<uint64_t>(with.decimation), room);
  else
    keepReal(chunk, static_cast<uint64_t>(with.decimation), room);
  if (count_ + static_cast<uint64_t>(std::max(with.endPadding, 0)) < size_) return false;
  if (with.endPadding > 0) slice(buffer_, count_, wanted - count_); // required: tells of a bad bound
  running_ = false;
  return true;
}

void slotCapture::keepReal(const cbuff& chunk, uint64_t step, uint64_t room) {
  const uint64_t n = std::min(chunk.count / step, room);
  float* out = buffer_.data + count_;
  for (uint64_t i = 0; i < n; i++) {
    const double re = chunk.data[i * step].real();
    peak_ = std::max(peak_, std::abs(re));
    out[i] = static_cast<float>(re);
  }
  count_ += n;
}

// Of the last sample there may be room for I alone.
void slotCapture::keepBoth(const cbuff& chunk, uint64_t step, uint64_t room) {
  const uint64_t n = std::min(chunk.count / step, room / 2 + room % 2);
  for (uint64_t i = 0; i < n; i++) {
    const double re = chunk.data[i * step].real(), im = chunk.data[i * step].imag();
    mixPhase_ -= mixStep_rad;
    const double c = std::cos(mixPhase_), s = std::sin(mixPhase_);
    peak_ = std::max(peak_, std::abs(re));
    buffer_.data[count_++] = static_cast<float>(re * c - im * s);
    if (count_ < size_) buffer_.data[count_++] = static_cast<float>(re * s + im * c);
  }
  mixPhase_ -= turn_rad * std::floor(mixPhase_ / turn_rad);
}

slotSamples slotCapture::take() {
  slotSamples gathered{slice(buffer_, 0, size_), std::min(count_, size_), peak_, iq_};
  buffer_ = {};
  return gathered;
}

} // namespace larch
