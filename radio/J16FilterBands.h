// A row of a filter set's bands.
#pragma once
#include "runtime/property.h"

namespace larch {

class J16FilterBands : public asyncObject {
 public:
  using asyncObject::asyncObject;

  property<int32_t> maxfrequency{0}; // upper frequency of the band, Hz; belongs to it
  property<int32_t> tx{0};           // output bits while transmitting in this band
};

} // namespace larch
