// The signal library's aligned allocator: units of 16 bytes, 64-byte alignment, contents undefined.
#pragma once
#include <cstddef>

namespace larch {

constexpr std::size_t memoryUnit = 16;      // bytes: one complex double
constexpr std::size_t memoryAlignment = 64; // bytes

void* alignedAllocate(std::size_t units); // nullptr when exhausted; zero units give a pointer that may be freed
void alignedFree(void* memory);           // nullptr is ignored

} // namespace larch
