#include "transceiver/adcJoiner.h"
#include "dsp/vectorOps.h"
#include "transceiver/chainConstants.h"
#include <algorithm>
#include <cmath>

namespace larch {
namespace {

bool isSingle(int32_t mask) { return mask == 0 || mask == 1 || mask == 2 || mask == 4 || mask == 8; }

} // namespace

std::optional<cbuff> adcJoiner::gather(const cbuff& chunk, int32_t adc, int32_t mask, weight second) {
  if (adc < 0 || adc >= slots) return std::nullopt;
  arrived_ |= 1 << adc;
  if ((arrived_ & mask) != mask) {
    chunks_[static_cast<size_t>(adc)] = chunk;
    return std::nullopt;
  }
  cbuff result = chunk;
  if (!isSingle(mask)) {
    chunks_[static_cast<size_t>(adc)] = chunk;
    // required: slots 0 and 1 whatever the mask names; only masks up to 3 have a defined meaning
    result = join(chunks_[0], chunks_[1], second);
  }
  arrived_ = 0;
  for (cbuff& kept : chunks_) kept = {};
  return result;
}

// Over the first's length; samples that the second lacks count as 0.
cbuff adcJoiner::join(const cbuff& first, const cbuff& second, weight w) {
  const double phase = w.phase_deg * chainPi / 180;
  const std::complex<double> factor{w.gain * std::cos(phase), w.gain * std::sin(phase)};
  if (second.count >= first.count) return addScaled(first, second, factor);
  cbuff result(first.count);
  addScaled(slice(first, 0, second.count), second, factor).copy(result);
  first.copyTo(second.count, first.count - second.count, result, second.count);
  return result;
}

} // namespace larch
