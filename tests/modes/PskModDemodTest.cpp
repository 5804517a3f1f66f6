#include "modes/PskModDemod.h"
#include "tests/runtime/testGroup.h"
#include <gtest/gtest.h>

using namespace larch;

namespace {

int resets;
std::vector<int32_t> numbers;
std::vector<std::string> names;

struct PskModDemodTest : testing::Test {
  testGroup g;
  std::shared_ptr<PskModDemod> mode = keptByCore(std::make_shared<PskModDemod>(g.group));
  PskModDemodTest() {
    resets = 0;
    numbers.clear();
    names.clear();
  }
  PskDetector& detector(size_t i) { return *mode->dets.items[i]; }
  void countResets(size_t i) {
    detector(i).reset = [](int32_t) { resets++; };
  }
};

} // namespace

TEST_F(PskModDemodTest, hasSixModesInOrder) {
  const std::vector<std::pair<int32_t, std::string>> expected = {{0, "PSK31"},  {8, "PSK63"},  {16, "PSK125"},
                                                                 {1, "QPSK31"}, {9, "QPSK63"}, {17, "QPSK125"}};
  ASSERT_EQ(mode->Modes.items.size(), expected.size());
  for (size_t i = 0; i < expected.size(); i++) {
    EXPECT_EQ(mode->Modes.items[i]->Value.value, expected[i].first);
    EXPECT_EQ(mode->Modes.items[i]->Label.value, expected[i].second);
  }
}

TEST_F(PskModDemodTest, hasThirtyChannelsOfTwoSpeedsAndSixPrimaries) {
  ASSERT_EQ(mode->dets.items.size(), 66u);
  for (size_t i = 0; i < 60; i++) {
    EXPECT_EQ(detector(i).mode(), i < 30 ? 0 : 8) << i;
    EXPECT_EQ(detector(i).freq.value, static_cast<int32_t>(i % 30 + 1) * 100) << i;
  }
  const int32_t modes[] = {0, 8, 16, 1, 9, 17};
  for (size_t i = 60; i < 66; i++) {
    EXPECT_EQ(detector(i).mode(), modes[i - 60]) << i;
    EXPECT_EQ(detector(i).freq.value, 1500) << i;
  }
  EXPECT_EQ(mode->primaryDetector.value, 60);
}

TEST_F(PskModDemodTest, aDetectorTellsItsModeAndFrequencyAtBind) {
  PskDetector& d = detector(31);
  d.Mode.bind(&d, [](const char* v) { names.push_back(v); });
  d.freq.bind(&d, [](int32_t v) { numbers.push_back(v); });
  d.activity.bind(&d, [](int32_t v) { numbers.push_back(v); });
  d.signalStrength.bind(&d, [](int32_t v) { numbers.push_back(v); });
  g.pool->getUpdates();
  EXPECT_EQ(names, std::vector<std::string>{"PSK63"});
  EXPECT_EQ(numbers, std::vector<int32_t>{200});
}

TEST_F(PskModDemodTest, startsAtFifteenHundredHertzOnReceive) {
  EXPECT_EQ(mode->rxFreq.value, 1500);
  EXPECT_TRUE(mode->rxFreq.hasValue);
  EXPECT_EQ(mode->txFreq.value, 0);
  EXPECT_EQ(mode->txTailSamples, 96000);
}

TEST_F(PskModDemodTest, transmitFollowsReceive) {
  mode->rxFreq.set(1234);
  EXPECT_EQ(mode->txFreq.value, 1234);
}

TEST_F(PskModDemodTest, eachModePicksItsPrimaryDetectorAndRestartsIt) {
  const std::pair<int32_t, int32_t> expected[] = {{1, 63}, {8, 61}, {9, 64}, {16, 62}, {17, 65}, {0, 60}};
  for (size_t i = 60; i < 66; i++) countResets(i);
  int wanted = 0;
  for (const auto& [value, index] : expected) {
    mode->mode.set(value);
    EXPECT_EQ(mode->primaryDetector.value, index);
    EXPECT_EQ(mode->mode.value, value);
    g.pool->getUpdates();
    EXPECT_EQ(resets, ++wanted);
  }
}

TEST_F(PskModDemodTest, aModeOutsideTheTableSelectsDetectorZero) {
  mode->mode.set(16);
  mode->mode.set(5);
  EXPECT_EQ(mode->primaryDetector.value, 0);
  EXPECT_EQ(mode->mode.value, 0);
}

TEST_F(PskModDemodTest, theModeFollowsThePrimaryDetector) {
  mode->primaryDetector.set(65);
  EXPECT_EQ(mode->mode.value, 17);
  mode->primaryDetector.set(3);
  EXPECT_EQ(mode->mode.value, 0);
}

TEST_F(PskModDemodTest, aPrimaryThatDoesntExistChangesNothing) {
  mode->mode.set(16);
  for (const int32_t index : {-1, 66, 1000000}) mode->primaryDetector.set(index);
  EXPECT_EQ(mode->mode.value, 16);
  mode->dets.reset();
  mode->mode.set(9); // no row to restart
  EXPECT_EQ(mode->primaryDetector.value, 64);
}
