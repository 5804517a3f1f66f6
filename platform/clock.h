// The two clocks of the library: one monotonic, one UTC. Nothing else reads time.
#pragma once
#include <cstdint>

namespace larch {

// A test replaces both by its own; functions may be called from any thread and must not block.
struct clockSource {
  int64_t (*monotonic_ns)(); // never steps
  int64_t (*utc_ns)();       // since 1970, as the system's clock has it
  void (*sleep_ns)(int64_t); // returns when that much of monotonic time has passed
};

int64_t monotonicNow_ns();          // rt: one clock read, no lock
int64_t utcNow_ns();                // rt
void sleepFor_ns(int64_t duration); // not rt

// Replaces the clocks (nullptr: the system's again). The source must outlive its use. Tests only.
void setClockSource(const clockSource* source);

} // namespace larch
