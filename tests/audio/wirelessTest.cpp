#include "audio/Wireless.h"
#include "audio/deviceLists.h"
#include "tests/audio/wirelessGolden.h"
#include "tests/runtime/testGroup.h"
#include <cmath>
#include <gtest/gtest.h>
#include <map>
#include <thread>

using namespace larch;

namespace {

struct station : testGroup {
  std::shared_ptr<Wireless> wireless = keptByCore(Wireless::create(group));

  // A point as the host makes one: on the default group.
  std::shared_ptr<calibLine> point(double inp, double outp) {
    auto row = keptByCore(std::make_shared<calibLine>(group));
    row->inp.value = inp;
    row->outp.value = outp;
    return row;
  }
  void addPoint(double inp, double outp) { wireless->DefaultMicEQ.set(collectionAppend, 0, point(inp, outp)); }
  void init() {
    wireless->Init();
    turns();
  }
};

std::vector<float> curve() {
  buff<float> out;
  buildMicEq(out);
  EXPECT_EQ(out.count, 1024u);
  return {out.data, out.data + out.count};
}
void expectFlat() {
  for (const float v : curve()) ASSERT_EQ(v, 1.0f);
}

std::vector<std::string> labels;
std::vector<int32_t> values;

} // namespace

TEST(WirelessTest, showsTheDeviceListsAsCollections) {
  station s;
  ASSERT_EQ(s.wireless->inputDevices.items.size(), inputDevices().entries.size());
  ASSERT_EQ(s.wireless->outputDevices.items.size(), outputDevices().size());
  for (size_t i = 0; i < inputDevices().entries.size(); i++) {
    EXPECT_EQ(s.wireless->inputDevices.items[i]->Value.value, static_cast<int32_t>(i));
    EXPECT_EQ(s.wireless->inputDevices.items[i]->Label.value, inputDevices().entries[i]->name);
    EXPECT_EQ(s.wireless->inputDevices.items[i]->taskgroup, s.wireless->taskgroup);
  }
  for (size_t i = 0; i < outputDevices().size(); i++) {
    EXPECT_EQ(s.wireless->outputDevices.items[i]->Value.value, outputDevices()[i].id);
    EXPECT_EQ(s.wireless->outputDevices.items[i]->Label.value, outputDevices()[i].name);
  }
}

TEST(WirelessTest, bindDeliversEachDeviceWithItsValueAndLabel) {
  station s;
  labels.clear();
  values.clear();
  s.wireless->inputDevices.bind(s.wireless.get(), [](int32_t action, int32_t index, handle* row) {
    EXPECT_EQ(action, 3);
    EXPECT_EQ(index, 0);
    auto item = std::static_pointer_cast<ValueLabelItem>(row->object);
    item->Value.bind(item.get(), [](int32_t v) { values.push_back(v); });
    item->Label.bind(item.get(), [](const char* text) { labels.push_back(text); });
    delete row;
  });
  s.pool->getUpdates();
  s.pool->getUpdates();
  ASSERT_EQ(labels.size(), inputDevices().entries.size());
  EXPECT_EQ(labels[0], "None");
  EXPECT_EQ(values[0], 0);
}

TEST(WirelessTest, hasAGroupOfItsOwnOnTheGivenPool) {
  station s;
  EXPECT_NE(s.wireless->taskgroup, s.group);
  EXPECT_EQ(s.wireless->taskgroup->pool(), s.pool.get());
}

TEST(WirelessTest, initMakesNineFlatPointsThatABindDelivers) {
  station s;
  s.init();
  const double expected[] = {0, 64, 128, 300, 600, 1200, 2400, 4800, 24000};
  ASSERT_EQ(s.wireless->DefaultMicEQ.items.size(), 9u);
  for (size_t i = 0; i < 9; i++) {
    const auto& row = s.wireless->DefaultMicEQ.items[i];
    EXPECT_EQ(row->inp.value, expected[i]);
    EXPECT_EQ(row->outp.value, 1.0);
    EXPECT_TRUE(row->inp.hasValue);
    EXPECT_TRUE(row->outp.hasValue);
  }
  expectFlat();
}

TEST(WirelessTest, initKeepsTheHostsNinePoints) {
  station s;
  for (int i = 0; i < 9; i++) s.addPoint(i * 100, 2);
  s.init();
  ASSERT_EQ(s.wireless->DefaultMicEQ.items.size(), 9u);
  EXPECT_EQ(s.wireless->DefaultMicEQ.items[3]->inp.value, 300);
  EXPECT_EQ(s.wireless->DefaultMicEQ.items[3]->outp.value, 2);
}

TEST(WirelessTest, changesOfTheFirstNinePointsAreCounted) {
  station s;
  for (int i = 0; i < 10; i++) s.addPoint(i * 100, 1);
  EXPECT_EQ(micEqRevision(), 0);
  s.init();
  auto& rows = s.wireless->DefaultMicEQ.items;
  rows[0]->inp.set(5);
  rows[8]->outp.set(3);
  EXPECT_EQ(micEqRevision(), 2);
  rows[8]->outp.set(3); // no change
  rows[9]->outp.set(7); // nobody watches it
  EXPECT_EQ(micEqRevision(), 2);
  rows[4]->outp.set(std::nan(""));
  rows[4]->outp.set(std::nan(""));
  EXPECT_EQ(micEqRevision(), 4);
}

TEST(WirelessTest, initWithFewOrNullPointsWatchesWhatThereIs) {
  station s;
  s.addPoint(0, 1);
  s.wireless->DefaultMicEQ.set(collectionPut, 4, s.point(50, 1)); // grows to 8 rows, most of them null
  s.init();
  EXPECT_EQ(s.wireless->DefaultMicEQ.items.size(), 8u);
  s.wireless->DefaultMicEQ.items[4]->outp.set(2);
  EXPECT_EQ(micEqRevision(), 1);
}

TEST(WirelessTest, pointMayOutliveTheWireless) {
  station s;
  s.init();
  const auto row = s.wireless->DefaultMicEQ.items[0];
  s.wireless.reset();
  row->outp.set(2);
  EXPECT_EQ(row->outp.value, 2);
}

TEST(micEqTest, flatWithoutAWireless) {
  ASSERT_EQ(Wireless::current(), nullptr);
  EXPECT_EQ(micEqRevision(), -1);
  expectFlat();
}

TEST(micEqTest, flatWithFewerThanNinePointsOrANullOne) {
  station s;
  for (int i = 0; i < 8; i++) s.addPoint(i * 100, 2);
  expectFlat();
  s.addPoint(24000, 2);
  for (const float v : curve()) ASSERT_EQ(v, 2.0f);
  s.wireless->DefaultMicEQ.set(collectionPut, 3, nullptr);
  expectFlat();
}

TEST(micEqTest, lastWirelessCountsAndIsNotKeptAlive) {
  station first;
  for (int i = 0; i < 9; i++) first.addPoint(i * 100, 2);
  EXPECT_EQ(curve()[5], 2.0f);
  {
    station second;
    for (int i = 0; i < 9; i++) second.addPoint(i * 100, 3);
    EXPECT_EQ(curve()[5], 3.0f);
  }
  EXPECT_EQ(Wireless::current(), nullptr); // the last one is gone, the one before doesn't come back
  expectFlat();
}

TEST(micEqTest, gainsAreInterpolatedLinearlyBetweenThePoints) {
  station s;
  const std::map<double, double> points{{0, 0.5},    {100, 1},  {200, 3},    {400, 2},    {800, 0.1},
                                        {1600, 0.2}, {3000, 4}, {6000, 1.5}, {20000, 0.5}};
  for (const auto& [inp, outp] : points) s.addPoint(inp, outp);
  const auto out = curve();
  for (int k = 0; k < 1024; k++) {
    const double f = k * 24000.0 / 1024;
    auto upper = points.lower_bound(f);
    if (upper == points.begin()) ++upper;
    if (upper == points.end()) --upper; // the last segment goes on
    const auto lower = std::prev(upper);
    const double x = (f - lower->first) / (upper->first - lower->first);
    ASSERT_NEAR(out[static_cast<size_t>(k)], lower->second + x * (upper->second - lower->second), 1e-6) << k;
  }
}

TEST(micEqTest, curvesOfArbitraryPointsAreAsTheFormulaSays) {
  int list = 0;
  for (const auto& points : test::goldenPoints) {
    station s;
    for (const auto& [inp, outp] : points) s.addPoint(inp, outp);
    const auto out = curve();
    for (const test::goldenGain& g : test::goldenGains)
      if (g.list == list) {
        EXPECT_FLOAT_EQ(out[static_cast<size_t>(g.bin)], g.gain) << list << " " << g.bin;
      }
    list++;
  }
}

TEST(micEqTest, binZeroIsTheFirstPointsGainWhereverItStands) {
  station s;
  s.addPoint(50, 0.25);
  for (int i = 1; i < 9; i++) s.addPoint(i * 100, 1);
  const auto out = curve();
  EXPECT_EQ(out[0], 0.25f);
  EXPECT_NEAR(out[1], 0.25 + 0.75 * 23.4375 / 100, 1e-6);
}

TEST(micEqTest, equalFrequenciesDivideByZeroAndNothingElseSuffers) {
  station s;
  for (int i = 0; i < 9; i++) s.addPoint(i < 4 ? 0 : i * 1000, i);
  const auto out = curve();
  EXPECT_TRUE(std::isnan(out[0]));
  EXPECT_NEAR(out[64], 3 + 1500.0 / 4000, 1e-5);
}

// A speech mode's group builds curves while the host moves points.
TEST(micEqConcurrentTest, curvesAreBuiltWhilePointsMove) {
  station s;
  s.init();
  std::atomic<bool> stop{false};
  std::thread mode([&] {
    while (!stop) {
      buff<float> out;
      buildMicEq(out);
      micEqRevision();
    }
  });
  for (int i = 1; i <= 2000; i++) s.wireless->DefaultMicEQ.items[static_cast<size_t>(i % 9)]->outp.set(i + 1);
  for (int i = 0; i < 200; i++) s.wireless->DefaultMicEQ.set(collectionPut, 8, s.point(24000, i));
  stop = true;
  mode.join();
  EXPECT_EQ(micEqRevision(), 2000);
}
