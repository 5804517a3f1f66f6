#include "modes/PskDetector.h"

namespace larch {

void PskDetector::configure(const pskMode& mode, int32_t frequency) {
  mode_ = mode.value;
  Mode.write(mode.name);
  freq.write(frequency);
}

void PskDetector::restart() {
  lifeCount_ = claimedBlocks;
  if (const hostInt32 function = loadWord(reset)) queueUpdate([function] { function(1); });
}

} // namespace larch
