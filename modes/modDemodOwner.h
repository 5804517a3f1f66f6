// What a mode may see of the transceiver that holds it.
#pragma once
#include "runtime/property.h"
#include <memory>

namespace larch {

class audioOutputStream;

// A view: the pointers are members of `object`, those of the radio's lines members of `radio`, and hold as long as it is locked.
// All is touched on the transceiver's group; a scalar may be read elsewhere by get().
struct modDemodOwner {
  std::weak_ptr<asyncObject> object{}; // the transceiver; empty while the mode serves none
  property<bool>* ptt = nullptr;
  property<int32_t>* vfo = nullptr;           // Hz
  audioOutputStream* audioOut = nullptr;      // sidetone key, pitch and level
  const bool* radioPttUp = nullptr;           // the radio has been told to transmit for this transceiver
  std::weak_ptr<asyncObject> radio{};         // empty without a radio
  const property<bool>* RadioPtt = nullptr;   // the radio's own PTT input; by get() only
  const property<bool>* cwInternal = nullptr; // the radio shapes the key's edges itself; by get() only
};

} // namespace larch
