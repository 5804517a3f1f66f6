#include "modes/cwModDemod.h"
#include "audio/audioOutputStream.h"

namespace larch {

cwModDemod::cwModDemod(std::shared_ptr<syncTask> group) : modDemod(std::move(group)) {
  // keying must reach the output without the block delay of the voice path
  useTxFilter = false;
  blockedTx = false;
  minimumPhaseRx = true;
}

void cwModDemod::key(const modDemodOwner& held, bool down) {
  if (held.audioOut) held.audioOut->keyA.store(down, std::memory_order_relaxed); // the sidetone follows at once
  keyDown_.store(down, std::memory_order_relaxed);
}

void cwModDemod::keyDown() {
  const modDemodOwner held = owner.load();
  const auto transceiver = held.object.lock();
  if (transceiver) {
    transceiver->queueSeqProcess(seqTask([transceiver, ptt = held.ptt] { ptt->write(true); }, "cwModDemod.ptt"));
  }
  key(transceiver ? held : modDemodOwner(), true);
}

void cwModDemod::keyUp() {
  const modDemodOwner held = owner.load();
  const auto transceiver = held.object.lock();
  key(transceiver ? held : modDemodOwner(), false);
}

} // namespace larch
