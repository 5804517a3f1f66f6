// A point of a curve: the reading and what it stands for.
#pragma once
#include "runtime/property.h"

namespace larch {

class calibLine : public asyncObject {
 public:
  using asyncObject::asyncObject;

  property<double> inp;  // detector reading, or hertz in an equaliser
  property<double> outp; // watts, or a linear gain
};

} // namespace larch
