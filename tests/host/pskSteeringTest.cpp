#include "host/pskSteering.h"
#include <gtest/gtest.h>
#include <optional>

using namespace larchhost;
using namespace std::chrono_literals;

namespace {

constexpr size_t n = pskSteering::channels;

// The library's search over one speed: the first one below the limit, by `activity`, sets it to its own life.
struct scanner {
  pskSteering steering;
  std::array<int, n> life{};
  pskSteering::clock::time_point now{1000s};

  // Looks for a channel up to the one that tracks, if one does; nothing: the pass ends.
  std::optional<size_t> searched(size_t tracking = n) const {
    int limit = 200;
    size_t best = 0;
    for (size_t i = 0; i < tracking; i++)
      if (steering.activity(i) < limit) {
        limit = life[i];
        best = i;
      }
    if (limit > 50) return {};
    return best;
  }
  void give(size_t channel) {
    life[channel] = 100;
    steering.used(channel, now);
  }
};

} // namespace

TEST(pskSteeringTest, theFirstChannelOfEachSpeedIsKeptFree) {
  scanner s;
  for (size_t k = 1; k < n; k++) {
    const auto found = s.searched();
    ASSERT_TRUE(found);
    ASSERT_EQ(*found, k) << "each of the others in turn";
    s.give(*found);
    s.now += 200ms;
  }
  EXPECT_FALSE(s.searched()) << "all are in use";
  EXPECT_EQ(s.life[0], 0);
}

// The list as it stands within a pass, before the host has heard of the first change.
TEST(pskSteeringTest, severalAreGivenAwayWithoutAWord) {
  scanner s;
  for (size_t k = 1; k <= 4; k++) {
    const auto found = s.searched();
    ASSERT_TRUE(found);
    EXPECT_EQ(*found, k);
    s.life[*found] = 100;
  }
}

TEST(pskSteeringTest, aSignalThatIsTrackedDoesntEndThePass) {
  scanner s;
  for (size_t k = 1; k <= 12; k++) {
    const auto found = s.searched();
    ASSERT_TRUE(found) << k;
    s.give(*found);
    s.now += 200ms;
    for (size_t tracking = 1; tracking <= k; tracking++) EXPECT_TRUE(s.searched(tracking)) << tracking << " of " << k;
  }
}

TEST(pskSteeringTest, theOneThatHasBeenQuietLongestIsNext) {
  scanner s;
  for (size_t k = 1; k < n; k++) s.give(k), s.now += 1s;
  s.steering.used(1, s.now);
  s.life.fill(0);
  EXPECT_EQ(s.searched(), 2U);
  s.steering.used(2, s.now + 1s);
  EXPECT_EQ(s.searched(), 3U);
}

TEST(pskSteeringTest, theSpeedsDontDisturbEachOther) {
  pskSteering s;
  const pskSteering fresh;
  for (size_t k = 0; k < n; k++) s.used(k, pskSteering::clock::time_point(5s));
  for (size_t k = n; k < 2 * n; k++) EXPECT_EQ(s.activity(k), fresh.activity(k));
  EXPECT_LT(s.activity(n + 1), s.activity(n + 2));
  s.used(2 * n, pskSteering::clock::time_point(6s)); // an operator's detector
  EXPECT_EQ(s.activity(n + 1), fresh.activity(n + 1));
}
