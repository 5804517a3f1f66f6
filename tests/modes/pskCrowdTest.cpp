// Two dozen stations at once, at least 110 Hz apart, that come and go: bounds; the figures are bench/pskScannerStudy's.
#include "tests/modes/pskCrowd.h"
#include <gtest/gtest.h>

namespace larch::test {
namespace {

struct heardCrowd {
  crowdPlan plan;
  std::vector<crowdVisit> visits;
  crowdListener listener;
  heardCrowd(const crowdPlan& p, uint64_t seed) : plan(p), visits(crowdVisits(p, seed)) { listener.hear(plan, visits, seed); }

  size_t count(std::optional<double> crowdVisit::*time, double within_s) const {
    return static_cast<size_t>(
        std::count_if(visits.begin(), visits.end(), [&](const crowdVisit& v) { return (v.*time).value_or(1e9) <= within_s; }));
  }
};

crowdPlan standing(double length_s) {
  crowdPlan p;
  p.length_s = length_s;
  p.stay_s = 4 * length_s; // nobody leaves
  return p;
}

} // namespace

TEST(pskCrowdTest, stationsStandAtLeast110HertzApart) {
  const crowdPlan p;
  EXPECT_EQ(p.slots, 24U);
  EXPECT_GE(p.spacing - 2 * p.wander, 110);
  EXPECT_LT(p.first + p.spacing * static_cast<double>(p.slots - 1), 3000);
}

// 24 at four a pass take six passes, if each pass serves four that are new. It doesn't: the pass ends at the first peak that a
// channel tracks without a free one before it.
TEST(pskCrowdTest, twoDozenStationsGetTheirDetectorsAtFourAPass) {
  for (const uint64_t seed : {1, 2}) {
    const heardCrowd c(standing(12), seed);
    ASSERT_EQ(c.visits.size(), 24U);
    EXPECT_LE(c.count(&crowdVisit::found, passSeconds - 0.001), 12U) << "moved, or beside one of the first places";
    EXPECT_GE(c.count(&crowdVisit::found, 2.0), 8U) << seed;
    EXPECT_GE(c.count(&crowdVisit::found, 12.0), 15U) << seed;
    EXPECT_GE(c.count(&crowdVisit::read, 12.0), 14U) << seed;
    EXPECT_EQ(c.listener.most, (std::array<int, 2>{4, 4}));
  }
}

TEST(pskCrowdTest, whoComesToAFreedPlaceIsFoundToo) {
  crowdPlan p;
  p.length_s = 36;
  p.stay_s = p.away_s = 12;
  const heardCrowd c(p, 3);
  size_t later = 0, found = 0;
  for (const crowdVisit& v : c.visits) {
    if (v.from_s == 0 || std::min(v.to_s, p.length_s) - v.from_s < 5) continue;
    later++;
    found += v.found.has_value();
  }
  EXPECT_GE(later, 15U);
  EXPECT_GE(found * 10, later * 8) << found << " of " << later;
  EXPECT_EQ(c.listener.most, (std::array<int, 2>{4, 4}));
}

// required: one that is louder than all others is tracked first in each pass, and ends it.
TEST(pskCrowdTest, oneThatIsLouderThanAllOthersKeepsThemFromADetector) {
  const crowdPlan p = standing(12);
  auto equal = crowdVisits(p, 4), under = equal;
  under[11].level_dB += 20;
  crowdListener free, held;
  free.hear(p, equal, 4);
  held.hear(p, under, 4);
  const auto found = [](const std::vector<crowdVisit>& visits) {
    return std::count_if(visits.begin(), visits.end(), [](const crowdVisit& v) { return v.found.has_value(); });
  };
  EXPECT_TRUE(under[11].read);
  EXPECT_LT(found(under), found(equal));
  EXPECT_LT(held.all[0] + held.all[1], free.all[0] + free.all[1]);
}

} // namespace larch::test
