#include "dsp/alignedMemory.h"
#include <cstdint>
#include <cstdlib>

namespace larch {

void* alignedAllocate(std::size_t units) {
  if (units > (SIZE_MAX - memoryAlignment) / memoryUnit) return nullptr;
  const std::size_t bytes = units * memoryUnit;
  return std::aligned_alloc(memoryAlignment, (bytes + memoryAlignment) / memoryAlignment * memoryAlignment);
}

void alignedFree(void* memory) { std::free(memory); }

} // namespace larch
