#include "runtime/sothreadpool.h"
#include "platform/threadClass.h"
#include "runtime/asyncObject.h"
#include <exception>
#include <utility>

namespace larch {
namespace {

constexpr std::size_t initialBlocks = 6;
constexpr int spinRounds = 1000; // before a worker sleeps: keeps the wake-up short at audio block rates

thread_local std::shared_ptr<asyncObject>* nextOfWorker = nullptr; // of this thread, when it is a worker

template <class Queue> void drain(Queue& queue, const char* word) {
  asTask task;
  while (queue.pop(task)) {
    try {
      task.fn();
    } catch (const std::exception& e) {
      logError("{} {}", word, e.what());
    } catch (...) {
      writeLog(logLevel::error, word);
    }
  }
}

} // namespace

sothreadpool::sothreadpool(unsigned workers)
    : runQueue_(initialBlocks * LarchConcurrentQueueDefaultTraits::BLOCK_SIZE), wakeUp_(0, 0) {
  try {
    for (unsigned i = 0; i < workers; i++) threads_.emplace_back([this] { worker(); });
  } catch (...) {
    writeDump("sothreadpool", "??");
    stop_ = true;
    wakeUp_.signal(static_cast<moodycamel::LightweightSemaphore::ssize_t>(workers));
    for (auto& t : threads_) t.join();
    throw;
  }
}

void sothreadpool::post(const std::shared_ptr<asyncObject>& self) {
  if (!runQueue_.enqueue(self)) {
    logError("failed to queue task");
    return;
  }
  wakeUp_.signal();
}

void sothreadpool::postAgain(const std::shared_ptr<asyncObject>& self) {
  if (nextOfWorker && !*nextOfWorker && wakeUp_.availableApprox() == 0)
    *nextOfWorker = self;
  else
    post(self);
}

void sothreadpool::waitForWork(workerScheduling& scheduling) {
  for (int i = 0; i < spinRounds; i++) {
    if (wakeUp_.tryWait()) return;
    __builtin_ia32_pause();
  }
  while (!wakeUp_.wait()) {
  }
  scheduling.slept();
}

void sothreadpool::runEntry(const std::shared_ptr<asyncObject>& self) {
  try {
    self->taskgroup->processSeqQueue(self);
  } catch (const std::exception& e) {
    logError("worker {}", e.what());
  } catch (...) {
    writeDump("worker", "??");
    logError("worker");
  }
}

bool sothreadpool::turn() {
  std::shared_ptr<asyncObject> self;
  if (!wakeUp_.tryWait()) return false;
  while (!runQueue_.try_dequeue(self)) {
  }
  runEntry(self);
  return true;
}

void sothreadpool::worker() {
  workerScheduling scheduling;
  if (const int refused = scheduling.raise()) logError("sothreadPool::worker() setmm priority failed {}", refused);
  moodycamel::ConsumerToken turns(runQueue_); // the queue has a part for each posting thread: none of them waits for ever
  std::shared_ptr<asyncObject> next;          // a group that this worker goes on with
  nextOfWorker = &next;
  while (!stop_) {
    std::shared_ptr<asyncObject> self = std::exchange(next, nullptr); // dropped at the end of the turn: the object may die here
    if (!self) {
      waitForWork(scheduling);
      while (!stop_ && !runQueue_.try_dequeue(turns, self)) {
      } // the semaphore promises an entry
    }
    if (self) runEntry(self);
    scheduling.betweenTurns();
    if (next && scheduling.steppedDown()) post(std::exchange(next, nullptr)); // to a worker that comes from its sleep raised
  }
  nextOfWorker = nullptr;
}

void sothreadpool::getUpdates() { drain(updates_, "getUpdates"); }
void sothreadpool::getRenderUpdates() { drain(renders_, "getRenderUpdates"); }

} // namespace larch
