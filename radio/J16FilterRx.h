// A row of a filter set's receive table, which is indexed by the mask of the bands that the receivers are in.
#pragma once
#include "runtime/property.h"

namespace larch {

class J16FilterRx : public asyncObject {
 public:
  using asyncObject::asyncObject;

  property<int32_t> bands{0}; // the mask that this row stands for, for the host's display: the look-up goes by the row's place
  property<int32_t> rx{0};    // output bits while receiving
};

} // namespace larch
