// Marks for the address sanitizer: memory that is ours but that nobody may touch now. Nothing in other builds.
#pragma once
#include <cstddef>

#if defined(__SANITIZE_ADDRESS__)
#define LARCH_POISONS_MEMORY 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define LARCH_POISONS_MEMORY 1
#endif
#endif

#ifdef LARCH_POISONS_MEMORY
#include <sanitizer/asan_interface.h>
extern "C" std::size_t __sanitizer_get_allocated_size(const volatile void*); // gcc ships no header for it
#endif

namespace larch {

#ifdef LARCH_POISONS_MEMORY
// All but the first `used` bytes of a heap block; the rounding of the allocator is poisoned with it. nullptr is ignored.
inline void poisonBehind(void* block, std::size_t used) {
  if (block == nullptr) return;
  const std::size_t size = __sanitizer_get_allocated_size(block);
  if (used < size) ASAN_POISON_MEMORY_REGION(static_cast<char*>(block) + used, size - used);
}
inline void unpoison(void* block) {
  if (block != nullptr) ASAN_UNPOISON_MEMORY_REGION(block, __sanitizer_get_allocated_size(block));
}
#else
inline void poisonBehind(void*, std::size_t) {}
inline void unpoison(void*) {}
#endif

} // namespace larch
