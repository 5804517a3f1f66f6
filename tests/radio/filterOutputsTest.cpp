#include "radio/filterOutputs.h"
#include <algorithm>
#include <gtest/gtest.h>

using namespace larch;

namespace {

std::shared_ptr<J16> row(int32_t maxfrequency, int32_t rx, int32_t tx) {
  auto r = keptByCore(std::make_shared<J16>(nullptr));
  r->maxfrequency.set(maxfrequency);
  r->rx.set(rx);
  r->tx.set(tx);
  return r;
}
struct filterSet : J16Filter {
  filterSet() : J16Filter(nullptr) {
    Deleted = [](int32_t) {};
  }
  void band(int32_t maxfrequency, int32_t tx) {
    auto r = keptByCore(std::make_shared<J16FilterBands>(nullptr));
    r->maxfrequency.set(maxfrequency);
    r->tx.set(tx);
    FilterBands.append(r);
  }
  void receive(int32_t rx) {
    auto r = keptByCore(std::make_shared<J16FilterRx>(nullptr));
    r->rx.set(rx);
    FilterRx.append(r);
  }
};

std::vector<hwReceiver> tunedTo(std::initializer_list<int32_t> frequencies) {
  std::vector<hwReceiver> receivers(frequencies.size());
  std::transform(frequencies.begin(), frequencies.end(), receivers.begin(), [](int32_t f) {
    hwReceiver hw;
    hw.frequency = f;
    return hw;
  });
  return receivers;
}

} // namespace

TEST(filterOutputsTest, aFrequencyEqualToARowsUpperEndBelongsToIt) {
  const asyncCollection<J16>::list rows{row(2498270, 1, 2), row(4282749, 3, 4)};
  EXPECT_EQ(flatFilterOutputs(rows, 2498270, false), 1);
  EXPECT_EQ(flatFilterOutputs(rows, 2498270, true), 2);
  EXPECT_EQ(flatFilterOutputs(rows, 2498271, false), 3);
  EXPECT_EQ(flatFilterOutputs(rows, 4282749, true), 4);
  EXPECT_EQ(flatFilterOutputs(rows, 0, true), 2);
}

TEST(filterOutputsTest, aFrequencyAboveTheLastRowHasNoBits) {
  EXPECT_EQ(flatFilterOutputs({row(2498270, 1, 2)}, 2498271, false), 0);
  EXPECT_EQ(flatFilterOutputs({}, 7000000, true), 0);
}

TEST(filterOutputsTest, rowsOutOfOrderGiveTheFirstMatchAndNullRowsAreSkipped) {
  const asyncCollection<J16>::list rows{nullptr, row(9000000, 1, 2), nullptr, row(3000000, 3, 4)};
  EXPECT_EQ(flatFilterOutputs(rows, 2000000, false), 1);
  EXPECT_EQ(flatFilterOutputs(rows, 9000001, false), 0);
}

TEST(filterOutputsTest, transmitBitsOfASetGoByTheBand) {
  filterSet set;
  EXPECT_EQ(transmitFilterOutputs(set, 1), 0);
  set.band(1000, 5);
  set.band(2000, 6);
  EXPECT_EQ(transmitFilterOutputs(set, 1000), 5);
  EXPECT_EQ(transmitFilterOutputs(set, 1001), 6);
  EXPECT_EQ(transmitFilterOutputs(set, 2001), 0);
}

TEST(filterOutputsTest, receiveBitsOfASetGoByTheMaskOfAllReceiversBands) {
  filterSet set;
  for (int32_t i = 1; i <= 4; i++) set.band(i * 1000, 0);
  for (int32_t i = 0; i < 8; i++) set.receive(100 + i);
  const auto bandsOneAndThree = tunedTo({1500, 3500});
  EXPECT_EQ(receiveFilterOutputs(set, bandsOneAndThree), 0) << "the mask is 10, beyond the table";
  for (int32_t i = 8; i < 16; i++) set.receive(100 + i);
  EXPECT_EQ(receiveFilterOutputs(set, bandsOneAndThree), 110);
  const auto same = tunedTo({1500, 1600, 2000});
  EXPECT_EQ(receiveFilterOutputs(set, same), 102);
  const auto above = tunedTo({5000});
  EXPECT_EQ(receiveFilterOutputs(set, above), 100) << "no band at all is row 0";
  const auto oneAbove = tunedTo({5000, 1});
  EXPECT_EQ(receiveFilterOutputs(set, oneAbove), 101);
  EXPECT_EQ(receiveFilterOutputs(set, {}), 100);
}

TEST(filterOutputsTest, nullRowsOfASetKeepTheirPlaces) {
  filterSet set;
  set.FilterBands.append(nullptr);
  set.band(1000, 9);
  set.receive(100);
  set.receive(101);
  set.receive(102);
  set.FilterRx.append(nullptr);
  const auto frequency = tunedTo({500});
  EXPECT_EQ(receiveFilterOutputs(set, frequency), 102);
  EXPECT_EQ(transmitFilterOutputs(set, 500), 9);
  set.FilterBands.items[0] = set.FilterBands.items[1];
  set.FilterRx.items.resize(2);
  set.FilterBands.append(nullptr); // publishes
  set.FilterRx.append(nullptr);
  EXPECT_EQ(receiveFilterOutputs(set, frequency), 101);
}

TEST(filterOutputsTest, manyBandsAndEmptyTablesAreLegal) {
  filterSet set;
  const auto low = tunedTo({1}), high = tunedTo({1000000});
  EXPECT_EQ(receiveFilterOutputs(set, low), 0);
  set.receive(7);
  EXPECT_EQ(receiveFilterOutputs(set, low), 7) << "no bands: row 0";
  for (int32_t i = 1; i <= 100; i++) set.band(i * 10000, 0);
  EXPECT_EQ(receiveFilterOutputs(set, high), 0);
  EXPECT_EQ(receiveFilterOutputs(set, low), 0);
}
