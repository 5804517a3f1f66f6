// malloc and pthread_mutex_lock of the library's own threads, counted while a board streams: for one file of a program only.
#pragma once
#include "tests/boundary/boardStream.h"
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <dlfcn.h>
#include <functional>
#include <gtest/gtest.h>
#include <pthread.h>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define LARCH_COUNTS 0 // the sanitizers have an allocator of their own
#else
#define LARCH_COUNTS 1
#endif

namespace {

constexpr std::size_t sampleMemory = 1024;           // bytes: nothing as large is taken for a closure or a handle
constexpr std::size_t sizeStep = 16, sizeSteps = 65; // of the table of small sizes

std::atomic<bool> counting{false};
std::atomic<uint64_t> large{0}, largest{0}, locks{0};
std::atomic<uint64_t> small[sizeSteps];
thread_local bool hostThread = false; // the test's own: it drives the radio and polls

[[maybe_unused]] void countBytes(std::size_t bytes) {
  if (hostThread || !counting.load(std::memory_order_relaxed)) return;
  if (bytes < sampleMemory) {
    small[bytes / sizeStep]++;
    return;
  }
  large++;
  if (bytes > largest) largest = bytes;
}

} // namespace

#if LARCH_COUNTS
extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* __libc_memalign(std::size_t, std::size_t);

void* malloc(std::size_t bytes) {
  countBytes(bytes);
  return __libc_malloc(bytes);
}
void* calloc(std::size_t n, std::size_t bytes) {
  countBytes(n * bytes);
  return __libc_calloc(n, bytes);
}
void* realloc(void* old, std::size_t bytes) {
  countBytes(bytes);
  return __libc_realloc(old, bytes);
}
void* aligned_alloc(std::size_t alignment, std::size_t bytes) {
  countBytes(bytes);
  return __libc_memalign(alignment, bytes);
}
int pthread_mutex_lock(pthread_mutex_t* mutex) {
  using lockFunction = int (*)(pthread_mutex_t*);
  static const auto next = reinterpret_cast<lockFunction>(dlsym(RTLD_NEXT, "pthread_mutex_lock"));
  if (!hostThread && counting.load(std::memory_order_relaxed)) locks++;
  return next(mutex);
}
}
#endif

namespace {

void startCounting() {
  for (auto& each : small) each = 0;
  large = largest = locks = 0;
  counting = true;
}
constexpr uint64_t windowDatagrams = 48000 / 126 / 16 * 16; // about a second

// A worker's first post to a queue takes a ring and its first transform a table, and which worker does what is chance: the path
// is warm when a window shows nothing, and three more in a row. What each chunk takes shows in every window, what comes now and
// then in one of four.
void expectCleanWindows(
    const std::function<bool()>& streamWindow, const std::function<void()>& begin = [] {}) {
  constexpr int most = 24, clean = 4;
  ASSERT_TRUE(streamWindow());
  int window = 0, inARow = 0;
  for (; inARow < clean && window < most; window++) {
    begin();
    startCounting();
    ASSERT_TRUE(streamWindow());
    counting = false;
    inARow = large + locks == 0 ? inARow + 1 : 0;
  }
  EXPECT_EQ(inARow, clean) << "in the last of " << window << ": " << large << " large blocks, the largest " << largest
                           << " bytes, " << locks << " locks";
  std::printf("warm after %d windows; ", window - inARow);
}

[[maybe_unused]] void expectCleanWindows(
    larch::sim::protocol1Radio& board, const std::function<void()>& begin = [] {}) {
  expectCleanWindows([&] { return stream(board, windowDatagrams); }, begin);
}

// Says what small blocks were taken since then, by size, for each of `units`.
void printSmall(const char* unit, double units) {
  uint64_t all = 0;
  for (const auto& each : small) all += each;
  std::printf("%.2f small allocations a %s:", static_cast<double>(all) / units, unit);
  for (std::size_t i = 0; i < sizeSteps; i++)
    if (small[i] != 0)
      std::printf("  %.2f of %zu to %zu bytes", static_cast<double>(small[i]) / units, i * sizeStep, (i + 1) * sizeStep - 1);
  std::printf("\n");
}

} // namespace
