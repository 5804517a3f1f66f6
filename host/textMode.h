// A mode that sends text out of the library's queue.
#pragma once
#include "host/stationMode.h"
#include <string>
#include <utility>

namespace larchhost {

class textMode : public stationMode {
 public:
  // The whole text and the count of sent characters at which it began: see larchlib.h. "~" ends the transmission.
  virtual void queue(const std::string& text, uint32_t base) = 0;
  std::string takeSent() { return std::exchange(sent_, {}); } // what has gone out since the last call

 protected:
  std::string sent_;
};

} // namespace larchhost
