#include "runtime/syncTask.h"
#include "runtime/sothreadpool.h"
#include <exception>

namespace larch {
namespace {

// The words of a failed task body: `text` with an exception's words and the task's name, `unknownText` with the name alone.
void run(const seqTask& task, const char* text, const char* unknownText, const char* dumpWord) {
  try {
    task.fn();
  } catch (const std::exception& e) {
    writeLog(logLevel::error, fmt::format(fmt::runtime(text), e.what(), task.name));
  } catch (...) {
    writeDump(dumpWord, task.name);
    writeLog(logLevel::error, fmt::format(fmt::runtime(unknownText), task.name));
  }
}

} // namespace

void syncTask::wake(const std::shared_ptr<asyncObject>& self) {
  if (scheduled_.exchange(1) == 0) pool_->post(self);
}

void syncTask::queueSet(seqTask task, std::shared_ptr<asyncObject> self) {
  if (!setRing_.emplace(std::move(task))) {
    logError("Can't queue property set");
    return;
  }
  wake(self);
}

void syncTask::queueSeq(seqTask task, std::shared_ptr<asyncObject> self) {
  if (!processQueue_.push(std::move(task))) {
    logError("Can't queue seq process");
    return;
  }
  wake(self);
}

void syncTask::queueProperty(asTask task) {
  if (!pool_->queueUpdate(std::move(task))) logError("Can't queue property");
}

void syncTask::processPropertySetQueue() {
  while (seqTask* waiting = setRing_.front()) {
    const seqTask task = std::move(*waiting); // out of its slot first: the body may post, and the host may refill
    setRing_.pop();
    run(task, "processPropertySetQueue {} {}", "processPropertySetQueue {}", "processPropertySetQueue");
  }
}

void syncTask::tryProcess() {
  seqTask task;
  if (processQueue_.pop(task)) run(task, "procesSeqQueue {} {}", "processSeqSetQueue {}", "TryProcess");
}

void syncTask::processSeqQueue(const std::shared_ptr<asyncObject>& self) {
  processPropertySetQueue();
  tryProcess();
  scheduled_.exchange(0);
  // A poster may slip in here. Whoever reads 0 from the exchange posts, so that one post at the most is pending.
  if ((!processQueue_.empty() || !setRing_.empty()) && scheduled_.exchange(1) == 0) pool_->postAgain(self);
}

} // namespace larch
