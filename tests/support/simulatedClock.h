// Time that only moves when the test says so.
#pragma once
#include "platform/clock.h"
#include <atomic>
#include <chrono>
#include <thread>

namespace larch::test {

// While one lives the library's clocks read it; one at a time.
class simulatedClock {
 public:
  explicit simulatedClock(int64_t start_ns = 1'000'000'000) {
    now() = start_ns;
    static const clockSource source{[] { return now().load(); }, [] { return now().load(); }, sleep};
    owner() = std::this_thread::get_id();
    setClockSource(&source);
  }
  ~simulatedClock() { setClockSource(nullptr); }
  void setTo_ns(int64_t t) { now() = t; }
  void advance_ns(int64_t d) { now() += d; }

 private:
  // Receive threads of radios of earlier tests may still be about: they would spin, at real-time priority, and move the time.
  static void sleep(int64_t d) {
    if (std::this_thread::get_id() == owner())
      now() += d;
    else
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  static std::atomic<std::thread::id>& owner() {
    static std::atomic<std::thread::id> id;
    return id;
  }
  static std::atomic<int64_t>& now() {
    static std::atomic<int64_t> t{0};
    return t;
  }
};

} // namespace larch::test
