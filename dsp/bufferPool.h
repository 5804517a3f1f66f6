// Pool of raw sample blocks: one lock-free stack for each power of two; blocks are handed out again last freed first.
#pragma once
#include <cstddef>
#include <cstdint>
#include <memory>

namespace larch {

// A block of 2^sizeClass bytes; goes back to the pool when its last owner goes, on whatever thread that is. rt once warm.
class pooledRawBuffer {
public:
  explicit pooledRawBuffer(int32_t sizeClass);
  ~pooledRawBuffer();
  pooledRawBuffer(const pooledRawBuffer&) = delete;
  pooledRawBuffer& operator=(const pooledRawBuffer&) = delete;
  void* memory() const { return memory_; }
  int32_t sizeClass() const { return sizeClass_; }

private:
  int32_t sizeClass_; // the block has 2^sizeClass bytes
  void* memory_;      // whatever the allocator returned, nullptr included
};

int32_t sizeClassOf(std::size_t bytes); // ceil(log2(bytes)); bytes at least 1
// The owner of a block of at least `bytes` bytes with undefined contents; `bytes` at least 1.
std::shared_ptr<pooledRawBuffer> takeBlock(std::size_t bytes);

} // namespace larch
