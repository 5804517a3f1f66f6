#include "runtime/mpscQueue.h"
#include <atomic>
#include <gtest/gtest.h>
#include <latch>
#include <thread>
#include <vector>

using namespace larch;

namespace {

using smallQueue = mpscQueue<int, 9>; // 8 usable a producer

std::vector<int> drained(smallQueue& queue) {
  std::vector<int> all;
  for (int value; queue.pop(value);) all.push_back(value);
  return all;
}

} // namespace

TEST(mpscQueueTest, popOfAnEmptyQueueIsRefusedAndTheNextTicketIsStillExpected) {
  smallQueue queue;
  int value = 42;
  EXPECT_FALSE(queue.pop(value));
  EXPECT_EQ(value, 42);
  EXPECT_TRUE(queue.push(1));
  EXPECT_TRUE(queue.pop(value));
  EXPECT_EQ(value, 1);
}

TEST(mpscQueueTest, pushOnFullRingIsRefused) {
  smallQueue queue;
  for (int i = 0; i < 8; i++) EXPECT_TRUE(queue.push(i));
  EXPECT_FALSE(queue.push(8));
  EXPECT_EQ(drained(queue), (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7}));
}

TEST(mpscQueueTest, lostTicketFallsBackOnTheSmallestPresent) {
  smallQueue queue;
  for (int i = 0; i < 9; i++) queue.push(i); // the ninth ticket is lost
  int value;
  for (int i = 0; i < 8; i++) ASSERT_TRUE(queue.pop(value));
  EXPECT_TRUE(queue.push(100)); // ticket 10 while 9 is expected
  ASSERT_TRUE(queue.pop(value));
  EXPECT_EQ(value, 100);
}

TEST(mpscQueueTest, twoThreadsAreMergedInTicketOrder) {
  smallQueue queue;
  std::atomic<int> step{0};
  std::thread other([&] {
    while (step != 1) std::this_thread::yield();
    queue.push(1);
    queue.push(2);
    step = 2;
    while (step != 3) std::this_thread::yield();
    queue.push(4);
    step = 4;
  });
  queue.push(0);
  step = 1;
  while (step != 2) std::this_thread::yield();
  queue.push(3);
  step = 3;
  while (step != 4) std::this_thread::yield();
  queue.push(5);
  other.join();
  EXPECT_EQ(queue.producers(), 2);
  EXPECT_EQ(drained(queue), (std::vector<int>{0, 1, 2, 3, 4, 5}));
}

TEST(mpscQueueTest, ticketsRunThroughTheirWrap) {
  smallQueue queue(0xFFFFFFFEu);
  for (int round = 0; round < 4; round++) {
    for (int i = 0; i < 3; i++) EXPECT_TRUE(queue.push(10 * round + i));
    EXPECT_EQ(drained(queue), (std::vector<int>{10 * round, 10 * round + 1, 10 * round + 2}));
  }
}

TEST(mpscQueueTest, thirtyThirdProducerIsRefusedAndTheOthersGoOn) {
  smallQueue queue;
  constexpr int threads = 33;
  std::latch all(threads), done(threads);
  std::atomic<int> refused{0};
  std::vector<std::thread> producers;
  for (int i = 0; i < threads; i++)
    producers.emplace_back([&, i] {
      all.arrive_and_wait();
      if (!queue.push(i)) refused++;
      done.arrive_and_wait(); // no thread ends before all have an id of their own
    });
  for (auto& t : producers) t.join();
  EXPECT_EQ(refused, 1);
  EXPECT_EQ(drained(queue).size(), 32u);
}

TEST(mpscQueueTest, concurrentProducersLoseNothingAndKeepTheirOwnOrder) {
  mpscQueue<int, 65> queue(0xFFFFFF00u); // the tickets wrap in the middle
  constexpr int threads = 4, each = 20000;
  std::vector<std::thread> producers;
  for (int t = 0; t < threads; t++)
    producers.emplace_back([&, t] {
      for (int i = 0; i < each; i++)
        while (!queue.push(t * each + i)) std::this_thread::yield();
    });
  std::vector<int> next(threads);
  for (int taken = 0; taken < threads * each;) {
    int value;
    if (!queue.pop(value)) {
      std::this_thread::yield();
      continue;
    }
    EXPECT_EQ(value % each, next[static_cast<size_t>(value / each)]++);
    taken++;
  }
  for (auto& t : producers) t.join();
}

TEST(mpscQueueTest, elementsAreDestroyedExactlyOnce) {
  auto token = std::make_shared<int>(1);
  mpscQueue<std::shared_ptr<int>, 4> queue;
  for (int i = 0; i < 5; i++) queue.push(token); // two of them refused
  EXPECT_EQ(token.use_count(), 4);
  for (std::shared_ptr<int> out; queue.pop(out);) {
  }
  EXPECT_EQ(token.use_count(), 1);
}
