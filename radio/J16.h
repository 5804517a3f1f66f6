// A row of a radio's filter table: a band and the output bits that go with it.
#pragma once
#include "runtime/property.h"

namespace larch {

class J16 : public asyncObject {
 public:
  using asyncObject::asyncObject;

  property<int32_t> maxfrequency{0}; // upper frequency of the band, Hz; belongs to it
  property<int32_t> rx{0};           // output bits while receiving
  property<int32_t> tx{0};           // output bits while transmitting
};

} // namespace larch
