// The library's microphone equaliser, set to a person's points.
#pragma once
#include "host/optionValues.h"
#include "runtime/larchlib.h"
#include <array>

namespace larchhost {

// Lives as long as the equaliser is to act: the speech modes take the curve when their transmit filter is set. One a process,
// after all lists of devices have been read. The constructor polls until the library has the points.
class micEqualiser {
 public:
  explicit micEqualiser(const equaliserPoints& points); // nine of them
  ~micEqualiser();
  micEqualiser(const micEqualiser&) = delete;
  micEqualiser& operator=(const micEqualiser&) = delete;

 private:
  Wireless* wireless_;
};

} // namespace larchhost
