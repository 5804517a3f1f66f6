#include <algorithm>
#include <gtest/gtest.h>
#include "sim/faultInjector.h"

using namespace larch::sim;

namespace {
outgoingDatagram numbered(uint32_t n) {
  outgoingDatagram d;
  d.length = 1032;
  d.bytes.fill(0);
  d.bytes[0] = static_cast<uint8_t>(n);
  d.bytes[1] = static_cast<uint8_t>(n >> 8);
  return d;
}
uint32_t number(const outgoingDatagram& d) { return d.bytes[0] | static_cast<uint32_t>(d.bytes[1]) << 8; }

std::vector<uint32_t> passed(faultInjector& injector, uint32_t count, bool isIq = true) {
  std::vector<outgoingDatagram> out;
  for (uint32_t n = 0; n < count; ++n) injector.pass(numbered(n), isIq, n, out);
  std::vector<uint32_t> numbers;
  for (const auto& d : out) numbers.push_back(number(d));
  return numbers;
}
using list = std::vector<uint32_t>;
} // namespace

TEST(faultInjectorTest, withoutAPlanNothingChanges) {
  faultInjector injector;
  EXPECT_EQ(passed(injector, 4), (list{0, 1, 2, 3}));
}

TEST(faultInjectorTest, losesRepeatsReordersAndDelaysByNumber) {
  faultPlan plan;
  plan.loseAt = {1};
  plan.repeatAt = {2};
  plan.reorderAt = {4};
  plan.delayAt = {7};
  plan.delayBy = 3;
  faultInjector injector;
  injector.setPlan(plan);
  EXPECT_EQ(passed(injector, 12), (list{0, 2, 2, 3, 5, 4, 6, 8, 9, 10, 7, 11}));
  EXPECT_EQ(injector.counts().lost, 1u);
  EXPECT_EQ(injector.counts().delayed, 1u);
}

TEST(faultInjectorTest, numbersAreThoseOfTheIqStream) {
  faultPlan plan;
  plan.loseAt = {1};
  faultInjector injector;
  injector.setPlan(plan);
  EXPECT_EQ(passed(injector, 3, false), (list{0, 1, 2}));
}

TEST(faultInjectorTest, probabilitiesComeTrueAndDependOnTheSeed) {
  faultPlan plan;
  plan.lose = 0.1;
  plan.repeat = 0.05;
  faultInjector injector;
  injector.setPlan(plan);
  const list first = passed(injector, 20000);
  EXPECT_NEAR(static_cast<double>(injector.counts().lost), 2000, 200); // five deviations
  EXPECT_NEAR(static_cast<double>(injector.counts().repeated), 900, 150);
  injector.setPlan(plan);
  EXPECT_EQ(passed(injector, 20000), first);
  plan.seed = 2;
  injector.setPlan(plan);
  EXPECT_NE(passed(injector, 20000), first);
}

TEST(faultInjectorTest, cutsAndCorrupts) {
  faultPlan plan;
  plan.cut = plan.corrupt = 1;
  faultInjector injector;
  injector.setPlan(plan);
  std::vector<outgoingDatagram> out;
  size_t shortest = 1032, longest = 0;
  for (uint32_t n = 0; n < 2000; ++n) {
    out.clear();
    injector.pass(numbered(0), true, n, out);
    ASSERT_EQ(out.size(), 1u);
    EXPECT_EQ(std::count_if(out[0].bytes.begin(), out[0].bytes.end(), [](uint8_t b) { return b != 0; }), 1);
    shortest = std::min(shortest, out[0].length);
    longest = std::max(longest, out[0].length);
  }
  EXPECT_LT(shortest, 20u);
  EXPECT_GT(longest, 1010u);
  EXPECT_LT(longest, 1032u);
}

TEST(faultInjectorTest, silenceSwallowsEverything) {
  faultInjector injector;
  faultPlan plan;
  plan.delayAt = {1};
  injector.setPlan(plan);
  EXPECT_EQ(passed(injector, 2), (list{0}));
  injector.setSilent(true);
  EXPECT_TRUE(passed(injector, 5).empty());
  EXPECT_EQ(injector.counts().silenced, 5u);
  injector.setSilent(false);
  plan.delayAt.clear();
  injector.setPlan(plan);
  EXPECT_EQ(passed(injector, 3), (list{0, 1, 2})); // what was held is gone
}
