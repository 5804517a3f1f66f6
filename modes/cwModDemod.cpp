#include "modes/cwModDemod.h"

namespace larch {

cwModDemod::cwModDemod(std::shared_ptr<syncTask> group) : modDemod(std::move(group)) {
  // keying must reach the output without the block delay of the voice path
  useTxFilter = false;
  blockedTx = false;
  minimumPhaseRx = true;
}

void cwModDemod::key(bool down) { keyDown_.store(down, std::memory_order_relaxed); }

void cwModDemod::keyDown() {
  const modDemodOwner held = owner.load();
  if (const auto transceiver = held.object.lock()) {
    transceiver->queueSeqProcess(seqTask([transceiver, ptt = held.ptt] { ptt->write(true); }, "cwModDemod.ptt"));
  }
  key(true);
}

void cwModDemod::keyUp() { key(false); }

} // namespace larch
