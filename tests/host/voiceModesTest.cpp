#include "host/voiceModes.h"
#include "host/commands.h"
#include "host/optionValues.h"
#include <gtest/gtest.h>

using namespace larchhost;

namespace {

signedEdges received(voice v, const voiceSettings& settings = {}) {
  return makeMode(v, settings)->receiveEdges(receptionFilter(v, settings), sideOf(v));
}
signedEdges sent(voice v, const voiceSettings& settings = {}) {
  return makeMode(v, settings)->transmitEdges({300, 2700}, sideOf(v));
}
listenOptions asked(const std::string& mode, const std::string& rate, const std::vector<std::string>& also = {}) {
  listenOptions o;
  o.mode = mode;
  o.rate = rate;
  o.also = also;
  return o;
}

} // namespace

TEST(voiceModesTest, namesAreThoseOfTheOption) {
  EXPECT_EQ(needVoice("usb"), voice::usb);
  EXPECT_EQ(needVoice("lsb"), voice::lsb);
  EXPECT_EQ(needVoice("am"), voice::am);
  EXPECT_EQ(needVoice("nfm"), voice::nfm);
  EXPECT_EQ(needVoice("fm"), voice::fm);
  for (const char* bad : {"", "AM", "fm ", "pirate"}) EXPECT_THROW(needVoice(bad), std::runtime_error) << bad;
}

TEST(voiceModesTest, eachModeKnowsWhichItIs) {
  for (voice v : voices) EXPECT_EQ(makeMode(v, {})->spoken(sideOf(v)), v);
}

TEST(voiceModesTest, aDeviationCountsForTheModeThatItSuits) {
  EXPECT_EQ(deviation(voice::nfm, {}), 2500);
  EXPECT_EQ(deviation(voice::fm, {}), 75000);
  EXPECT_EQ(deviation(voice::am, {}), 0);
  EXPECT_EQ(deviation(voice::nfm, {1, 0, 11999.0}), 11999);
  EXPECT_EQ(deviation(voice::fm, {1, 0, 11999.0}), 75000);
  EXPECT_EQ(deviation(voice::nfm, {1, 0, 12000.0}), 2500);
  EXPECT_EQ(deviation(voice::fm, {1, 0, 12000.0}), 12000);
}

TEST(voiceModesTest, receptionReachesAsFarAsTheSignalOnBothSides) {
  EXPECT_EQ(received(voice::am).low, -4500);
  EXPECT_EQ(received(voice::am).high, 4500);
  EXPECT_EQ(received(voice::nfm).low, -5500);
  EXPECT_EQ(received(voice::nfm).high, 5500);
  EXPECT_EQ(received(voice::nfm, {1, 0, 5000.0}).high, 8000);
  EXPECT_EQ(received(voice::fm).low, -100000);
  EXPECT_EQ(received(voice::fm).high, 100000);
}

TEST(voiceModesTest, transmissionLeavesRoomForTheSidebands) {
  EXPECT_LE(sent(voice::am).low, -3000);
  EXPECT_GE(sent(voice::am).high, 3000);
  EXPECT_EQ(sent(voice::nfm).low, -11500);
  EXPECT_EQ(sent(voice::nfm).high, 11500);
  EXPECT_EQ(sent(voice::fm, {1, 0, 20000.0}).low, -24000); // all that the rate of transmission holds
  EXPECT_EQ(sent(voice::fm, {1, 0, 20000.0}).high, 24000);
}

TEST(voiceModesTest, wideReceptionNeedsAFastRadio) {
  EXPECT_EQ(makeMode(voice::nfm, {1, 0, 11999.0})->rate(), 48000);
  EXPECT_EQ(makeMode(voice::fm, {1, 0, 12000.0})->rate(), 384000);
  EXPECT_EQ(chooseRate(asked("usb", "")), 192000);
  EXPECT_EQ(chooseRate(asked("fm", "")), 384000);
  EXPECT_EQ(chooseRate(asked("nfm", "", {"7.1M", "7.2M:fm"})), 384000);
  EXPECT_EQ(chooseRate(asked("fm", "96k")), 96000); // as it was asked for
}

TEST(voiceModesTest, aModeOnBothSidesShowsBoth) {
  EXPECT_EQ(makeMode(voice::am, {})->filterText({200, 4500}), "-4500..4500 ");
  EXPECT_EQ(makeMode(voice::usb, {})->filterText({200, 2900}), "  200..2900 ");
}
