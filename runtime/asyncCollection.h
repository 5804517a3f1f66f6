// A property whose value is a list of asyncObjects; rows are full objects and can be watched by themselves.
#pragma once
#include "runtime/asyncObject.h"
#include "runtime/snapshot.h"
#include <stdexcept>
#include <vector>

namespace larch {

using hostCollection = void (*)(int32_t action, int32_t index, handle* item);

constexpr int32_t collectionPut = 0;    // host to core: put item at index
constexpr int32_t collectionAppend = 3; // both ways
constexpr int32_t collectionClear = 4;  // host to core

// set(), reset() and append() run on the owner's group; bind() on the host's thread. A row may be null after a put beyond the
// end: whoever walks the list skips it.
template <class T> class asyncCollection {
 public:
  using list = std::vector<std::shared_ptr<T>>;
  static constexpr uint64_t maxRows = uint64_t{1} << 24; // a list beyond this counts as beyond memory

  list items;
  hostCollection callback = nullptr;
  asyncObject* owner = nullptr;
  std::function<void()> observer;

  asyncCollection() = default;
  virtual ~asyncCollection() = default;
  asyncCollection(const asyncCollection&) = delete;
  asyncCollection& operator=(const asyncCollection&) = delete;

  // The core's own: the host learns of it by its next poll.
  void append(std::shared_ptr<T> item) {
    items.push_back(item);
    publish();
    if (observer) observer();
    const hostCollection function = loadWord(callback);
    asyncObject* holder = loadWord(owner);
    if (function && holder) post(holder, function, std::move(item));
  }

  // The host's set. Throws std::length_error or std::bad_alloc, with the list as it was, for an index that can't be had.
  void set(int32_t action, int32_t index, std::shared_ptr<T> item) {
    if (action == collectionPut) put(index, std::move(item));
    if (action == collectionAppend) {
      items.push_back(std::move(item));
      publish();
    }
    if (action == collectionClear) reset();
  }

  void reset() {
    items.clear();
    publish();
  }

  // Delivers every row, in order, at the next poll, as appended at index 0.
  void bind(asyncObject* self, hostCollection function) {
    storeWord(owner, self);
    storeWord(callback, function);
    if (!function) return;
    if (const auto rows = published_.load())
      for (const auto& row : *rows) post(self, function, row);
  }

  // Any thread: the rows as last published; null while there have been none.
  std::shared_ptr<const list> rows() const { return published_.load(); }

 private:
  void put(int32_t index, std::shared_ptr<T> item) {
    const uint64_t at = static_cast<uint64_t>(static_cast<int64_t>(index));
    if (at >= items.size() && at > maxRows / 2) throw std::length_error("collection index out of range");
    if (items.empty()) return; // required: size - 1 wraps around, so that an empty list never grows, and it has no row to put into
    if (at > items.size() - 1) {
      items.resize(2 * at);
      publish();
    }
    if (items[at] == item) return;
    items[at] = std::move(item);
    publish();
    if (observer) observer();
  }
  static void post(asyncObject* holder, hostCollection function, std::shared_ptr<T> item) {
    holder->queueUpdate([function, item = std::move(item)] { function(collectionAppend, 0, new handle{item}); });
  }
  void publish() { published_.publish(std::make_shared<const list>(items)); }

  snapshot<std::shared_ptr<const list>> published_;
};

// A list that the host keeps between its runs; the core treats both alike.
template <class T> class asyncPersistantCollection : public asyncCollection<T> {};

} // namespace larch
