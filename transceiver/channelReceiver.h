// The tuned channel of a receive stream: mixer, decimator and channel filter.
#pragma once
#include "dsp/fftConvolver.h"
#include "dsp/halfbandDecimator.h"
#include <functional>

namespace larch {

// Used on the transceiver's group; rt but for a change of ratio, once pool and transforms are warm.
class channelReceiver {
 public:
  static constexpr int32_t filterTaps = 1536;

  channelReceiver();

  // Samples of a stream that is `ratio` times as fast as the channel, turned by -step radians a sample. Calls block(512 samples)
  // for each full block of the channel; the view holds during the call. What doesn't fill a block waits for the next call; a rest
  // shorter than the ratio is dropped. |step| of bandLimitStep or more gives silent blocks.
  void process(const cbuff& chunk, double step, int32_t ratio, const std::function<void(const cbuff&)>& block);

  // New taps without a gap in the stream.
  void setTaps(const cbuff& taps) { filter_.setTaps(taps); }

 private:
  halfbandDecimator decimator_;
  fftConvolver filter_;
  uint64_t filled_ = 0; // samples of the filter's input
};

} // namespace larch
