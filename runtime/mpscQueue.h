// Queue of up to 32 producer threads and one consumer at a time: a ring for each producer, merged by tickets.
#pragma once
#include "platform/threadClass.h"
#include "runtime/log.h"
#include "runtime/spscRing.h"
#include <atomic>
#include <cstdint>
#include <limits>
#include <memory>

namespace larch {

// Entries leave in ticket order as long as the tickets run without a gap. Not strictly FIFO across threads: a ticket taken but
// not yet published can be overtaken. Each ring has Slots - 1 usable entries and is allocated at its thread's first post.
template <class Element, uint32_t Slots> class mpscQueue {
 public:
  static constexpr uint32_t maxProducers = 32;

  explicit mpscQueue(uint32_t firstTicket = 1) : ticket_(firstTicket - 1), expected_(firstTicket) {}
  mpscQueue(const mpscQueue&) = delete;
  mpscQueue& operator=(const mpscQueue&) = delete;
  ~mpscQueue() {
    for (auto& r : rings_) delete r.load(std::memory_order_relaxed); // nobody posts any more
  }

  // Any thread; one atomic increment, a search of 32 ids, a slot write. False when the thread's ring is full or when 32 other
  // threads hold all rings (logged); the element is destroyed and its ticket lost.
  bool push(Element element) {
    const uint32_t ticket = ticket_.fetch_add(1) + 1;
    ring* r = ringOf(threadId());
    return r && r->emplace(ticket, std::move(element));
  }

  // One consumer at a time. False when every ring is empty; `expected` is then untouched.
  bool pop(Element& out) {
    ring* chosen = nullptr;
    int32_t best = std::numeric_limits<int32_t>::max();
    for (auto& slot : rings_) {
      ring* r = slot.load(std::memory_order_acquire); // pairs with ringOf's release
      entry* e = r ? r->front() : nullptr;
      if (!e) continue;
      if (e->ticket == expected_) {
        chosen = r;
        break;
      }
      if (static_cast<int32_t>(e->ticket) < best || !chosen) {
        best = static_cast<int32_t>(e->ticket);
        chosen = r;
      }
    }
    if (!chosen) return false;
    entry* e = chosen->front();
    expected_ = e->ticket + 1;
    out = std::move(e->element);
    chosen->pop();
    return true;
  }

  bool empty() const {
    for (auto& slot : rings_) {
      const ring* r = slot.load();
      if (r && !r->empty()) return false;
    }
    return true;
  }
  int32_t producers() const { return producers_.load(std::memory_order_relaxed); } // a count for diagnostics

 private:
  struct entry {
    uint32_t ticket;
    Element element;
    entry(uint32_t t, Element&& e) : ticket(t), element(std::move(e)) {}
  };
  using ring = spscRing<entry, Slots>;

  ring* ringOf(uint32_t thread) {
    for (uint32_t i = 0; i < maxProducers; i++)
      if (threadIds_[i].load(std::memory_order_acquire) == thread) // pairs with the release below: the ring is there
        return rings_[i].load(std::memory_order_relaxed);
    const int32_t index = producers_.fetch_add(1);
    if (index < 0 || index >= static_cast<int32_t>(maxProducers)) {
      logError("Too many threads accessing mpsc queue");
      return nullptr;
    }
    ring* r = new ring;
    rings_[index].store(r, std::memory_order_release);
    threadIds_[index].store(thread, std::memory_order_release);
    return r;
  }

  std::atomic<uint32_t> threadIds_[maxProducers] = {}; // system id of the thread that owns the ring; 0 when free
  std::atomic<ring*> rings_[maxProducers] = {};
  std::atomic<uint32_t> ticket_; // last ticket handed out
  std::atomic<int32_t> producers_{0};
  uint32_t expected_; // the consumer's: the next ticket that it hopes for
};

} // namespace larch
