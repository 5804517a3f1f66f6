#include "transceiver/voiceSwitch.h"
#include <gtest/gtest.h>
#include <limits>

namespace larch {
namespace {

constexpr double chunk_s = 512 / 48000.0;
constexpr voiceSwitch::settings usual{0.4, 0.5};

TEST(voiceSwitchTest, keysAboveTheThresholdOnly) {
  voiceSwitch vox;
  EXPECT_FALSE(vox.decide(false, 0.4, usual, chunk_s)) << "exactly the threshold";
  EXPECT_TRUE(vox.decide(false, 0.4000001, usual, chunk_s));
}

TEST(voiceSwitchTest, halfTheThresholdIsQuiet) {
  for (double level : {0.2, 0.0}) {
    voiceSwitch vox;
    bool keyed = vox.decide(false, 1.0, usual, chunk_s);
    int chunks = 0;
    for (; keyed && chunks < 1000; chunks++) keyed = vox.decide(true, level, usual, chunk_s);
    EXPECT_EQ(chunks, 47) << "0.5 s in chunks of 10.67 ms";
  }
  voiceSwitch vox;
  bool keyed = vox.decide(false, 1.0, usual, chunk_s);
  for (int i = 0; i < 1000; i++) keyed = vox.decide(keyed, 0.2000001, usual, chunk_s);
  EXPECT_TRUE(keyed) << "just above half the threshold holds for ever";
}

TEST(voiceSwitchTest, speechRenewsTheHold) {
  voiceSwitch vox;
  bool keyed = vox.decide(false, 1.0, usual, chunk_s);
  for (int round = 0; round < 5; round++) {
    for (int i = 0; i < 46; i++) keyed = vox.decide(keyed, 0.0, usual, chunk_s);
    ASSERT_TRUE(keyed);
    keyed = vox.decide(keyed, 0.3, usual, chunk_s);
  }
  EXPECT_TRUE(keyed);
}

TEST(voiceSwitchTest, manualKeyingWithoutHoldEndsInTheFirstQuietChunk) {
  voiceSwitch vox;
  EXPECT_FALSE(vox.decide(true, 0.0, usual, chunk_s));
}

TEST(voiceSwitchTest, holdOfExactlyZeroSecondsLeftUnkeys) {
  voiceSwitch vox;
  vox.decide(false, 1.0, {0.4, 0.5}, 0.25);
  EXPECT_TRUE(vox.decide(true, 0.0, {0.4, 0.5}, 0.25));
  EXPECT_FALSE(vox.decide(true, 0.0, {0.4, 0.5}, 0.25));
}

TEST(voiceSwitchTest, thresholdThatIsNoNumberNeverKeysNorHoldsTheKey) {
  voiceSwitch vox;
  const voiceSwitch::settings none{std::numeric_limits<double>::quiet_NaN(), 0.5};
  EXPECT_FALSE(vox.decide(false, 1.0, none, chunk_s));
  bool keyed = vox.decide(false, 1.0, usual, chunk_s);
  EXPECT_TRUE(keyed);
  for (int i = 0; i < 48; i++) keyed = keyed && vox.decide(keyed, 1.0, none, chunk_s);
  EXPECT_FALSE(keyed);
}

} // namespace
} // namespace larch
