// A value that one thread publishes and others read without waiting for each other.
#pragma once
#include <atomic>
#include <cstdint>
#include <utility>

namespace larch {

// Publishers: one at a time (a task group, or a constructor). Readers: any threads, each gets a copy of one whole published
// value. Split reference count: the readers that took the node are counted in the word's high bits, those that left it in the
// node; the last one of both frees it. Both counts may wrap, only their difference counts: up to 65,535 readers at once. No lock
// and no retry on the reading side; a publish and the last reader allocate and free a node, so neither belongs into the steady
// signal path.
template <class T> class snapshot {
 public:
  snapshot() : snapshot(T{}) {}
  explicit snapshot(T value) : word_(pack(new node(std::move(value)))) { visible_ = unpack(word_); }
  ~snapshot() { retire(word_.load(std::memory_order_acquire)); }
  snapshot(const snapshot&) = delete;
  snapshot& operator=(const snapshot&) = delete;

  void publish(T value) {
    // release: the node is complete before it is seen; acquire: the old node's readers are counted
    node* fresh = new node(std::move(value));
    visible_.store(fresh, std::memory_order_relaxed);
    retire(word_.exchange(pack(fresh), std::memory_order_acq_rel));
  }
  T load() const {
    node* n = unpack(word_.fetch_add(oneReader, std::memory_order_acquire)); // pairs with publish
    T copy = n->value;
    leave(n, -1);
    return copy;
  }

 private:
  struct node {
    explicit node(T v) : value(std::move(v)) {}
    T value;
    std::atomic<int64_t> inside{0}; // minus the readers that left; the retired word's count is added in the end
  };
  static constexpr int pointerBits = 48;
  static constexpr uint64_t oneReader = uint64_t{1} << pointerBits;

  static uint64_t pack(node* n) { return reinterpret_cast<uint64_t>(n); }
  static node* unpack(uint64_t w) { return reinterpret_cast<node*>(w & (oneReader - 1)); }
  static void retire(uint64_t w) { leave(unpack(w), static_cast<int64_t>(w >> pointerBits) + retired); }
  // `retired` stands far above what readers take away; below it the sum is, modulo the taken count's range, who is still inside.
  static void leave(node* n, int64_t change) {
    const int64_t sum = n->inside.fetch_add(change, std::memory_order_acq_rel) + change;
    if (sum > 0 && (sum & takenMask) == 0) delete n;
  }
  static constexpr int64_t retired = int64_t{1} << 62, takenMask = (int64_t{1} << (64 - pointerBits)) - 1;

  mutable std::atomic<uint64_t> word_;
  std::atomic<node*> visible_; // the node once more: leak checkers can't see it through the word's count; nobody reads it
};

} // namespace larch
