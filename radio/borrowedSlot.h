// A received slot goes back to the receive thread at the end of its task, also when that ends by an exception.
#pragma once
#include <cstdint>

namespace larch {

template <class Ring> class borrowedSlot {
 public:
  borrowedSlot(Ring& home, int32_t slot) : home_(home), slot_(slot) {}
  ~borrowedSlot() { home_.emplace(slot_); } // required: a full ring loses it for good, in silence
  borrowedSlot(const borrowedSlot&) = delete;
  borrowedSlot& operator=(const borrowedSlot&) = delete;

 private:
  Ring& home_;
  const int32_t slot_;
};

} // namespace larch
