#include "modes/speechChain.h"
#include "dsp/vectorOps.h"

namespace larch {

speechChain::speechChain(const cbuff& microphoneTaps, const cbuff& clipTaps)
    : microphoneFilter_(microphoneTaps), clipFilter_(clipTaps), limiter_(fftConvolver::block) {}

void speechChain::process(const cbuff& input, double compression, double factor, const cbuff& output) {
  input.copy(microphoneFilter_.input);
  microphoneFilter_.process();
  scale(microphoneFilter_.output, 2 * compression, microphoneFilter_.output);
  limitUnit(microphoneFilter_.output, clipFilter_.input);
  clipFilter_.process();
  limiter_.process(clipFilter_.output, factor, output);
}

} // namespace larch
