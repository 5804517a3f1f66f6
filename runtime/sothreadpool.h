// The one pool of workers, with the run queue of groups that have work and the two queues to the host.
#pragma once
#include "runtime/mpscQueue.h"
#include "runtime/tasks.h"
#include <concurrentqueue.h>
#include <lightweightsemaphore.h>
#include <thread>
#include <vector>

namespace larch {

struct LarchConcurrentQueueDefaultTraits : moodycamel::ConcurrentQueueDefaultTraits {
  static const size_t BLOCK_SIZE = 32;
  static const size_t INITIAL_IMPLICIT_PRODUCER_HASH_SIZE = 32;
  static const size_t IMPLICIT_INITIAL_INDEX_SIZE = 32;
};

// Made once, never destroyed: the workers live until the process ends.
class sothreadpool {
 public:
  static constexpr uint32_t updateSlots = 65537; // 65536 pending updates a producer thread
  static constexpr uint32_t renderSlots = 65;    // 64 pending frames a producer thread

  // Starts the workers, one after another. When a thread can't be had, the dump file gets "sothreadpool ??", the workers that
  // run are told to stop and the exception goes on. With 0 workers nothing runs by itself: turn() does (tests).
  explicit sothreadpool(unsigned workers = std::thread::hardware_concurrency());
  sothreadpool(const sothreadpool&) = delete;
  sothreadpool& operator=(const sothreadpool&) = delete;

  // Any thread: puts an object, whose group has work, at the back of the run queue. Refused: "failed to queue task" is logged,
  // and the group stays silent from then on.
  void post(const std::shared_ptr<asyncObject>& self);
  // The same at the end of a group's turn that has left work. With nothing else in the run queue its back is its front: the
  // worker that made the turn goes on with the next one, and nobody is woken.
  void postAgain(const std::shared_ptr<asyncObject>& self);
  bool queueUpdate(asTask task) { return updates_.push(std::move(task)); }
  bool queueRender(asTask task) { return renders_.push(std::move(task)); }

  // The host's polls: run all that is pending on the calling thread, one thread at a time for each. A task that throws is logged
  // and the rest goes on.
  void getUpdates();
  void getRenderUpdates();

  // Runs one entry of the run queue on the calling thread; false when there is none.
  bool turn();

 private:
  void worker();
  void waitForWork(class workerScheduling& scheduling);
  void runEntry(const std::shared_ptr<asyncObject>& self);

  std::atomic<bool> stop_{false}; // set only when the constructor fails; relaxed would do: nothing is read behind it
  std::vector<std::thread> threads_;
  moodycamel::ConcurrentQueue<std::shared_ptr<asyncObject>, LarchConcurrentQueueDefaultTraits> runQueue_;
  moodycamel::LightweightSemaphore wakeUp_; // counts entries of the run queue; sleeps at once, the worker spins by itself
  mpscQueue<asTask, updateSlots> updates_;
  mpscQueue<asTask, renderSlots> renders_;
};

} // namespace larch
