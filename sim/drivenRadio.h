// What drives a simulated radio: its owner by hand, or a thread of its own.
#pragma once
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <thread>

namespace larch::sim {

// By hand: poll() takes what came, and the radio's own calls send; nothing else happens, all of it on the caller's thread.
// By itself: run() starts a thread that does both at the pace of the real time, until stop().
// Thread-safe; one guard covers everything. A radio stops before it goes: the thread works on its members.
template <typename snapshot> class drivenRadio {
 public:
  virtual ~drivenRadio() = default;

  size_t poll(); // by hand; returns how many datagrams it took
  void run();
  void stop();
  // Waits until the condition holds for the report; by hand it polls meanwhile. False: it didn't within the time.
  bool waitUntil(const std::function<bool(const snapshot&)>& condition,
                 std::chrono::milliseconds timeout = std::chrono::seconds(10));
  snapshot report() const;

 protected:
  // Any thread may ask, the radio's own from its first moment on.
  bool byItself() const { return runs; }

  // The radio's. Under the guard:
  virtual size_t take() = 0; // all that came; returns the count
  virtual snapshot reportGuarded() const = 0;
  virtual void ended() {} // the thread is over
  // Without it:
  virtual void loop() = 0;                                // the thread, until `stopping`; each turn ends with `changed`
  virtual void wait(std::chrono::milliseconds limit) = 0; // until something came, or wake()
  virtual void wake() = 0;

  mutable std::mutex guard;
  std::condition_variable changed;
  bool stopping = false; // under the guard

 private:
  std::atomic<bool> runs = false; // from run() to the end of stop(); `worker` itself is being written while its thread begins
  std::thread worker;
};

template <typename snapshot> size_t drivenRadio<snapshot>::poll() {
  if (runs) return 0; // the thread does it
  const std::lock_guard lock(guard);
  return take();
}

template <typename snapshot> void drivenRadio<snapshot>::run() {
  if (worker.joinable()) return;
  stopping = false;
  runs = true;
  worker = std::thread([this] { loop(); });
}

template <typename snapshot> void drivenRadio<snapshot>::stop() {
  if (!worker.joinable()) return;
  {
    const std::lock_guard lock(guard);
    stopping = true;
  }
  wake();
  worker.join();
  runs = false;
  const std::lock_guard lock(guard);
  ended();
}

template <typename snapshot>
bool drivenRadio<snapshot>::waitUntil(const std::function<bool(const snapshot&)>& condition, std::chrono::milliseconds timeout) {
  const auto end = std::chrono::steady_clock::now() + timeout;
  if (runs) {
    std::unique_lock lock(guard);
    return changed.wait_until(lock, end, [&] { return condition(reportGuarded()); });
  }
  constexpr std::chrono::milliseconds pause{10};
  for (;;) {
    poll();
    if (condition(report())) return true;
    if (std::chrono::steady_clock::now() >= end) return false;
    wait(pause);
  }
}

template <typename snapshot> snapshot drivenRadio<snapshot>::report() const {
  const std::lock_guard lock(guard);
  return reportGuarded();
}

} // namespace larch::sim
