#include "runtime/asyncObject.h"
#include "runtime/sothreadpool.h"
#include <exception>

namespace larch {

asyncObject::asyncObject(std::shared_ptr<syncTask> group) : taskgroup(std::move(group)) {}

asyncObject::~asyncObject() {
  // no shared_from_this here: the object has no owner any more
  if (!taskgroup) return;
  const std::function<void(int32_t)> deleted = loadWord(Deleted); // a null pointer shows as the poll's bad_function_call
  taskgroup->queueProperty(asTask([deleted] { deleted(1); }, nullptr));
}

void asyncObject::queueSetItem(seqTask task) noexcept {
  const char* name = task.name;
  try {
    if (!taskgroup) {
      logError("queueSetItem null taskgroup {}", name);
      return;
    }
    taskgroup->queueSet(std::move(task), shared_from_this());
  } catch (const std::exception& e) {
    logError("queueSetItem {} {}", e.what(), name);
  } catch (...) {
    writeDump("queuesetitem", name);
    logError("queueSetItem {}", name);
  }
}

void asyncObject::queueSeqProcess(seqTask task) {
  if (taskgroup) taskgroup->queueSeq(std::move(task), shared_from_this());
}

void asyncObject::queueUpdate(std::function<void()> fn) {
  if (taskgroup) taskgroup->queueProperty(asTask(std::move(fn), shared_from_this()));
}

bool asyncObject::queueRender(std::function<void()> fn) {
  return taskgroup && taskgroup->pool()->queueRender(asTask(std::move(fn), shared_from_this()));
}

void asyncObject::ping(int32_t value) {
  const std::function<void(int32_t)> echo = loadWord(Echo);
  queueUpdate([echo, value] { echo(value); });
}

} // namespace larch
