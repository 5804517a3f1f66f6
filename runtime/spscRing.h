// Ring of one producer and one consumer at a time, without locks.
#pragma once
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

namespace larch {

constexpr std::size_t cacheLine = 64;

// One slot always stays free: Slots - 1 elements are usable. Elements live in their slots by value; the memory is touched only
// as far as it has been used. rt for both sides, as far as Element's moves are.
template <class Element, uint32_t Slots> class spscRing {
 public:
  spscRing() = default;
  spscRing(const spscRing&) = delete;
  spscRing& operator=(const spscRing&) = delete;
  // Frees the memory; elements still inside are destroyed by clear() only, never here.
  ~spscRing() = default;

  // Producer. False when full; the element is left as it was.
  template <class... A> bool emplace(A&&... args) {
    const uint32_t at = write_.load(std::memory_order_relaxed); // only this side moves it
    const uint32_t next = at + 1 == Slots ? 0 : at + 1;
    if (next == read_.load(std::memory_order_acquire)) return false; // pairs with pop's release: the slot is free again
    ::new (slot(at)) Element(std::forward<A>(args)...);
    write_.store(next, std::memory_order_release); // pairs with the consumer's acquire: the element is complete
    return true;
  }
  // Consumer. The oldest element, or nullptr.
  Element* front() {
    const uint32_t at = read_.load(std::memory_order_relaxed); // only this side moves it
    if (at == write_.load(std::memory_order_acquire)) return nullptr;
    return slot(at);
  }
  // Consumer, after front(): destroys the oldest and gives its slot back.
  void pop() {
    const uint32_t at = read_.load(std::memory_order_relaxed);
    slot(at)->~Element();
    read_.store(at + 1 == Slots ? 0 : at + 1, std::memory_order_release);
  }
  bool empty() const {
    // sequentially consistent: stands between two exchanges of a scheduled flag
    return read_.load(std::memory_order_seq_cst) == write_.load(std::memory_order_seq_cst);
  }

 private:
  Element* slot(uint32_t at) { return std::launder(reinterpret_cast<Element*>(memory_ + at * sizeof(Element))); }

  alignas(cacheLine) std::atomic<uint32_t> write_{0};
  alignas(cacheLine) std::atomic<uint32_t> read_{0};
  alignas(cacheLine) std::byte memory_[sizeof(Element) * Slots];
};

} // namespace larch
