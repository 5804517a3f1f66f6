// What speech goes through before it modulates: microphone filter, drive, clip, the clip's filter, limiter.
#pragma once
#include "dsp/fftConvolver.h"
#include "dsp/peakLimiter.h"

namespace larch {

// Complex samples at 48000 Hz in blocks of 512: the clip and the limiter work on the magnitude, so that the phase of a one-sided
// signal stays. Used on the transceiver's group.
class speechChain {
 public:
  // Usually 2048 and 1536 taps; each filter keeps its number of partitions. Not rt.
  speechChain(const cbuff& microphoneTaps, const cbuff& clipTaps);

  void setMicrophoneTaps(const cbuff& taps) { microphoneFilter_.setTaps(taps); } // from the next block on
  void setClipTaps(const cbuff& taps) { clipFilter_.setTaps(taps); }

  // Drives the clipper with twice `compression`; the output is at most `factor` in magnitude. Returns the largest sample power
  // behind the clipper. rt
  double process(const cbuff& input, double compression, double factor, const cbuff& output);

 private:
  fftConvolver microphoneFilter_;
  fftConvolver clipFilter_; // removes the products of clipping
  peakLimiter limiter_;
};

} // namespace larch
