#include "runtime/syncTask.h"
#include "tests/runtime/testGroup.h"
#include <atomic>
#include <gtest/gtest.h>
#include <stdexcept>
#include <thread>
#include <vector>

using namespace larch;

namespace {

struct syncTaskTest : testing::Test {
  testGroup g;
  std::shared_ptr<asyncObject> object = keptByCore(std::make_shared<asyncObject>(g.group));
  std::vector<int> order;

  seqTask note(int value) {
    return seqTask([this, value] { order.push_back(value); }, "note");
  }
};

} // namespace

TEST_F(syncTaskTest, thousandAndTwentyFourSetsAreKeptAndTheNextIsLost) {
  for (int i = 0; i < 1025; i++) object->queueSetItem(note(i));
  g.turns();
  ASSERT_EQ(order.size(), 1024u);
  EXPECT_EQ(order.back(), 1023);
}

TEST_F(syncTaskTest, allSetsRunBeforeOneProcessTaskOfATurn) {
  object->queueSeqProcess(note(10));
  object->queueSeqProcess(note(11));
  object->queueSetItem(note(0));
  object->queueSetItem(note(1));
  EXPECT_TRUE(g.pool->turn());
  EXPECT_EQ(order, (std::vector<int>{0, 1, 10}));
  EXPECT_TRUE(g.pool->turn());
  EXPECT_EQ(order, (std::vector<int>{0, 1, 10, 11}));
  EXPECT_FALSE(g.pool->turn());
}

TEST_F(syncTaskTest, taskPostedToItsOwnGroupRunsInALaterTurn) {
  object->queueSeqProcess(seqTask(
      [this] {
        object->queueSeqProcess(note(2));
        order.push_back(1);
      },
      "self"));
  EXPECT_TRUE(g.pool->turn());
  EXPECT_EQ(order, (std::vector<int>{1}));
  EXPECT_TRUE(g.pool->turn());
  EXPECT_EQ(order, (std::vector<int>{1, 2}));
}

TEST_F(syncTaskTest, setThatArrivesDuringAProcessTaskRunsAheadOfOlderProcessTasks) {
  object->queueSeqProcess(seqTask([this] { object->queueSetItem(note(1)); }, "poster"));
  object->queueSeqProcess(note(2));
  g.turns();
  EXPECT_EQ(order, (std::vector<int>{1, 2}));
}

TEST_F(syncTaskTest, setThatArrivesDuringTheLastProcessTaskWakesTheGroupAgain) {
  object->queueSeqProcess(seqTask([this] { object->queueSetItem(note(1)); }, "poster"));
  EXPECT_TRUE(g.pool->turn());
  EXPECT_TRUE(order.empty());
  EXPECT_TRUE(g.pool->turn());
  EXPECT_EQ(order, (std::vector<int>{1}));
}

TEST_F(syncTaskTest, setPostedWhileSetsDrainRunsInTheSameTurn) {
  object->queueSetItem(seqTask([this] { object->queueSetItem(note(1)); }, "poster"));
  EXPECT_TRUE(g.pool->turn());
  EXPECT_EQ(order, (std::vector<int>{1}));
  EXPECT_FALSE(g.pool->turn());
}

TEST_F(syncTaskTest, throwingAndEmptyTasksDontStopTheGroup) {
  object->queueSetItem(seqTask([] { throw std::runtime_error("set"); }, "set"));
  object->queueSetItem(seqTask([] { throw 1; }, "unknown"));
  object->queueSetItem(seqTask(nullptr, "empty"));
  object->queueSetItem(note(1));
  object->queueSeqProcess(seqTask([] { throw std::runtime_error("process"); }, "process"));
  object->queueSeqProcess(note(2));
  g.turns();
  EXPECT_EQ(order, (std::vector<int>{1, 2}));
  object->queueSeqProcess(note(3)); // the group isn't left in the scheduled state
  g.turns();
  EXPECT_EQ(order.back(), 3);
}

TEST_F(syncTaskTest, fullProcessRingLosesTheTaskAndTheGroupGoesOn) {
  for (int i = 0; i < 1030; i++) object->queueSeqProcess(note(i));
  g.turns();
  EXPECT_EQ(order.size(), 1024u);
  object->queueSeqProcess(note(-1));
  g.turns();
  EXPECT_EQ(order.back(), -1);
}

TEST_F(syncTaskTest, pendingTaskKeepsItsObjectAlive) {
  std::weak_ptr<asyncObject> watch = object;
  object->queueSeqProcess(seqTask([held = object] { static_cast<void>(held); }, "held"));
  object.reset();
  EXPECT_FALSE(watch.expired());
  g.turns();
  EXPECT_TRUE(watch.expired());
}

TEST(syncTaskConcurrentTest, groupsOfManyProducersRunSeriallyAndLoseNothing) {
  auto* pool = new sothreadpool(4);                                      // workers live until the process ends
  constexpr int groups = 6, producers = 3, each = 3000, inFlight = 1000; // a ring takes 1024
  struct counted {
    std::shared_ptr<asyncObject> object;
    std::atomic<int> inside{0};
    std::atomic<int> done[producers] = {};
    int64_t plain = 0; // touched by tasks of the group only
  };
  std::vector<std::unique_ptr<counted>> all;
  for (int i = 0; i < groups; i++) {
    all.push_back(std::make_unique<counted>());
    all.back()->object = keptByCore(std::make_shared<asyncObject>(std::make_shared<syncTask>(pool)));
  }
  std::atomic<bool> overlap{false};
  std::vector<std::thread> threads;
  for (int p = 0; p < producers; p++)
    threads.emplace_back([&, p] {
      for (int i = 0; i < each; i++)
        for (auto& c : all) {
          counted* target = c.get();
          while (i - target->done[p] >= inFlight) std::this_thread::yield();
          target->object->queueSeqProcess(seqTask(
              [target, p, &overlap] {
                if (target->inside.exchange(1) != 0) overlap = true;
                target->plain++;
                target->inside = 0;
                target->done[p]++;
              },
              "count"));
        }
    });
  for (auto& t : threads) t.join();
  for (auto& c : all)
    for (auto& done : c->done)
      while (done != each) std::this_thread::yield();
  EXPECT_FALSE(overlap);
  for (auto& c : all) EXPECT_EQ(c->plain, producers * each);
}
