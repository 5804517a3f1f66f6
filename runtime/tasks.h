// The two units of work: a task for a group, and a task for the host's poll.
#pragma once
#include <functional>
#include <memory>

namespace larch {

class asyncObject;

// Work for a task group. The closure of a task that outlives its poster holds a reference to the object that it works on.
// A copy lies in the queue's slot; an empty function counts as a thrown std::bad_function_call.
class seqTask {
 public:
  std::function<void()> fn;
  const char* name = ""; // a literal, for log lines and the dump file

  seqTask() = default;
  seqTask(std::function<void()> f, const char* n) : fn(std::move(f)), name(n) {}
  seqTask(const seqTask&) = default;
  seqTask& operator=(const seqTask&) = default;
  seqTask(seqTask&&) = default;
  seqTask& operator=(seqTask&&) = default;
  virtual ~seqTask() = default;
};

// Work for the host, run by its poll.
class asTask {
 public:
  std::function<void()> fn;
  std::shared_ptr<asyncObject> owner; // keeps the object alive until the host has run the task; may be empty

  asTask() = default;
  asTask(std::function<void()> f, std::shared_ptr<asyncObject> o) : fn(std::move(f)), owner(std::move(o)) {}
  asTask(const asTask&) = default;
  asTask& operator=(const asTask&) = default;
  asTask(asTask&&) = default;
  asTask& operator=(asTask&&) = default;
  virtual ~asTask() = default;
};

} // namespace larch
