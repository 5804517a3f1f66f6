// Scheduling class of the calling thread: the highest for audio work, or the ordinary one.
#pragma once
#include <cstdint>

namespace larch {

constexpr int workerPriority = 10;   // workers, receive threads
constexpr int callbackPriority = 20; // sound-card callbacks outrank workers

// Raises the calling thread to SCHED_RR | SCHED_RESET_ON_FORK. Returns 0, or errno when the system refuses.
int raiseThread(int priority);
// Back to the ordinary class. Returns 0 or errno.
int lowerThread();
// The calling thread's system id.
uint32_t threadId(); // rt: cached per thread

// The calling thread runs at the ordinary class for the life of this object, and then as it did before:
// for long work (opening a sound device) on a real-time worker.
class ordinaryScheduling {
 public:
  ordinaryScheduling();
  ~ordinaryScheduling();
  ordinaryScheduling(const ordinaryScheduling&) = delete;
  ordinaryScheduling& operator=(const ordinaryScheduling&) = delete;

 private:
  int policy_ = 0, priority_ = 0;
  bool changed_ = false;
};

// A raised worker that hasn't slept for 100 ms would starve the machine: it steps down between two turns and up again after
// its next sleep. Used by one thread; a refusal to raise is final and reported once.
class workerScheduling {
 public:
  int raise();  // at thread start: 0 or errno
  void slept(); // after a wait that really waited
  void betweenTurns();
  bool steppedDown() const { return allowed_ && !raised_; }

 private:
  static constexpr int64_t longestRun_ns = 100'000'000;
  bool allowed_ = false, raised_ = false;
  int64_t lastSleep_ns_ = 0;
};

} // namespace larch
