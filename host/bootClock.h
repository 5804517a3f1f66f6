// Time that goes on while the machine is suspended, which std::chrono::steady_clock doesn't.
#pragma once
#include <chrono>
#include <ctime>

namespace larchhost {

struct bootClock {
  using duration = std::chrono::nanoseconds;
  using rep = duration::rep;
  using period = duration::period;
  using time_point = std::chrono::time_point<bootClock>;
  static constexpr bool is_steady = true;

  static time_point now() noexcept {
    timespec t{};
    clock_gettime(CLOCK_BOOTTIME, &t);
    return time_point(std::chrono::seconds{t.tv_sec} + std::chrono::nanoseconds{t.tv_nsec});
  }
};

} // namespace larchhost
