// The base of everything that the host can hold.
#pragma once
#include "runtime/syncTask.h"
#include "runtime/tasks.h"
#include <cstdint>
#include <memory>

namespace larch {

using hostInt32 = void (*)(int32_t);

// A host's pointer that a worker reads: one aligned word, written without synchronisation by the host's thread. Relaxed: nothing
// is read behind it, and a bind that races with a write may deliver twice or not at all.
template <class P> P loadWord(const P& word) { return std::atomic_ref<P>(const_cast<P&>(word)).load(std::memory_order_relaxed); }
template <class P> void storeWord(P& word, P value) { std::atomic_ref<P>(word).store(value, std::memory_order_relaxed); }

// A heap object under a std::shared_ptr that belongs to exactly one task group: all that the host changes in it happens as a task
// of that group. Operations of this class but the destructor need a living shared_ptr (std::bad_weak_ptr otherwise).
class asyncObject : public std::enable_shared_from_this<asyncObject> {
 public:
  explicit asyncObject(std::shared_ptr<syncTask> group);
  // Any thread, the host's poll included: posts Deleted(1) for the host, after all the object's other updates.
  virtual ~asyncObject();
  asyncObject(const asyncObject&) = delete;
  asyncObject& operator=(const asyncObject&) = delete;

  // Host's thread: a task on the group's set ring. Never throws: what goes wrong is logged with the task's name.
  void queueSetItem(seqTask task) noexcept;
  // Any thread: a task of the core's own on the group's process queue.
  void queueSeqProcess(seqTask task);
  // Any thread: a task for the host's next getUpdates, which holds this object until then. Nothing happens without a group.
  void queueUpdate(std::function<void()> fn);
  // Any thread: a task for the host's next getRenderUpdates. False without a group or when the ring is full.
  bool queueRender(std::function<void()> fn);
  // Queues the host's Echo(value).
  void ping(int32_t value);

  hostInt32 Deleted = nullptr;         // called once on the host's thread when the object is gone, with 1
  hostInt32 Echo = nullptr;            // answer to Ping
  std::shared_ptr<syncTask> taskgroup; // for the object's whole life; may be null before init
};

// An object that the core keeps for itself ends without a word to the host.
template <class Object> std::shared_ptr<Object> keptByCore(std::shared_ptr<Object> object) {
  object->Deleted = [](int32_t) {};
  return object;
}

// What the host holds and what a callback hands out: one form for all classes, cast at use.
struct handle {
  std::shared_ptr<asyncObject> object;
};

} // namespace larch
