#include "modes/pskAssignment.h"
#include "tests/runtime/testGroup.h"
#include <gtest/gtest.h>
#include <random>
#include <vector>

using namespace larch;

namespace {

int resets;

struct pskAssignmentTest : testing::Test {
  testGroup g;
  std::vector<std::shared_ptr<PskDetector>> channels;
  pskAssignmentTest() {
    resets = 0;
    for (int32_t i = 1; i <= 30; i++) {
      auto d = keptByCore(std::make_shared<PskDetector>(g.group));
      d->configure(pskModes[0], i * 100);
      d->reset = [](int32_t) { resets++; };
      channels.push_back(d);
    }
  }
  void assign(std::vector<int32_t> frequencies) {
    std::vector<pskPeak> peaks;
    double power = 1000;
    for (const int32_t f : frequencies) peaks.push_back({f, power--});
    assignChannels(peaks, channels);
    g.pool->getUpdates();
  }
  void setLives(int32_t blocks) {
    for (auto& c : channels) c->lifeCount = blocks;
  }
};

} // namespace

TEST_F(pskAssignmentTest, aNewSignalGetsTheFirstFreeChannelAndRestartsIt) {
  channels[0]->lifeCount = channels[1]->lifeCount = 30;
  channels[2]->detector.quality.squelchLevel = 10;
  assign({1710});
  EXPECT_EQ(channels[2]->frequency(), 1710);
  EXPECT_EQ(channels[2]->lifeCount, 100);
  EXPECT_EQ(channels[2]->detector.quality.squelchLevel, 90.0);
  EXPECT_EQ(resets, 1);
}

TEST_F(pskAssignmentTest, atMostFourChannelsAreMovedInAPass) {
  assign({350, 750, 1150, 1550, 1950, 2350});
  EXPECT_EQ(resets, 4);
  EXPECT_EQ(channels[3]->frequency(), 1550);
  EXPECT_EQ(channels[4]->frequency(), 500);
}

TEST_F(pskAssignmentTest, aPeakBesideAnUnclaimedChannelCountsAsNew) {
  assign({1600}); // channel 15 stands there, but nobody claims it
  EXPECT_EQ(channels[0]->frequency(), 1600);
  EXPECT_EQ(channels[15]->lifeCount, 0);
  EXPECT_EQ(resets, 1);
}

TEST_F(pskAssignmentTest, aClaimedChannelTracksWhatIsLessThanTwentyHertzAway) {
  channels[15]->lifeCount = 3; // 1600 Hz
  assign({1619});
  EXPECT_EQ(channels[15]->frequency(), 1600);
  EXPECT_EQ(channels[15]->lifeCount, 100);
  EXPECT_EQ(resets, 0);
  channels[15]->lifeCount = 3;
  assign({1620});
  EXPECT_EQ(channels[15]->lifeCount, 3);
  EXPECT_EQ(resets, 1);
}

TEST_F(pskAssignmentTest, trackingShortensNoLife) {
  channels[15]->lifeCount = 180;
  assign({1600});
  EXPECT_EQ(channels[15]->lifeCount, 180);
}

// The search ends where the tracking channel stands: before that it has found a free one, or it hasn't.
TEST_F(pskAssignmentTest, aTrackedPeakEndsThePassWhenNoFreeChannelStandsBeforeIt) {
  channels[0]->lifeCount = 60; // 100 Hz
  assign({100, 2050});
  EXPECT_EQ(resets, 0); // the first channel tracks at once: the limit is still 200
  setLives(0);
  channels[1]->lifeCount = 60; // 200 Hz
  assign({200, 2050});
  EXPECT_EQ(resets, 1);
  EXPECT_EQ(channels[0]->frequency(), 2050);
}

TEST_F(pskAssignmentTest, withAllOthersBusyATrackedPeakLeavesWeakerOnesUnserved) {
  setLives(80);
  assign({1600, 2050});
  EXPECT_EQ(resets, 0);
  EXPECT_EQ(channels[15]->lifeCount, 100);
}

// Without a free one the search ends on the last channel, since the host's activity is compared with a life.
TEST_F(pskAssignmentTest, withoutAFreeChannelTheLastOneIsTakenIfItHasFiftyBlocksLeftOrLess) {
  setLives(80);
  channels[7]->lifeCount = 1; // nobody looks at it
  channels[29]->lifeCount = 51;
  assign({2050});
  EXPECT_EQ(resets, 0);
  channels[29]->lifeCount = 50;
  assign({2050});
  EXPECT_EQ(resets, 1);
  EXPECT_EQ(channels[29]->frequency(), 2050);
}

TEST_F(pskAssignmentTest, theHostSteersByActivity) {
  for (size_t i = 0; i < channels.size(); i++) channels[i]->activity.set(i == 12 ? 0 : 200);
  assign({2050});
  EXPECT_EQ(channels[12]->frequency(), 2050);
  for (auto& c : channels) c->activity.set(1000); // no channel passes the first limit
  setLives(0);
  assign({2550});
  EXPECT_EQ(resets, 1);
}

TEST_F(pskAssignmentTest, frequenciesFarOutsideOverflowNothing) {
  channels[0]->detector.setRxFrequency(-2147483647 - 1);
  channels[0]->lifeCount = 10;
  assign({3900});
  EXPECT_EQ(channels[1]->frequency(), 3900);
}

// The rule once more, from its words, over channels as plain numbers.
namespace {

struct plainChannel {
  int32_t frequency, life, activity;
};

int assignPlainly(const std::vector<int32_t>& peaks, std::vector<plainChannel>& channels) {
  int moved = 0;
  for (const int32_t peak : peaks) {
    size_t best = 0, tracker = channels.size();
    int32_t limit = 200;
    for (size_t i = 0; i < channels.size(); i++) {
      const plainChannel& c = channels[i];
      if (c.frequency > peak - 20 && c.frequency < peak + 20 && c.life > 0) {
        tracker = i;
        break;
      }
      if (c.activity < limit) {
        limit = c.life;
        best = i;
      }
    }
    if (tracker < channels.size() && channels[tracker].life < 100) channels[tracker].life = 100;
    if (limit > 50) break;
    if (tracker < channels.size()) continue;
    channels[best].frequency = peak;
    channels[best].life = 100;
    if (++moved == 4) break;
  }
  return moved;
}

} // namespace

TEST_F(pskAssignmentTest, anyLivesAndActivitiesGoByTheRule) {
  std::mt19937 random(7);
  const auto below = [&](uint32_t n) { return static_cast<int32_t>(random() % n); };
  int most = 0, ended = 0;
  for (int round = 0; round < 3000; round++) {
    std::vector<plainChannel> plain;
    const int32_t steered = below(4); // 0: no activity at all
    for (const auto& c : channels) {
      c->detector.setRxFrequency(100 + below(120) * 25);
      c->lifeCount = below(3) ? below(201) : below(60) * below(2);
      c->activity.set(steered ? below(300) - 60 * steered : 0);
      plain.push_back({c->frequency(), c->lifeCount, c->activity.get()});
    }
    std::vector<int32_t> peaks;
    for (int32_t f = 60 + below(100); f < 3900 && peaks.size() < 45; f += 30 + below(110)) peaks.push_back(f);
    std::shuffle(peaks.begin(), peaks.end(), random);
    resets = 0;
    assign(peaks);
    const int moved = assignPlainly(peaks, plain);
    ASSERT_EQ(resets, moved) << round;
    ASSERT_LE(resets, 4);
    for (size_t i = 0; i < plain.size(); i++) {
      ASSERT_EQ(channels[i]->frequency(), plain[i].frequency) << round << ' ' << i;
      ASSERT_EQ(channels[i]->lifeCount, plain[i].life) << round << ' ' << i;
    }
    most = std::max(most, moved);
    ended += moved < 4;
  }
  EXPECT_EQ(most, 4);
  EXPECT_GT(ended, 1000) << "passes that end before the fourth";
}
