#include "runtime/sothreadpool.h"
#include "tests/runtime/testGroup.h"
#include <gtest/gtest.h>
#include <atomic>
#include <functional>
#include <stdexcept>
#include <thread>
#include <vector>

using namespace larch;

namespace {

struct sothreadpoolTest : testing::Test {
  testGroup g;
  std::shared_ptr<asyncObject> object = keptByCore(std::make_shared<asyncObject>(g.group));
  std::vector<int> seen;
};

int32_t echoed;

} // namespace

TEST_F(sothreadpoolTest, pollWithNothingPendingReturnsAtOnce) {
  g.pool->getUpdates();
  g.pool->getRenderUpdates();
  EXPECT_TRUE(seen.empty());
}

TEST_F(sothreadpoolTest, throwingUpdateIsLoggedAndTheRestRunsInTheSamePoll) {
  object->queueUpdate([] { throw std::runtime_error("host"); });
  object->queueUpdate([] { throw 1; });
  object->queueUpdate(nullptr);
  object->queueUpdate([this] { seen.push_back(1); });
  g.pool->getUpdates();
  EXPECT_EQ(seen, (std::vector<int>{1}));
}

TEST_F(sothreadpoolTest, updateCausedByACallbackRunsInTheSamePoll) {
  object->queueUpdate([this] { object->queueUpdate([this] { seen.push_back(2); }); });
  g.pool->getUpdates();
  EXPECT_EQ(seen, (std::vector<int>{2}));
}

TEST_F(sothreadpoolTest, renderRingKeepsSixtyFourFramesAndRefusesTheNext) {
  for (int i = 0; i < 64; i++) EXPECT_TRUE(object->queueRender([this, i] { seen.push_back(i); }));
  EXPECT_FALSE(object->queueRender([this] { seen.push_back(64); }));
  g.pool->getUpdates(); // the other road
  EXPECT_TRUE(seen.empty());
  g.pool->getRenderUpdates();
  ASSERT_EQ(seen.size(), 64u);
  for (int i = 0; i < 64; i++) EXPECT_EQ(seen[static_cast<size_t>(i)], i);
}

TEST_F(sothreadpoolTest, renderOfAnObjectWithoutAGroupIsRefused) {
  auto lost = std::make_shared<asyncObject>(nullptr);
  EXPECT_FALSE(lost->queueRender([] {}));
}

TEST_F(sothreadpoolTest, updateRingKeeps65536AndLosesTheRest) {
  for (int i = 0; i < 65540; i++) object->queueUpdate([this] { seen.push_back(1); });
  g.pool->getUpdates();
  EXPECT_EQ(seen.size(), 65536u);
}

TEST_F(sothreadpoolTest, pingComesBackThroughTheWorkerAtTheNextPoll) {
  object->Echo = [](int32_t value) { echoed = value; };
  object->queueSetItem(seqTask([this] { object->ping(7); }, "asyncObject.Ping()"));
  g.pool->getUpdates();
  EXPECT_EQ(echoed, 0);
  g.turns();
  g.pool->getUpdates();
  EXPECT_EQ(echoed, 7);
}

TEST_F(sothreadpoolTest, unboundEchoIsALoggedExceptionOfThePoll) {
  object->ping(1);
  object->queueUpdate([this] { seen.push_back(3); });
  g.pool->getUpdates();
  EXPECT_EQ(seen, (std::vector<int>{3}));
}

// A worker goes on by itself with a group that has work left.
TEST(sothreadpoolWorkerTest, aLoneWorkerFinishesEveryGroupInItsOrder) {
  static auto* pool = new sothreadpool(1);
  constexpr int groups = 3, tasks = 300;
  std::shared_ptr<asyncObject> objects[groups];
  for (auto& each : objects) each = keptByCore(std::make_shared<asyncObject>(std::make_shared<syncTask>(pool)));
  std::atomic<bool> posted{false};
  std::atomic<int> done{0};
  std::vector<int> order[groups]; // the worker's, until all is done
  objects[0]->queueSeqProcess(seqTask(
      [&] {
        while (!posted) std::this_thread::yield();
      },
      "test"));
  for (int i = 0; i < tasks; i++)
    for (int k = 0; k < groups; k++)
      objects[k]->queueSeqProcess(seqTask(
          [&order, &done, i, k] {
            order[k].push_back(i);
            done++;
          },
          "test"));
  posted = true;
  while (done < groups * tasks) std::this_thread::yield();
  for (const auto& each : order)
    for (int i = 0; i < tasks; i++) ASSERT_EQ(each[static_cast<size_t>(i)], i);
}

// However much another group has to do, and whichever thread posted it.
TEST(sothreadpoolWorkerTest, aGroupThatAlwaysHasWorkLeavesItsTurnToOthers) {
  static auto* pool = new sothreadpool(1);
  const auto busy = keptByCore(std::make_shared<asyncObject>(std::make_shared<syncTask>(pool)));
  const auto other = keptByCore(std::make_shared<asyncObject>(std::make_shared<syncTask>(pool)));
  constexpr int limit = 100000;
  std::atomic<bool> posted{false}, otherRan{false}, over{false};
  std::atomic<int> rounds{0};
  std::function<void()> again = [&] {
    while (!posted) std::this_thread::yield();
    if (otherRan || ++rounds == limit)
      over = true;
    else
      busy->queueSeqProcess(seqTask([&] { again(); }, "test"));
  };
  busy->queueSeqProcess(seqTask([&] { again(); }, "test"));
  other->queueSeqProcess(seqTask([&] { otherRan = true; }, "test"));
  posted = true;
  while (!over || !otherRan) std::this_thread::yield();
  EXPECT_LT(rounds, limit);
}

TEST_F(sothreadpoolTest, objectMayDieOnThePollingThread) {
  static int gone;
  object->Deleted = [](int32_t) { gone++; };
  object->queueUpdate([] {});
  object.reset();
  g.pool->getUpdates();
  g.pool->getUpdates(); // what dies behind the last pop is told in the next round
  EXPECT_EQ(gone, 1);
}
