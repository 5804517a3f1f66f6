#include "platform/threadClass.h"
#include "platform/clock.h"
#include <pthread.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace larch {

int raiseThread(int priority) {
  sched_param p{};
  p.sched_priority = priority;
  return pthread_setschedparam(pthread_self(), SCHED_RR | SCHED_RESET_ON_FORK, &p);
}

int lowerThread() {
  sched_param p{};
  return pthread_setschedparam(pthread_self(), SCHED_OTHER, &p);
}

uint32_t threadId() {
  static thread_local const uint32_t id = static_cast<uint32_t>(syscall(SYS_gettid));
  return id;
}

ordinaryScheduling::ordinaryScheduling() {
  sched_param p{};
  if (pthread_getschedparam(pthread_self(), &policy_, &p) != 0) return;
  priority_ = p.sched_priority;
  changed_ = (policy_ & ~SCHED_RESET_ON_FORK) != SCHED_OTHER && lowerThread() == 0;
}

ordinaryScheduling::~ordinaryScheduling() {
  if (changed_) raiseThread(priority_);
}

int workerScheduling::raise() {
  lastSleep_ns_ = monotonicNow_ns();
  const int refused = raiseThread(workerPriority);
  allowed_ = raised_ = refused == 0;
  return refused;
}

void workerScheduling::slept() {
  if (!allowed_) return;
  lastSleep_ns_ = monotonicNow_ns();
  if (!raised_) raised_ = raiseThread(workerPriority) == 0;
}

void workerScheduling::betweenTurns() {
  if (!raised_ || monotonicNow_ns() - lastSleep_ns_ < longestRun_ns) return;
  raised_ = lowerThread() != 0;
}

} // namespace larch
