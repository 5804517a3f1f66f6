// The host's own object: nothing but an asyncObject.
#pragma once
#include "runtime/asyncObject.h"

namespace larch {

class Controller : public asyncObject {
 public:
  using asyncObject::asyncObject;
};

} // namespace larch
