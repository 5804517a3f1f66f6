#include "runtime/ValueLabelItem.h"
#include "runtime/asyncCollection.h"
#include "tests/runtime/testGroup.h"
#include <gtest/gtest.h>
#include <limits>

using namespace larch;

namespace {

struct heard {
  int32_t action, index;
  std::shared_ptr<ValueLabelItem> item;
};
std::vector<heard> rows;

void hear(int32_t action, int32_t index, handle* item) {
  rows.push_back({action, index, std::static_pointer_cast<ValueLabelItem>(item->object)});
  delete item;
}

class holder : public asyncObject {
 public:
  using asyncObject::asyncObject;
  asyncCollection<ValueLabelItem> list;
};

struct asyncCollectionTest : testing::Test {
  testGroup g;
  std::shared_ptr<holder> object = keptByCore(std::make_shared<holder>(g.group));
  int observed = 0;

  asyncCollectionTest() {
    rows.clear();
    object->list.observer = [this] { observed++; };
  }
  ~asyncCollectionTest() override { rows.clear(); }
  std::shared_ptr<ValueLabelItem> row(int32_t value) { return keptByCore(std::make_shared<ValueLabelItem>(g.group, value, "")); }
  void fill(int32_t n) {
    for (int32_t i = 0; i < n; i++) object->list.set(collectionAppend, 0, row(i));
  }
  void bind() { object->list.bind(object.get(), hear); }
  void poll() { g.pool->getUpdates(); }
};

} // namespace

TEST_F(asyncCollectionTest, bindDeliversEveryRowInOrderAtTheNextPoll) {
  fill(3);
  bind();
  EXPECT_TRUE(rows.empty());
  poll();
  ASSERT_EQ(rows.size(), 3u);
  for (int32_t i = 0; i < 3; i++) {
    EXPECT_EQ(rows[static_cast<size_t>(i)].action, 3);
    EXPECT_EQ(rows[static_cast<size_t>(i)].index, 0);
    EXPECT_EQ(rows[static_cast<size_t>(i)].item->Value.value, i);
  }
}

TEST_F(asyncCollectionTest, eachBindDeliversAllRowsAgain) {
  fill(2);
  bind();
  bind();
  poll();
  EXPECT_EQ(rows.size(), 4u);
}

TEST_F(asyncCollectionTest, bindToAnEmptyListPostsNothing) {
  bind();
  poll();
  EXPECT_TRUE(rows.empty());
}

TEST_F(asyncCollectionTest, bindWithANullCallbackUnbinds) {
  fill(1);
  bind();
  poll();
  object->list.bind(object.get(), nullptr);
  object->list.append(row(7));
  poll();
  EXPECT_EQ(rows.size(), 1u);
}

TEST_F(asyncCollectionTest, aRowOutlivesItsListUntilTheHostHasHeardOfIt) {
  fill(1);
  bind();
  object->list.reset();
  poll();
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(rows[0].item->Value.value, 0);
}

TEST_F(asyncCollectionTest, theHostsAppendIsSilent) {
  bind();
  fill(2);
  poll();
  EXPECT_TRUE(rows.empty());
  EXPECT_EQ(observed, 0);
  EXPECT_EQ(object->list.items.size(), 2u);
}

TEST_F(asyncCollectionTest, theCoresAppendRunsTheObserverAndTellsTheHost) {
  bind();
  object->list.append(row(9));
  EXPECT_EQ(observed, 1);
  poll();
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(rows[0].action, 3);
  EXPECT_EQ(rows[0].index, 0);
  EXPECT_EQ(rows[0].item->Value.value, 9);
}

TEST_F(asyncCollectionTest, appendCapturesTheCallbackOfItsMoment) {
  bind();
  object->list.append(row(1));
  object->list.bind(object.get(), nullptr);
  poll();
  EXPECT_EQ(rows.size(), 1u);
}

TEST_F(asyncCollectionTest, putReplacesARowAndRunsTheObserverOnce) {
  fill(3);
  const auto item = row(42);
  object->list.set(collectionPut, 1, item);
  object->list.set(collectionPut, 1, item); // the same pointer again
  EXPECT_EQ(observed, 1);
  EXPECT_EQ(object->list.items.size(), 3u);
  EXPECT_EQ(object->list.items[1], item);
}

TEST_F(asyncCollectionTest, putBehindTheEndGrowsToTwiceTheIndex) {
  fill(4);
  object->list.set(collectionPut, 4, row(42));
  ASSERT_EQ(object->list.items.size(), 8u);
  EXPECT_EQ(object->list.items[4]->Value.value, 42);
  for (const size_t i : {5u, 6u, 7u}) EXPECT_EQ(object->list.items[i], nullptr);
  bind();
  poll();
  ASSERT_EQ(rows.size(), 8u);
  EXPECT_EQ(rows[3].item->Value.value, 3);
  EXPECT_EQ(rows[5].item, nullptr); // a handle that holds null
}

TEST_F(asyncCollectionTest, anEmptyListNeverGrowsByAPut) {
  for (const int32_t index : {0, 1, 5}) {
    object->list.set(collectionPut, index, row(1));
    EXPECT_TRUE(object->list.items.empty());
  }
  EXPECT_EQ(observed, 0);
}

TEST_F(asyncCollectionTest, anIndexThatCantBeHadThrowsAndLeavesTheListAsItWas) {
  for (const int32_t present : {0, 4}) {
    object->list.reset();
    fill(present);
    const auto before = object->list.items;
    for (const int32_t index : {-1, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()}) {
      EXPECT_THROW(object->list.set(collectionPut, index, row(1)), std::exception);
      EXPECT_EQ(object->list.items, before);
    }
  }
  EXPECT_EQ(observed, 0);
}

TEST_F(asyncCollectionTest, clearAndResetAreSilent) {
  bind();
  fill(2);
  object->list.set(collectionClear, 0, nullptr);
  EXPECT_TRUE(object->list.items.empty());
  fill(2);
  object->list.reset();
  EXPECT_TRUE(object->list.items.empty());
  object->list.reset();
  poll();
  EXPECT_TRUE(rows.empty());
  EXPECT_EQ(observed, 0);
}

TEST_F(asyncCollectionTest, otherActionsDoNothing) {
  fill(2);
  const auto before = object->list.items;
  for (const int32_t action : {1, 2, 5, -1, 1000}) object->list.set(action, 0, row(1));
  EXPECT_EQ(object->list.items, before);
  EXPECT_EQ(observed, 0);
}

namespace {
std::vector<int32_t> values;
std::vector<std::string> labels;
} // namespace

TEST(ValueLabelItemTest, bindDeliversValueAndLabelAtOnce) {
  testGroup g;
  values.clear();
  labels.clear();
  const auto item = keptByCore(std::make_shared<ValueLabelItem>(g.group, 48000, "48k"));
  item->Value.bind(item.get(), [](int32_t v) { values.push_back(v); });
  item->Label.bind(item.get(), [](const char* v) { labels.push_back(v); });
  g.pool->getUpdates();
  EXPECT_EQ(values, std::vector<int32_t>{48000});
  EXPECT_EQ(labels, std::vector<std::string>{"48k"});
}

TEST(ValueLabelItemTest, aFreshRowDeliversZeroAndAnEmptyLabel) {
  testGroup g;
  values.clear();
  labels.clear();
  const auto item = keptByCore(std::make_shared<ValueLabelItem>(g.group));
  item->Value.bind(item.get(), [](int32_t v) { values.push_back(v); });
  item->Label.bind(item.get(), [](const char* v) { labels.push_back(v); });
  g.pool->getUpdates();
  EXPECT_EQ(values, std::vector<int32_t>{0});
  EXPECT_EQ(labels, std::vector<std::string>{""});
}
