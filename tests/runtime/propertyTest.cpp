#include "runtime/property.h"
#include "tests/runtime/testGroup.h"
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

using namespace larch;

namespace {

std::vector<double> levels;
std::vector<int32_t> counts;
std::vector<std::string> texts;
std::vector<handle*> parts;
int deleted;

struct propertyTest : testing::Test {
  testGroup g;
  std::shared_ptr<sample> object = std::make_shared<sample>(g.group);
  propertyTest() {
    levels.clear();
    counts.clear();
    texts.clear();
    parts.clear();
    deleted = 0;
    object->Deleted = [](int32_t) { deleted++; };
  }
  ~propertyTest() override {
    for (handle* h : parts) delete h;
    object.reset();
    g.pool->getUpdates();
  }
  void bindAll() {
    object->level.bind(object.get(), [](double v) { levels.push_back(v); });
    object->count.bind(object.get(), [](int32_t v) { counts.push_back(v); });
    object->text.bind(object.get(), [](const char* v) { texts.push_back(v); });
    object->part.bind(object.get(), [](handle* v) { parts.push_back(v); });
  }
};

} // namespace

TEST_F(propertyTest, setOfThePresentValueRunsNoObserver) {
  int observed = 0;
  object->count.observer = [&] { observed++; };
  object->count.set(5);
  EXPECT_EQ(observed, 0);
  object->count.set(6);
  EXPECT_EQ(observed, 1);
}

TEST_F(propertyTest, settingNanTakesEffectEveryTime) {
  int observed = 0;
  object->level.observer = [&] { observed++; };
  object->level.set(std::numeric_limits<double>::quiet_NaN());
  object->level.set(std::numeric_limits<double>::quiet_NaN());
  EXPECT_EQ(observed, 2);
}

TEST_F(propertyTest, bindBeforeAnyOwnWriteDeliversNothingEvenAfterASet) {
  object->count.set(9);
  bindAll();
  g.pool->getUpdates();
  EXPECT_TRUE(counts.empty());
  EXPECT_TRUE(texts.empty());
}

TEST_F(propertyTest, bindAfterAnOwnWriteDeliversOnceAtTheNextPoll) {
  object->count.write(5); // the same value: still an own write
  object->text.write("now");
  bindAll();
  EXPECT_TRUE(counts.empty()); // not inside the bind
  g.pool->getUpdates();
  EXPECT_EQ(counts, (std::vector<int32_t>{5}));
  EXPECT_EQ(texts, (std::vector<std::string>{"now"}));
  g.pool->getUpdates();
  EXPECT_EQ(counts.size(), 1u);
}

TEST_F(propertyTest, bindOfNullUnbinds) {
  object->count.write(7);
  bindAll();
  g.pool->getUpdates();
  object->count.bind(object.get(), nullptr);
  object->count.write(8);
  g.pool->getUpdates();
  EXPECT_EQ(counts, (std::vector<int32_t>{7}));
}

TEST_F(propertyTest, theHostGetsNoEchoOfItsOwnSet) {
  bindAll();
  object->count.set(6);
  EXPECT_FALSE(object->count.hasValue);
  g.pool->getUpdates();
  EXPECT_TRUE(counts.empty());
}

TEST_F(propertyTest, twoOwnWritesDeliverBothNumbersButTheNewestTextTwice) {
  bindAll();
  object->count.write(6);
  object->count.write(7);
  object->text.write("one");
  object->text.write("two");
  g.pool->getUpdates();
  EXPECT_EQ(counts, (std::vector<int32_t>{6, 7}));
  EXPECT_EQ(texts, (std::vector<std::string>{"two", "two"}));
}

TEST_F(propertyTest, unchangedOwnWriteTellsNobodyButSetsHasValue) {
  bindAll();
  object->count.write(5);
  g.pool->getUpdates();
  EXPECT_TRUE(counts.empty());
  EXPECT_TRUE(object->count.hasValue);
}

TEST_F(propertyTest, objectsComeAsHandlesThatTheHostOwnsAndASetCountsAsAValue) {
  bindAll();
  auto part = keptByCore(std::make_shared<asyncObject>(g.group));
  object->part.write(part);
  g.pool->getUpdates();
  ASSERT_EQ(parts.size(), 1u);
  EXPECT_EQ(parts[0]->object, part);
  object->part.hasValue = false;
  object->part.set(part); // unchanged
  EXPECT_TRUE(object->part.hasValue);
}

TEST_F(propertyTest, textThatIsUnboundBeforeThePollEndsAsALoggedException) {
  bindAll();
  object->text.write("late");
  object->text.bind(object.get(), nullptr);
  g.pool->getUpdates();
  EXPECT_TRUE(texts.empty());
}

TEST_F(propertyTest, stringsCompareByLengthAndBytes) {
  int observed = 0;
  object->text.observer = [&] { observed++; };
  object->text.set(std::string("start\0x", 7));
  EXPECT_EQ(observed, 1);
  object->text.set(std::string("start\0x", 7));
  EXPECT_EQ(observed, 1);
}

TEST_F(propertyTest, deletedComesAfterAllOtherUpdatesOfTheObject) {
  bindAll();
  object->count.write(6);
  object.reset(); // the pending update still holds it
  EXPECT_EQ(deleted, 0);
  g.pool->getUpdates();
  EXPECT_EQ(counts, (std::vector<int32_t>{6}));
  g.pool->getUpdates(); // the first poll dropped the last reference behind its last pop
  EXPECT_EQ(deleted, 1);
  object = std::make_shared<sample>(g.group);
  object->Deleted = [](int32_t) {};
}

TEST_F(propertyTest, objectWithoutAGroupPostsNothing) {
  auto lost = std::make_shared<sample>(nullptr);
  lost->count.write(3);
  lost->count.bind(lost.get(), [](int32_t v) { counts.push_back(v); });
  lost->queueSetItem(seqTask([] {}, "lost.set"));
  lost.reset();
  g.pool->getUpdates();
  EXPECT_TRUE(counts.empty());
}
