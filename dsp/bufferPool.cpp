#include "dsp/bufferPool.h"
#include "dsp/alignedMemory.h"
#include "dsp/memoryPoison.h"
#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>

namespace larch {
namespace {

constexpr int32_t sizeClasses = 64;
constexpr std::size_t spareNodes = 32; // of each class, there before any code runs
constexpr std::size_t cacheLine = 64;

// Nodes are never freed, so that a pop that lost its race may still read `next` of a node that another thread has taken.
struct listNode {
  listNode* next = nullptr; // through atomic_ref only: a losing pop reads it while the node's new owner writes it
  void* block = nullptr;    // owner of the node only; handed over by the stack's head
};

// A node beyond the first 32. The chain of all of them keeps them and their blocks reachable for the leak sanitizer, which
// can't see through tagged heads.
struct heapNode : listNode {
  heapNode* older = nullptr;
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

 private:
  static constexpr int addressWidth = 48;
  static constexpr uintptr_t tagStep = uintptr_t(1) << addressWidth;
  static constexpr uintptr_t tagBits = ~(tagStep - 1);

  static uintptr_t bits(listNode* tagged) { return reinterpret_cast<uintptr_t>(tagged); }
  static listNode* nodeOf(listNode* tagged) { return reinterpret_cast<listNode*>(bits(tagged) & ~tagBits); }
  static listNode* join(uintptr_t tag, listNode* node) { return reinterpret_cast<listNode*>(tag | bits(node)); }

  std::atomic<listNode*> head_; // tagged: never dereferenced as it stands
};

struct alignas(cacheLine) poolEntry {
  std::array<listNode, spareNodes> firstNodes;
  nodeStack blocks;
  nodeStack spare;

  constexpr poolEntry() : firstNodes(), blocks(nullptr), spare(&firstNodes[0]) {
    for (std::size_t i = 0; i + 1 < spareNodes; i++) firstNodes[i].next = &firstNodes[i + 1];
  }
};

// Constant-initialised and without destructor: constructors of other static objects may use it, and threads that outlive the
// static destructors still may.
constinit std::array<poolEntry, sizeClasses> pool;
constinit std::atomic<heapNode*> heapNodes = nullptr;

listNode* newNode() {
  auto* node = new heapNode;
  // relaxed: nobody walks this chain but the leak sanitizer, in a stopped process
  node->older = heapNodes.load(std::memory_order_relaxed);
  while (!heapNodes.compare_exchange_weak(node->older, node, std::memory_order_relaxed)) {
  }
  return node;
}

} // namespace

int32_t sizeClassOf(std::size_t bytes) {
  // a size that rounds up to 2^64 has no class; the highest one is as far beyond any memory
  return std::min(static_cast<int32_t>(std::ceil(std::log2(static_cast<double>(bytes)))), sizeClasses - 1);
}

pooledRawBuffer::pooledRawBuffer(int32_t sizeClass) : sizeClass_(sizeClass) {
  poolEntry& entry = pool[static_cast<std::size_t>(sizeClass)];
  if (listNode* node = entry.blocks.pop()) {
    memory_ = node->block;
    entry.spare.push(node);
    unpoison(memory_);
  } else {
    memory_ = alignedAllocate(((std::size_t(1) << sizeClass) + memoryUnit - 1) / memoryUnit);
  }
}

pooledRawBuffer::~pooledRawBuffer() {
  if (memory_ == nullptr) return; // the allocator was exhausted; the next taker asks it again
  poisonBehind(memory_, 0);
  poolEntry& entry = pool[static_cast<std::size_t>(sizeClass_)];
  listNode* node = entry.spare.pop();
  if (node == nullptr) node = newNode();
  node->block = memory_;
  entry.blocks.push(node);
}

std::shared_ptr<pooledRawBuffer> takeBlock(std::size_t bytes) {
  auto owner = std::make_shared<pooledRawBuffer>(sizeClassOf(bytes));
  poisonBehind(owner->memory(), bytes);
  return owner;
}

} // namespace larch
