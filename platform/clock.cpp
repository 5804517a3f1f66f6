#include "platform/clock.h"
#include <atomic>
#include <time.h>

namespace larch {
namespace {

int64_t read(clockid_t id) {
  timespec t;
  clock_gettime(id, &t);
  return t.tv_sec * 1000000000LL + t.tv_nsec;
}
void systemSleep(int64_t duration) {
  if (duration <= 0) return;
  timespec t{duration / 1000000000LL, duration % 1000000000LL};
  while (clock_nanosleep(CLOCK_MONOTONIC, 0, &t, &t) != 0) {
  }
}
const clockSource systemClocks{[] { return read(CLOCK_MONOTONIC); }, [] { return read(CLOCK_REALTIME); }, systemSleep};
std::atomic<const clockSource*> current{&systemClocks}; // acquire/release: a test's source is complete when it is seen

const clockSource& clocks() { return *current.load(std::memory_order_acquire); }

} // namespace

int64_t monotonicNow_ns() { return clocks().monotonic_ns(); }
int64_t utcNow_ns() { return clocks().utc_ns(); }
void sleepFor_ns(int64_t duration) { clocks().sleep_ns(duration); }
void setClockSource(const clockSource* source) { current.store(source ? source : &systemClocks, std::memory_order_release); }

} // namespace larch
