#include "link/portNumbers.h"
#include <limits>

namespace larch {

portNumbers& portNumbers::shared() {
  static auto* numbers = new portNumbers;
  return *numbers;
}

int32_t portNumbers::claim(int32_t from) {
  const std::lock_guard lock(guard_);
  while (taken_.contains(from) && from < std::numeric_limits<int32_t>::max()) from++;
  taken_.insert(from);
  return from;
}

void portNumbers::share(int32_t number) {
  const std::lock_guard lock(guard_);
  taken_.insert(number);
}

void portNumbers::giveBack(int32_t number) {
  const std::lock_guard lock(guard_);
  if (const auto at = taken_.find(number); at != taken_.end()) taken_.erase(at);
}

} // namespace larch
