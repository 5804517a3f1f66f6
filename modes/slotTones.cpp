#include "modes/slotTones.h"
#include <algorithm>

namespace larch {
namespace {

constexpr double shortPi = 3.1415927, rate = 48000.0; // as in the other digital modes

} // namespace

void slotTones::begin(buff<float> tones, int64_t first) {
  tones_ = std::move(tones);
  symbolIndex_ = first - 1;
  symbolRemaining_ = 0;
}

bool slotTones::produce(const cbuff& out, const controls& with) {
  tone_.normalise();
  for (uint64_t i = 0; i < out.count; i++) {
    if (symbolRemaining_ == 0 && !beginSymbol(with)) {
      std::fill_n(out.data + i, out.count - i, 0.0);
      const bool ended = tones_.count > 0;
      tones_ = {};
      return ended;
    }
    const std::complex<double> x = tone_.next();
    out.data[i] = {level * x.real(), level * x.imag()};
    symbolRemaining_--;
  }
  return false;
}

bool slotTones::beginSymbol(const controls& with) {
  if (++symbolIndex_ >= static_cast<int64_t>(tones_.count)) return false;
  symbolRemaining_ = std::max(with.samplesPerSymbol, 1);
  const double f = static_cast<double>(tones_.data[symbolIndex_]) * with.toneSpacing + with.txFreq;
  tone_.setAngle(2 * f * shortPi / rate);
  return true;
}

} // namespace larch
