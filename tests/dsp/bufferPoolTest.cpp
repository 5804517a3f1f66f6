#include "dsp/buff.h"
#include "dsp/memoryPoison.h"
#include <atomic>
#include <cstring>
#include <gtest/gtest.h>
#include <malloc.h>
#include <set>
#include <thread>
#include <vector>

namespace larch {
namespace {

// Runs while static objects are made, in an order that nobody knows.
const buff<double> takenBeforeMain(33, 2.5);

TEST(bufferPoolTest, isReadyBeforeOtherStaticObjects) {
  EXPECT_NE(takenBeforeMain.owner, nullptr);
  EXPECT_EQ(takenBeforeMain.data[32], 2.5);
}

TEST(bufferPoolTest, sizeClassIsTheNextPowerOfTwo) {
  EXPECT_EQ(sizeClassOf(1), 0);
  EXPECT_EQ(sizeClassOf(2), 1);
  EXPECT_EQ(sizeClassOf(3), 2);
  EXPECT_EQ(sizeClassOf(3 * sizeof(double)), 5);
  for (int c = 2; c < 47; c++) {
    const std::size_t exact = std::size_t(1) << c;
    EXPECT_EQ(sizeClassOf(exact), c);
    EXPECT_EQ(sizeClassOf(exact - 1), c);
    EXPECT_EQ(sizeClassOf(exact + 1), c + 1);
  }
  EXPECT_EQ(sizeClassOf((std::size_t(1) << 60) + 1), 60) << "a double can't hold the 1";
  EXPECT_EQ(sizeClassOf(SIZE_MAX), 63);
}

TEST(bufferPoolTest, blocksAreThoseOfTheirClass) {
  EXPECT_EQ(buff<double>(3).owner->sizeClass(), 5);
  EXPECT_EQ(buff<double>(4).owner->sizeClass(), 5);
  EXPECT_EQ(buff<double>(5).owner->sizeClass(), 6);
  EXPECT_EQ(buff<char>(1).owner->sizeClass(), 0);
  EXPECT_EQ(buff<std::complex<double>>(512).owner->sizeClass(), 13);
}

TEST(bufferPoolTest, lastFreedIsHandedOutFirst) {
  std::vector<std::shared_ptr<pooledRawBuffer>> taken;
  for (int i = 0; i < 5; i++) taken.push_back(takeBlock(3000));
  std::vector<void*> blocks;
  for (auto& t : taken) {
    blocks.push_back(t->memory());
    t.reset();
  }
  for (int i = 4; i >= 0; i--) {
    taken[i] = takeBlock(2500 + i); // the same class
    EXPECT_EQ(taken[i]->memory(), blocks[i]);
  }
}

TEST(bufferPoolTest, handsOutMoreBlocksThanItHasSpareNodes) {
  constexpr std::size_t many = 100; // spare nodes: 32
  std::set<void*> blocks;
  for (int round = 0; round < 3; round++) {
    std::vector<std::shared_ptr<pooledRawBuffer>> taken;
    for (std::size_t i = 0; i < many; i++) {
      taken.push_back(takeBlock(sizeof(std::size_t)));
      std::memcpy(taken.back()->memory(), &i, sizeof i);
      blocks.insert(taken.back()->memory());
    }
    EXPECT_EQ(blocks.size(), many) << "every block comes again";
    for (std::size_t i = 0; i < many; i++) EXPECT_EQ(std::memcmp(taken[i]->memory(), &i, sizeof i), 0);
  }
}

TEST(bufferPoolTest, warmPoolTakesNothingFromTheHeap) {
  auto rounds = [] {
    for (int i = 0; i < 10000; i++) {
      const buff<double> a(512), b(512);
      const buff<float> c(64);
    }
  };
  rounds();
  const auto before = mallinfo2();
  rounds();
  EXPECT_EQ(mallinfo2().uordblks, before.uordblks);
}

// Each thread writes its mark over a block, gives others time to break it, and looks whether it is still there.
TEST(bufferPoolTest, CONCURRENTthreadsNeverShareABlock) {
  constexpr int threads = 4, rounds = 3000, held = 8;
  constexpr std::size_t words = 16;
  std::atomic<int> broken = 0, ready = 0;
  auto work = [&](uint64_t mark) {
    ready++;
    while (ready < threads) std::this_thread::yield();
    std::shared_ptr<pooledRawBuffer> mine[held];
    for (int r = 0; r < rounds; r++) {
      auto& slot = mine[(r * 7 + mark) % held];
      if (slot) {
        const auto* seen = static_cast<uint64_t*>(slot->memory());
        for (std::size_t i = 0; i < words; i++) broken += seen[i] != mark;
        slot.reset();
      } else {
        slot = takeBlock(words * sizeof(uint64_t));
        std::fill_n(static_cast<uint64_t*>(slot->memory()), words, mark);
      }
    }
  };
  std::vector<std::thread> all;
  for (int t = 0; t < threads; t++) all.emplace_back(work, t + 1);
  for (auto& t : all) t.join();
  EXPECT_EQ(broken, 0);
}

// Blocks made by one thread die on another, as chunks do.
TEST(bufferPoolTest, CONCURRENTlastViewMayGoOnAnotherThread) {
  constexpr int chunks = 2000;
  std::vector<buff<double>> posted(chunks);
  std::atomic<int> made = 0;
  std::thread consumer([&] {
    for (int i = 0; i < chunks; i++) {
      while (made.load(std::memory_order_acquire) <= i) std::this_thread::yield();
      ASSERT_EQ(posted[i].data[63], i);
      posted[i] = {};
    }
  });
  for (int i = 0; i < chunks; i++) {
    posted[i] = buff<double>(64, i);
    made.store(i + 1, std::memory_order_release);
  }
  consumer.join();
}

#ifdef LARCH_POISONS_MEMORY
bool poisoned(const void* p) { return __asan_address_is_poisoned(p) != 0; }

TEST(bufferPoolTest, slackAndFreeBlocksArePoisoned) {
  for (std::size_t bytes : {1, 7, 13, 24, 511, 512, 513}) {
    auto owner = takeBlock(bytes);
    auto* block = static_cast<char*>(owner->memory());
    const std::size_t end = std::size_t(1) << owner->sizeClass();
    for (std::size_t i = 0; i < bytes; i++) ASSERT_FALSE(poisoned(block + i)) << bytes << " " << i;
    for (std::size_t i = bytes; i < end; i++) ASSERT_TRUE(poisoned(block + i)) << bytes << " " << i;
    EXPECT_TRUE(poisoned(block + end));
    owner.reset();
    for (std::size_t i = 0; i < end; i++) ASSERT_TRUE(poisoned(block + i)) << bytes << " " << i;
    owner = takeBlock(end); // a longer tenant of the same block
    ASSERT_EQ(owner->memory(), block);
    for (std::size_t i = 0; i < end; i++) ASSERT_FALSE(poisoned(block + i)) << bytes << " " << i;
  }
}

TEST(bufferPoolDeathTest, overrunIntoSlackIsReported) {
  const buff<double> b(3, 0.0);
  volatile double* data = b.data;
  EXPECT_DEATH(data[3] = 1.0, "use-after-poison");
}

TEST(bufferPoolDeathTest, readOfAFreedBlockIsReported) {
  buff<float> b(512, 0.0f);
  volatile float* data = b.data;
  b = {};
  EXPECT_DEATH((void)data[0], "use-after-poison");
}
#endif

} // namespace
} // namespace larch
