#include "dsp/bufferPool.h"
#include "dsp/alignedMemory.h"
#include "dsp/memoryPoison.h"
#include "dsp/nodeStack.h"
#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>

namespace larch {
namespace {

constexpr int32_t sizeClasses = 64;
constexpr std::size_t spareNodes = 32; // of each class, there before any code runs
constexpr std::size_t cacheLine = 64;

// A node beyond the first 32. The chain of all of them keeps them and their blocks reachable for the leak sanitizer, which
// can't see through tagged heads.
struct heapNode : listNode {
  heapNode* older = nullptr;
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
