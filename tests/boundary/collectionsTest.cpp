// Lists as a host sees them.
#include "tests/boundary/testHost.h"
#include <gtest/gtest.h>
#include <vector>

using namespace testHost;

namespace {

struct row {
  int32_t action, index;
  J16FilterBands* item;
};
std::vector<row> rows;
void hear(int32_t action, int32_t index, J16FilterBands* item) { rows.push_back({action, index, item}); }

struct collectionsTest : testing::Test {
  J16Filter* filter;
  collectionsTest() {
    start();
    filter = watched(J16Filter_create());
    rows.clear();
  }
  ~collectionsTest() override {
    drop();
    EXPECT_TRUE(releaseAndWait(filter));
  }
  static void drop() {
    for (const row& r : rows) J16FilterBands_release(r.item);
    rows.clear();
  }
  // a row with this frequency, held by the list alone
  void set(int32_t action, int32_t index, int32_t frequency) {
    J16FilterBands* band = watched(J16FilterBands_create());
    J16FilterBands_setmaxfrequency(band, frequency);
    J16Filter_setFilterBands(filter, action, index, band);
    J16FilterBands_release(band);
  }
  // How many rows the list has, by a bind.
  size_t size() {
    drop();
    EXPECT_TRUE(settle(filter));
    J16Filter_bindFilterBands(filter, hear);
    EXPECT_TRUE(settle(filter));
    return rows.size();
  }
};

} // namespace

TEST_F(collectionsTest, bindDeliversEveryRowAtTheNextPoll) {
  for (int32_t i = 0; i < 3; i++) set(larch_append, 0, i);
  EXPECT_TRUE(settle(filter));
  J16Filter_bindFilterBands(filter, hear);
  EXPECT_TRUE(rows.empty());
  EXPECT_TRUE(settle(filter));
  ASSERT_EQ(rows.size(), 3u);
  for (const row& r : rows) {
    EXPECT_EQ(r.action, 3);
    EXPECT_EQ(r.index, 0);
    ASSERT_NE(r.item, nullptr);
  }
  EXPECT_EQ(size(), 3u); // and again at each bind
}

TEST_F(collectionsTest, theHostsAppendIsSilent) {
  J16Filter_bindFilterBands(filter, hear);
  set(larch_append, 0, 1);
  EXPECT_TRUE(settle(filter));
  EXPECT_TRUE(rows.empty());
  EXPECT_EQ(size(), 1u);
}

TEST_F(collectionsTest, aRowIsAFullObjectBehindANewHandle) {
  J16FilterBands* mine = watched(J16FilterBands_create());
  J16Filter_setFilterBands(filter, larch_append, 0, mine);
  ASSERT_EQ(size(), 1u);
  EXPECT_NE(rows[0].item, mine);
  // both handles reach the same object: the end comes when the last one has gone
  const int before = deletions();
  J16FilterBands_release(mine);
  J16Filter_resetFilterBands(filter);
  EXPECT_TRUE(settle(filter));
  EXPECT_EQ(deletions(), before);
  drop();
  EXPECT_TRUE(pollUntil([before] { return deletions() == before + 1; }));
}

TEST_F(collectionsTest, putBehindTheEndGrowsToTwiceTheIndexWithRowsThatHoldNothing) {
  for (int32_t i = 0; i < 4; i++) set(larch_append, 0, i);
  set(larch_put, 4, 4);
  ASSERT_EQ(size(), 8u);
  J16FilterBands* nothing = rows[6].item; // a handle without an object: whatever is asked of it does nothing
  ASSERT_NE(nothing, nullptr);
  J16FilterBands_setmaxfrequency(nothing, 1);
  J16FilterBands_bindtx(nothing, [](int32_t) {});
  asyncObject_bindDeleted(base(nothing), [](int32_t) {});
  asyncObject_Ping(base(nothing), 1);
  J16Filter_setFilterBands(filter, larch_append, 0, nothing);
  EXPECT_EQ(size(), 9u);
}

TEST_F(collectionsTest, putIntoAnEmptyListDoesNothing) {
  const size_t errors = logged().size();
  for (const int32_t index : {0, 1, 7}) set(larch_put, index, 1);
  EXPECT_EQ(size(), 0u);
  EXPECT_EQ(logged().size(), errors);
}

TEST_F(collectionsTest, anIndexThatCantBeHadIsLoggedAndLeavesTheList) {
  for (int32_t i = 0; i < 2; i++) set(larch_append, 0, i);
  EXPECT_TRUE(settle(filter));
  const std::string words = "processPropertySetQueue collection index out of range J16Filter.FilterBands.set";
  const size_t before = count(logged(), words);
  set(larch_put, -1, 1);
  set(larch_put, INT32_MAX, 1);
  set(larch_put, INT32_MIN, 1);
  EXPECT_EQ(size(), 2u);
  EXPECT_EQ(count(logged(), words), before + 3);
}

TEST_F(collectionsTest, otherActionsDoNothing) {
  set(larch_append, 0, 1);
  for (const int32_t action : {1, 2, 5, -1, INT32_MAX}) set(action, 0, 2);
  EXPECT_EQ(size(), 1u);
}

TEST_F(collectionsTest, clearAndResetEmptyTheListSilently) {
  for (int32_t i = 0; i < 3; i++) set(larch_append, 0, i);
  EXPECT_EQ(size(), 3u);
  drop();
  set(larch_clear, 0, 1);
  EXPECT_TRUE(settle(filter));
  EXPECT_TRUE(rows.empty());
  EXPECT_EQ(size(), 0u);
  set(larch_append, 0, 1);
  J16Filter_resetFilterBands(filter);
  J16Filter_resetFilterBands(filter);
  EXPECT_EQ(size(), 0u);
}

TEST_F(collectionsTest, theDetectorsOfTheBandScannerAreThere) {
  PskModDemod* mode = watched(PskModDemod_create());
  static std::vector<PskDetector*> detectors;
  static std::vector<ValueLabelItem*> choices;
  static std::vector<int32_t> frequencies;
  static std::vector<std::string> names;
  detectors.clear();
  choices.clear();
  frequencies.clear();
  names.clear();
  PskModDemod_binddets(mode, [](int32_t, int32_t, PskDetector* d) { detectors.push_back(d); });
  PskModDemod_bindModes(mode, [](int32_t, int32_t, ValueLabelItem* v) { choices.push_back(v); });
  EXPECT_TRUE(settle(mode));
  EXPECT_EQ(detectors.size(), 66u);
  for (PskDetector* d : detectors) {
    PskDetector_bindfreq(d, [](int32_t v) { frequencies.push_back(v); });
    PskDetector_bindMode(d, [](const char* v) { names.push_back(v); });
  }
  EXPECT_TRUE(settle(mode));
  ASSERT_EQ(frequencies.size(), 66u);
  EXPECT_EQ(frequencies[0], 100);
  EXPECT_EQ(frequencies[59], 3000);
  EXPECT_EQ(frequencies[65], 1500);
  ASSERT_EQ(names.size(), 66u);
  EXPECT_EQ(names[30], "PSK63");
  EXPECT_EQ(names[65], "QPSK125");
  names.clear();
  for (ValueLabelItem* v : choices) ValueLabelItem_bindLabel(v, [](const char* t) { names.push_back(t); });
  EXPECT_TRUE(settle(mode));
  EXPECT_EQ(names, (std::vector<std::string>{"PSK31", "PSK63", "PSK125", "QPSK31", "QPSK63", "QPSK125"}));
  for (ValueLabelItem* v : choices) ValueLabelItem_release(v);
  for (PskDetector* d : detectors) PskDetector_release(d);
  EXPECT_TRUE(releaseAndWait(mode));
}
