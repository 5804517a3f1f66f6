// A filter set: receive bits by the combination of bands that all receivers are in, transmit bits by band.
#pragma once
#include "radio/J16FilterBands.h"
#include "radio/J16FilterRx.h"
#include "runtime/asyncCollection.h"

namespace larch {

// The lists belong to this object's group; a radio reads them by rows().
class J16Filter : public asyncObject {
 public:
  using asyncObject::asyncObject;

  asyncPersistantCollection<J16FilterBands> FilterBands; // in rising frequency
  asyncPersistantCollection<J16FilterRx> FilterRx;       // row 0: no band at all
};

} // namespace larch
