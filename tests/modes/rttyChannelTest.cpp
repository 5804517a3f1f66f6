// Bounds on the error rate over channels, 32 seeds a point; the curves are bench/rttyChannelStudy's, of 500.
#include "tests/modes/rttyChannel.h"
#include <gtest/gtest.h>

namespace larch::study {
namespace {

template <class Set> double errors_percent(double snr_dB, Set set) { return rttyErrors_percent(snr_dB, 32, set); }

} // namespace

TEST(rttyChannelTest, whiteNoiseIsEnduredAndTooMuchIsNot) {
  EXPECT_LT(errors_percent(6, [](rttyChannel&, double) {}), 3);
  EXPECT_GT(errors_percent(-4, [](rttyChannel&, double) {}), 30) << "there was noise";
}

TEST(rttyChannelTest, aSenderOffFrequencyIsRead) {
  EXPECT_LT(errors_percent(10, [](rttyChannel& c, double sign) { c.offset_Hz = sign * 15; }), 4);
}

TEST(rttyChannelTest, aDriftingSenderIsRead) {
  EXPECT_LT(errors_percent(10, [](rttyChannel& c, double sign) { c.drift_Hz_s = sign * 2; }), 4);
}

TEST(rttyChannelTest, aSendersWrongClockIsFollowed) {
  EXPECT_LT(errors_percent(10, [](rttyChannel& c, double sign) { c.clock_ppm = sign * 300; }), 4);
}

TEST(rttyChannelTest, aSecondStation60HertzAwayIsKeptApart) {
  EXPECT_LT(errors_percent(10, [](rttyChannel& c, double sign) { c.neighbour_Hz = sign * 60; }), 4);
}

TEST(rttyChannelTest, fadingLeavesMostOfTheText) {
  EXPECT_LT(errors_percent(18, [](rttyChannel& c, double) { c.fading = moderateFading; }), 10);
}

TEST(rttyChannelTest, noiseAloneIsPrintedAsThereIsNoSquelch) { EXPECT_GT(rttyPrintsOfNoise(3), 100); }

} // namespace larch::study
