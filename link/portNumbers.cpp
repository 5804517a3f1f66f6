#include "link/portNumbers.h"
#include <limits>

namespace larch {

portNumbers& portNumbers::shared() {
  static auto* numbers = new portNumbers;
  return *numbers;
}

int32_t portNumbers::claim(int32_t from) {
  const std::lock_guard lock(guard_);
  while (!taken_.insert(from).second && from < std::numeric_limits<int32_t>::max()) from++;
  return from;
}

void portNumbers::giveBack(int32_t number) {
  const std::lock_guard lock(guard_);
  taken_.erase(number);
}

} // namespace larch
