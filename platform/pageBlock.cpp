#include "platform/pageBlock.h"
#include <cerrno>
#include <limits>
#include <sys/mman.h>
#include <unistd.h>

namespace larch {

pageBlock::~pageBlock() {
  if (data_) munmap(data_, size_);
}

std::size_t pageBlock::pageSize() {
  static const std::size_t size = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  return size;
}

int pageBlock::allocate(std::size_t bytes) {
  if (data_) return EEXIST;
  const std::size_t page = pageSize();
  if (bytes == 0 || bytes > std::numeric_limits<std::size_t>::max() - page) return EINVAL;
  const std::size_t rounded = (bytes + page - 1) / page * page;
  void* memory = mmap(nullptr, rounded, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
  if (memory == MAP_FAILED) return errno;
  data_ = static_cast<char*>(memory);
  size_ = rounded;
  return 0;
}

} // namespace larch
