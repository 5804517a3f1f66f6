// A task group: tasks of one group never run at the same time; any number of groups run side by side.
#pragma once
#include "runtime/mpscQueue.h"
#include "runtime/tasks.h"

namespace larch {

class sothreadpool;

// Host requests go into the set ring, work of the core's own into the process queue. The group is posted on its pool only while
// it has work. `self` is any object of the group; it keeps object and group alive during the run.
class syncTask {
 public:
  static constexpr uint32_t ringSlots = 1025; // 1024 usable, in the set ring and in each producer's process ring

  explicit syncTask(sothreadpool* pool) : pool_(pool) {}
  virtual ~syncTask() = default;
  syncTask(const syncTask&) = delete;
  syncTask& operator=(const syncTask&) = delete;

  // One host thread at a time. A full ring: "Can't queue property set" is logged and the task is lost.
  void queueSet(seqTask task, std::shared_ptr<asyncObject> self);
  // Any thread; rt but for the thread's first post and what the closure costs. A full ring: "Can't queue seq process".
  void queueSeq(seqTask task, std::shared_ptr<asyncObject> self);
  // Any thread: a task for the host's poll. A full ring: "Can't queue property".
  void queueProperty(asTask task);
  // One turn on a worker: all waiting sets, then one process task; the group goes back on the run queue while it has work.
  void processSeqQueue(const std::shared_ptr<asyncObject>& self);

  sothreadpool* pool() const { return pool_; }

 private:
  void wake(const std::shared_ptr<asyncObject>& self);
  void processPropertySetQueue();
  void tryProcess();

  spscRing<seqTask, ringSlots> setRing_;
  sothreadpool* pool_;
  std::atomic<uint32_t> scheduled_{0}; // 1 while the group is posted on the pool or running
  mpscQueue<seqTask, ringSlots> processQueue_;
};

} // namespace larch
