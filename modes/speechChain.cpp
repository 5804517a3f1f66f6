#include "modes/speechChain.h"
#include "dsp/vectorOps.h"

namespace larch {

speechChain::speechChain(const cbuff& microphoneTaps, const cbuff& clipTaps)
    : microphoneFilter_(microphoneTaps), clipFilter_(clipTaps), limiter_(fftConvolver::block) {}

double speechChain::process(const cbuff& input, double compression, double factor, const cbuff& output) {
  input.copy(microphoneFilter_.input);
  microphoneFilter_.process();
  scale(microphoneFilter_.output, 2 * compression, microphoneFilter_.output);
  double peak = 0;
  limitUnitPeak(microphoneFilter_.output, clipFilter_.input, peak);
  clipFilter_.process();
  limiter_.process(clipFilter_.output, factor, output);
  return peak;
}

} // namespace larch
