// Time that only moves when the test says so.
#pragma once
#include "platform/clock.h"
#include <atomic>

namespace larch::test {

// While one lives the library's clocks read it; one at a time.
class simulatedClock {
 public:
  explicit simulatedClock(int64_t start_ns = 1'000'000'000) {
    now() = start_ns;
    static const clockSource source{[] { return now().load(); }, [] { return now().load(); }, [](int64_t d) { now() += d; }};
    setClockSource(&source);
  }
  ~simulatedClock() { setClockSource(nullptr); }
  void setTo_ns(int64_t t) { now() = t; }
  void advance_ns(int64_t d) { now() += d; }

 private:
  static std::atomic<int64_t>& now() {
    static std::atomic<int64_t> t{0};
    return t;
  }
};

} // namespace larch::test
