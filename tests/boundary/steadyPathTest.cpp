// A running receiver takes no sample memory and no lock once it is warm: malloc and pthread_mutex_lock of the library's own
// threads are counted.
#include "sim/bandScene.h"
#include "sim/protocol1Radio.h"
#include "tests/boundary/testHost.h"
#include <atomic>
#include <cstdio>
#include <dlfcn.h>
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

vtrx* added = nullptr;
int frames = 0;

void keepVtrx(vtrx* handle, int32_t, int32_t) { added = handle; }
void countFrame(floatArray* frame, double, double, int32_t) {
  frames++;
  floatArray_delete(frame);
}

// Radio time passes as fast as the library answers: at 48 kHz each datagram pays for one. A few answers may be on their way.
bool stream(larch::sim::protocol1Radio& board, uint64_t datagrams) {
  constexpr uint64_t batch = 16, onTheirWay = 24;
  const uint64_t answered = board.report().dataReceived;
  for (uint64_t sent = batch; sent <= datagrams; sent += batch) {
    board.emit(batch);
    if (!testHost::pollUntil([&] {
          board.poll();
          getRenderUpdates();
          return board.report().dataReceived + onTheirWay >= answered + sent;
        }))
      return false;
  }
  return true;
}

} // namespace

TEST(steadyPathTest, runningReceiverTakesNoSampleMemoryAndNoLock) {
  if (!LARCH_COUNTS) GTEST_SKIP() << "a sanitizer's allocator can't be counted";
  hostThread = true;
  testHost::start();
  const auto scene = std::make_shared<larch::sim::bandScene>();
  scene->addCarrier(14'096'600, -60);
  const auto board = larch::sim::protocol1Radio::onFreeLoopback({}, scene);
  HpsdrRadio* radio = testHost::watched(HpsdrRadio_create());
  auto* base = reinterpret_cast<Radio*>(radio);
  HpsdrRadio_setipAddress(radio, board->address().c_str());
  HpsdrRadio_setclockFrequency(radio, 76'800'000);
  HpsdrRadio_setHLite2Gain(radio, true);
  Radio_bindvtrxAdded(base, keepVtrx);
  Radio_start(base);
  ASSERT_TRUE(testHost::pollUntil([&] {
    board->poll();
    return added && board->report().streaming;
  }));
  ssbModDemod* mode = testHost::watched(ssbModDemod_create());
  vtrx_bindnewSpectrum(testHost::watched(added), countFrame);
  vtrx_setModulation(added, reinterpret_cast<modDemod*>(mode));
  vtrx_setRxFilter(added, 200, 2800);
  vtrx_setforegroundDisplay(added, true);
  vtrx_start(added);
  ASSERT_TRUE(testHost::settle(added));

  // A worker's first post to a queue takes a ring and its first transform a table, and which worker does what is chance: the
  // receiver is warm when a window shows nothing. What each chunk takes shows in every window.
  constexpr uint64_t measured = 48000 / 126 / 16 * 16; // datagrams, about a second
  constexpr int windows = 20;
  int window = 0;
  ASSERT_TRUE(stream(*board, measured));
  do {
    for (auto& each : small) each = 0;
    large = largest = locks = 0;
    frames = 0;
    counting = true;
    ASSERT_TRUE(stream(*board, measured));
    counting = false;
  } while (large + locks > 0 && ++window < windows);

  const double chunks = static_cast<double>(measured) * 126 / 512;
  EXPECT_GT(frames, static_cast<int>(chunks / 4 * 0.8)); // the receiver did run: a frame is four chunks
  EXPECT_EQ(large.load(), 0u) << "the largest had " << largest << " bytes";
  EXPECT_EQ(locks.load(), 0u);
  uint64_t all = 0;
  for (const auto& each : small) all += each;
  std::printf("warm after %d windows; %.1f small allocations a chunk:", window, static_cast<double>(all) / chunks);
  for (std::size_t i = 0; i < sizeSteps; i++)
    if (small[i] != 0)
      std::printf("  %.2f of %zu to %zu bytes", static_cast<double>(small[i]) / chunks, i * sizeStep, (i + 1) * sizeStep - 1);
  std::printf("\n");
  Radio_stop(base);
  vtrx_release(added);
  ssbModDemod_release(mode);
  HpsdrRadio_release(radio);
}
