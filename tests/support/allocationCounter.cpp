#include "tests/support/allocationCounter.h"
#include <cstdlib>
#include <new>

namespace larch::test {
namespace {
thread_local int64_t count = 0;
} // namespace

int64_t allocationsOfThisThread() { return count; }
static void countAllocation() { count++; }

} // namespace larch::test

void* operator new(std::size_t n) {
  larch::test::countAllocation();
  if (void* p = std::malloc(n ? n : 1)) return p;
  throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
