// What a MultiPSK server tells its owner.
#pragma once
#include "dsp/buff.h"
#include <functional>
#include <memory>

namespace larch {

// The client's next word, or the next client, is waited for when the last copy has gone: one event at a time is on its way,
// however fast a client may be.
using multiPskTurn = std::shared_ptr<void>;

// As tasks of the owner's group, which hold the owner.
struct multiPskEvents {
  std::function<void(uint32_t client, bool here, const multiPskTurn&)> clientChanged;
  std::function<void(const buff<char>& message, const multiPskTurn&)> messageCame; // without its length word
};

} // namespace larch
