// Lock-free stack of list nodes that are never freed.
#pragma once
#include <atomic>
#include <cstdint>

namespace larch {

// Nodes are never freed, so that a pop that lost its race may still read `next` of a node that another thread has taken.
struct listNode {
  listNode* next = nullptr; // through atomic_ref only: a losing pop reads it while the node's new owner writes it
  void* block = nullptr;    // owner of the node only; handed over by the stack's head
};

// Lock-free stack. The head holds the node's address in its low 48 bits and a count of pops in its high 16, so that a head that
// has come back to the same node after pops still differs from the one that was read. rt.
class nodeStack {
 public:
  constexpr explicit nodeStack(listNode* top) : head_(top) {}

  void push(listNode* node) {
    // relaxed: only the node is published here, by the release below; nothing is read through the old head
    listNode* seen = head_.load(std::memory_order_relaxed);
    do {
      // relaxed: the exchange publishes it
      std::atomic_ref(node->next).store(nodeOf(seen), std::memory_order_relaxed);
      // release: partner is the acquire in pop, which then sees next and block
    } while (!head_.compare_exchange_weak(seen, join(bits(seen) & tagBits, node), std::memory_order_release,
                                          std::memory_order_relaxed));
  }

  listNode* pop() { // nullptr when empty
    // acquire here and in the exchange: partner is the release in push
    listNode* seen = head_.load(std::memory_order_acquire);
    while (listNode* node = nodeOf(seen)) {
      // relaxed: a value that is out of date belongs to a head that is, and then the exchange fails on the tag
      listNode* below = std::atomic_ref(node->next).load(std::memory_order_relaxed);
      if (head_.compare_exchange_weak(seen, join((bits(seen) & tagBits) + tagStep, below), std::memory_order_acquire,
                                      std::memory_order_acquire))
        return node;
    }
    return nullptr;
  }

  // The head as it stands, tag included: differs between any two states with a pop between them.
  uintptr_t word() const { return bits(head_.load(std::memory_order_relaxed)); } // relaxed: for a look only

 private:
  static constexpr int addressWidth = 48;
  static constexpr uintptr_t tagStep = uintptr_t(1) << addressWidth;
  static constexpr uintptr_t tagBits = ~(tagStep - 1);

  static uintptr_t bits(listNode* tagged) { return reinterpret_cast<uintptr_t>(tagged); }
  static listNode* nodeOf(listNode* tagged) { return reinterpret_cast<listNode*>(bits(tagged) & ~tagBits); }
  static listNode* join(uintptr_t tag, listNode* node) { return reinterpret_cast<listNode*>(tag | bits(node)); }

  std::atomic<listNode*> head_; // tagged: never dereferenced as it stands
};

} // namespace larch
