// One page-aligned, zeroed block of memory for data that the kernel reads and writes.
#pragma once
#include <cstddef>

namespace larch {

// The size is rounded up to whole pages, all of them present from the start, so that no first touch costs a fault later.
// Moving and copying are off: others hold pointers into it.
class pageBlock {
 public:
  pageBlock() = default;
  ~pageBlock();
  pageBlock(const pageBlock&) = delete;
  pageBlock& operator=(const pageBlock&) = delete;

  // Once. 0, or errno with the block left empty.
  int allocate(std::size_t bytes);

  char* data() const { return data_; } // nullptr before allocate and after its failure
  std::size_t size() const { return size_; }
  static std::size_t pageSize();

 private:
  char* data_ = nullptr;
  std::size_t size_ = 0;
};

} // namespace larch
