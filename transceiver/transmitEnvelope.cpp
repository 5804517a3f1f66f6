#include "transceiver/transmitEnvelope.h"
#include "transceiver/chainConstants.h"
#include <cmath>

namespace larch {
namespace {

// 1 at position 0, 0 at position `length`.
double raisedCosine(double position, double length) { return 0.5 * std::cos(chainPi * position / length) + 0.5; }

} // namespace

void transmitEnvelope::rise(bool withSilence) {
  up_ = true;
  down_ = false;
  upCount_ = withSilence ? riseLength + leadingSilence : riseLength;
}

// required: a rise that is cut off falls from full scale, not from the gain that it had reached
void transmitEnvelope::fall(int32_t tailSamples) {
  down_ = true;
  up_ = false;
  downCount_ = tailSamples;
}

void transmitEnvelope::apply(const cbuff& block) {
  if (up_)
    applyRise(block);
  else if (down_)
    applyFall(block);
}

void transmitEnvelope::applyRise(const cbuff& block) {
  for (uint64_t i = 0; i < block.count; i++, upCount_--) {
    if (upCount_ < 0) {
      up_ = false;
      return;
    }
    if (upCount_ > riseLength)
      block.data[i] = 0;
    else
      block.data[i] *= raisedCosine(upCount_, riseLength);
  }
}

void transmitEnvelope::applyFall(const cbuff& block) {
  for (uint64_t i = 0; i < block.count; i++, downCount_--) {
    if (downCount_ < 1)
      block.data[i] = 0;
    else if (downCount_ <= fallLength)
      block.data[i] *= raisedCosine(static_cast<double>(fallLength - downCount_), fallLength);
  }
}

} // namespace larch
