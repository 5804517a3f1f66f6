#include "platform/clock.h"
#include "platform/threadClass.h"
#include <cerrno>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

using namespace larch;

namespace {

struct schedulingClass {
  int policy, priority;
  bool operator==(const schedulingClass&) const = default;
};
// As the kernel has it: the C library's own record follows the thread's maker.
schedulingClass ofThisThread() {
  sched_param p{};
  EXPECT_EQ(sched_getparam(0, &p), 0);
  return {sched_getscheduler(0) & ~SCHED_RESET_ON_FORK, p.sched_priority};
}
constexpr schedulingClass ordinary{SCHED_OTHER, 0}, realTime{SCHED_RR, workerPriority};

// In a thread of its own, whose class is nobody else's.
template <class Body> void inItsOwnThread(Body&& body) { std::thread(body).join(); }

// Until the 100 ms without a sleep are over, however long they take here.
bool runsUntilSteppedDown(workerScheduling& scheduling) {
  constexpr int64_t patience_ns = 20'000'000'000;
  for (const int64_t end = monotonicNow_ns() + patience_ns; !scheduling.steppedDown() && monotonicNow_ns() < end;)
    scheduling.betweenTurns();
  return scheduling.steppedDown();
}

// The calling thread loses the capability to raise itself, for good, and the process the limit that allows it without.
class noRealTime {
 public:
  noRealTime() {
    getrlimit(RLIMIT_RTPRIO, &before_);
    const rlimit none{0, before_.rlim_max};
    EXPECT_EQ(setrlimit(RLIMIT_RTPRIO, &none), 0);
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[2] = {};
    EXPECT_EQ(syscall(SYS_capget, &header, data), 0);
    data[0].effective &= ~(1u << CAP_SYS_NICE);
    dropped = syscall(SYS_capset, &header, data) == 0;
  }
  ~noRealTime() { EXPECT_EQ(setrlimit(RLIMIT_RTPRIO, &before_), 0); }
  noRealTime(const noRealTime&) = delete;
  noRealTime& operator=(const noRealTime&) = delete;

  bool dropped = false;

 private:
  rlimit before_{};
};

} // namespace

TEST(workerSchedulingTest, aRefusalIsToldOnceAndFinal) {
  bool dropped = false;
  inItsOwnThread([&dropped] {
    const noRealTime refused;
    dropped = refused.dropped;
    if (!dropped) return;
    workerScheduling scheduling;
    EXPECT_EQ(scheduling.raise(), EPERM);
    EXPECT_FALSE(scheduling.steppedDown());
    const int64_t begin = monotonicNow_ns();
    while (monotonicNow_ns() - begin < 120'000'000) scheduling.betweenTurns();
    EXPECT_FALSE(scheduling.steppedDown()) << "there is nothing to step down from";
    scheduling.slept();
    EXPECT_EQ(ofThisThread(), ordinary);
  });
  if (!dropped) GTEST_SKIP() << "a capability can't be dropped here";
}

TEST(workerSchedulingTest, theAnswerIsWhatTheSystemHasDone) {
  inItsOwnThread([] {
    workerScheduling scheduling;
    const int answer = scheduling.raise();
    EXPECT_EQ(ofThisThread(), answer == 0 ? realTime : ordinary) << answer;
    EXPECT_FALSE(scheduling.steppedDown());
  });
}

TEST(workerSchedulingTest, withoutARaiseNothingChanges) {
  inItsOwnThread([] {
    workerScheduling scheduling;
    scheduling.betweenTurns();
    scheduling.slept();
    EXPECT_FALSE(scheduling.steppedDown());
    EXPECT_EQ(ofThisThread(), ordinary);
  });
}

TEST(workerSchedulingTest, aThreadThatNeverSleepsStepsDownAndIsRaisedByItsNextSleep) {
  int answer = 0;
  inItsOwnThread([&answer] {
    workerScheduling scheduling;
    answer = scheduling.raise();
    if (answer) return;
    for (int round = 0; round < 2; round++) {
      EXPECT_TRUE(runsUntilSteppedDown(scheduling));
      EXPECT_EQ(ofThisThread(), ordinary);
      scheduling.betweenTurns();
      EXPECT_TRUE(scheduling.steppedDown()) << "a turn is no sleep";
      scheduling.slept();
      EXPECT_FALSE(scheduling.steppedDown());
      EXPECT_EQ(ofThisThread(), realTime);
    }
  });
  if (answer) GTEST_SKIP() << "real-time scheduling is refused here: errno " << answer;
}

// What a thread starts is ordinary: a child that ran away at the worker's class would stop the machine.
TEST(workerSchedulingTest, threadsOfARaisedOneAreOrdinary) {
  inItsOwnThread([] {
    workerScheduling scheduling;
    scheduling.raise();
    inItsOwnThread([] { EXPECT_EQ(ofThisThread(), ordinary); });
  });
}
