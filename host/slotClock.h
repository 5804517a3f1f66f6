// Where the UTC clock stands in its slots.
#pragma once
#include <chrono>
#include <cstdint>

namespace larchhost::slotClock {

using time = std::chrono::time_point<std::chrono::system_clock, std::chrono::milliseconds>;

inline time now() { return std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now()); }

// Milliseconds since the slot began; slots are counted from the top of the hour.
constexpr int64_t position_ms(time at, int32_t period_ms) {
  const auto ofHour = (at - std::chrono::floor<std::chrono::hours>(at)).count();
  return ofHour % period_ms;
}

// Whether the library takes a message that is queued now for the next slot: in slots under a minute it sends one in the first
// three seconds of a slot at once, without what is over.
constexpr bool isForNext(time at, int32_t period_ms) {
  constexpr int32_t noLateStart_ms = 60000, lateStart_ms = 3500; // half a second more than that, for the way of the samples
  return period_ms >= noLateStart_ms || position_ms(at, period_ms) >= lateStart_ms;
}

} // namespace larchhost::slotClock
