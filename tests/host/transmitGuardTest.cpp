#include "host/transmitGuard.h"
#include <gtest/gtest.h>

using namespace larchhost;
using namespace std::chrono_literals;

namespace {

class transmitGuardTest : public testing::Test {
 protected:
  transmitGuard make(bool allowed, std::chrono::seconds timeout = 180s) {
    return transmitGuard(allowed, timeout, [this] { return now_; });
  }
  // Time passes as in a program that polls and hears its radio.
  void pass(transmitGuard& g, std::chrono::milliseconds time) {
    constexpr auto step = 192ms;
    for (; time > 0ms; time -= step) {
      now_ += std::min<std::chrono::milliseconds>(time, step);
      g.reportSignal();
      g.check();
    }
  }
  // Keyed by hand and reported as on the air.
  void transmit(transmitGuard& g) {
    EXPECT_TRUE(g.press());
    g.reportOnAir(true);
  }
  transmitGuard::clock::time_point now_{1000s};
};

TEST_F(transmitGuardTest, nothingIsKeyedWithoutPermission) {
  auto g = make(false);
  EXPECT_FALSE(g.press());
  EXPECT_NE(g.note().find("--transmit"), std::string::npos);
  g.wantVox(true);
  EXPECT_FALSE(g.voxWanted());
  EXPECT_NE(g.note().find("--transmit"), std::string::npos);
  g.reportVox(true);
  EXPECT_FALSE(g.keyed());
}

TEST_F(transmitGuardTest, aKeyIsDownUntilReleased) {
  auto g = make(true);
  EXPECT_FALSE(g.keyed());
  EXPECT_TRUE(g.press());
  pass(g, 60s);
  EXPECT_TRUE(g.keyed());
  g.release();
  EXPECT_FALSE(g.keyed());
}

TEST_F(transmitGuardTest, aModeIsKeyedOnlyWithPermissionAndEndsByItself) {
  auto refused = make(false);
  EXPECT_FALSE(refused.pressForMode());
  EXPECT_FALSE(refused.keyed());
  EXPECT_NE(refused.note().find("--transmit"), std::string::npos);

  auto g = make(true);
  EXPECT_TRUE(g.pressForMode());
  EXPECT_TRUE(g.byMode());
  g.reportVox(true); // its own key has raised ptt
  EXPECT_TRUE(g.byMode());
  g.reportVox(false);
  EXPECT_FALSE(g.keyed());
  EXPECT_EQ(g.note(), "");
  g.reportVox(true); // late: a ptt that nobody asked for isn't a key
  EXPECT_FALSE(g.keyed());
  g.end();
  EXPECT_FALSE(g.pressForMode());
}

TEST_F(transmitGuardTest, aModeIsReleasedAndTimedOutAsEveryKey) {
  auto g = make(true, 10s);
  EXPECT_TRUE(g.pressForMode());
  g.release();
  EXPECT_FALSE(g.keyed());
  EXPECT_TRUE(g.pressForMode());
  pass(g, 9s);
  EXPECT_TRUE(g.pressForMode()); // the next dot doesn't wind the time-out up again
  pass(g, 1s);
  EXPECT_FALSE(g.keyed());
  EXPECT_NE(g.note().find("time-out"), std::string::npos);
  EXPECT_TRUE(g.pressForMode());
  EXPECT_EQ(g.note(), "");
}

TEST_F(transmitGuardTest, theHandKeyIsNotReleasedByTheMode) {
  auto g = make(true);
  transmit(g);
  g.reportVox(false);
  EXPECT_TRUE(g.byHand());
}

TEST_F(transmitGuardTest, theTimeOutUnkeysToTheSecond) {
  auto g = make(true, 10s);
  transmit(g);
  EXPECT_EQ(g.remaining(), 10s);
  pass(g, 9999ms);
  EXPECT_TRUE(g.keyed());
  EXPECT_EQ(g.remaining(), 1ms);
  pass(g, 1ms);
  EXPECT_FALSE(g.keyed());
  EXPECT_NE(g.note().find("time-out after 10 s"), std::string::npos);
}

TEST_F(transmitGuardTest, afterATimeOutOnlyAFreshPressKeys) {
  auto g = make(true, 5s);
  g.wantVox(true);
  g.reportVox(true);
  EXPECT_TRUE(g.keyed());
  pass(g, 5s);
  EXPECT_FALSE(g.keyed());
  EXPECT_FALSE(g.voxActive());
  g.reportVox(true); // speech goes on
  EXPECT_FALSE(g.keyed());
  EXPECT_TRUE(g.press());
  EXPECT_TRUE(g.keyed());
  EXPECT_EQ(g.note(), "");
  EXPECT_EQ(g.remaining(), 5s);
}

TEST_F(transmitGuardTest, theTimeOutHasLimitsAndNoOff) {
  for (const auto& [asked, given] : {std::pair{0s, 1s}, {-5s, 1s}, {1799s, 1799s}, {86400s, 1800s}})
    EXPECT_EQ(make(true, asked).remaining(), given) << asked.count();
}

TEST_F(transmitGuardTest, aHandThatTakesOverFromVoxGainsNoTime) {
  auto g = make(true, 10s);
  g.wantVox(true);
  g.reportVox(true);
  pass(g, 6s);
  EXPECT_TRUE(g.press());
  EXPECT_EQ(g.remaining(), 4s);
  EXPECT_TRUE(g.press()); // nor does a second press
  EXPECT_EQ(g.remaining(), 4s);
}

TEST_F(transmitGuardTest, theHandKeySuspendsVox) {
  auto g = make(true);
  g.wantVox(true);
  EXPECT_TRUE(g.voxActive());
  g.press();
  EXPECT_FALSE(g.voxActive());
  EXPECT_TRUE(g.voxWanted());
  for (bool lastWord : {true, false}) { // from before
    g.reportVox(lastWord);
    EXPECT_TRUE(g.byHand());
  }
  g.release();
  EXPECT_TRUE(g.voxActive());
  EXPECT_FALSE(g.keyed());
}

TEST_F(transmitGuardTest, voxKeysAndReleasesAndSwitchedOffUnkeys) {
  auto g = make(true);
  g.reportVox(true); // without having been asked for
  EXPECT_FALSE(g.keyed());
  g.wantVox(true);
  g.reportVox(true);
  EXPECT_TRUE(g.keyed());
  g.reportVox(false);
  EXPECT_FALSE(g.keyed());
  g.reportVox(true);
  g.wantVox(false);
  EXPECT_FALSE(g.keyed());
}

TEST_F(transmitGuardTest, aSilentRadioIsUnkeyed) {
  auto g = make(true);
  transmit(g);
  pass(g, 5s);
  for (int i = 0; i < 20; i++) {
    now_ += 100ms;
    g.check();
    EXPECT_TRUE(g.keyed());
  }
  now_ += 1ms;
  g.check();
  EXPECT_FALSE(g.keyed());
  EXPECT_NE(g.note().find("radio is silent"), std::string::npos);
}

TEST_F(transmitGuardTest, spectrumFramesCountAsTheRadiosVoice) {
  auto g = make(true);
  transmit(g);
  for (int i = 0; i < 100; i++) {
    now_ += 100ms;
    g.reportFrame();
    g.check();
  }
  EXPECT_TRUE(g.keyed());
}

TEST_F(transmitGuardTest, aProgramThatStoodStillIsUnkeyed) {
  auto g = make(true);
  transmit(g);
  pass(g, 1s);
  now_ += 2001ms;
  g.reportSignal();
  g.check();
  EXPECT_FALSE(g.keyed());
  EXPECT_NE(g.note().find("stood still"), std::string::npos);
}

TEST_F(transmitGuardTest, aPauseBeforeTheKeyIsNoStandstill) {
  auto g = make(true);
  now_ += 60s; // waiting for the radio, say
  g.press();
  g.check();
  EXPECT_TRUE(g.keyed());
}

TEST_F(transmitGuardTest, theEndUnkeysAndRefusesEverything) {
  auto g = make(true);
  g.wantVox(true);
  transmit(g);
  g.end();
  EXPECT_FALSE(g.keyed());
  EXPECT_FALSE(g.voxActive());
  EXPECT_FALSE(g.press());
  g.wantVox(true);
  g.reportVox(true);
  EXPECT_FALSE(g.keyed());
}

TEST_F(transmitGuardTest, aStationThatNeverSentIsSettledAtOnce) {
  auto g = make(true);
  g.end();
  EXPECT_TRUE(g.settled());
}

TEST_F(transmitGuardTest, settledIsAfterTheRadiosReportAndThreeOfItsReportsMore) {
  auto g = make(true);
  transmit(g);
  pass(g, 2s);
  EXPECT_FALSE(g.settled());
  g.end();
  pass(g, 1s); // the fall
  EXPECT_FALSE(g.settled());
  g.reportOnAir(false);
  for (int i = 0; i < 2; i++) {
    now_ += 192ms;
    g.reportSignal();
    EXPECT_FALSE(g.settled()) << i;
  }
  g.reportSignal();
  EXPECT_TRUE(g.settled());
  EXPECT_FALSE(g.stuck());
}

TEST_F(transmitGuardTest, itIsBusyFromThePressUntilTheRadioHasSettled) {
  auto g = make(true);
  EXPECT_FALSE(g.busy());
  g.press();
  EXPECT_TRUE(g.busy());
  g.reportOnAir(true);
  pass(g, 1s);
  g.release();
  pass(g, 2s); // a mode's tail
  EXPECT_FALSE(g.keyed());
  EXPECT_TRUE(g.busy());
  g.reportOnAir(false);
  EXPECT_TRUE(g.busy());
  pass(g, 3 * 192ms);
  EXPECT_FALSE(g.busy());
}

TEST_F(transmitGuardTest, aRadioThatNeverFollowsStaysBusy) {
  auto g = make(true);
  transmit(g);
  g.release();
  pass(g, 2 * transmitGuard::longestFall);
  EXPECT_TRUE(g.stuck());
  EXPECT_TRUE(g.busy());
}

TEST_F(transmitGuardTest, theHoldIsTimeAsWellAsReports) {
  auto g = make(true);
  transmit(g);
  g.end();
  g.reportOnAir(false);
  for (int i = 0; i < 10; i++) g.reportSignal(); // a burst
  now_ += 149ms;
  EXPECT_FALSE(g.settled());
  now_ += 1ms;
  EXPECT_TRUE(g.settled());
}

TEST_F(transmitGuardTest, aKeyThatWasUpAgainBeforeTheRadioReportedIsWaitedFor) {
  auto g = make(true);
  g.press();
  g.end(); // the radio's reports of both are on their way
  EXPECT_FALSE(g.settled());
  pass(g, 192ms);
  g.reportOnAir(true);
  pass(g, 768ms);
  EXPECT_FALSE(g.settled());
  g.reportOnAir(false);
  pass(g, 768ms);
  EXPECT_TRUE(g.settled());
}

TEST_F(transmitGuardTest, aRadioThatNeverFollowsEndsTheWaitAsStuck) {
  auto g = make(true);
  transmit(g);
  g.end();
  now_ += transmitGuard::longestFall - 1ms;
  g.check();
  EXPECT_FALSE(g.settled());
  EXPECT_FALSE(g.stuck());
  now_ += 1ms;
  g.check();
  EXPECT_TRUE(g.settled());
  EXPECT_TRUE(g.stuck());
  g.check();
  EXPECT_TRUE(g.stuck());
}

TEST_F(transmitGuardTest, theTailOfAModeIsWaitedFor) {
  transmitGuard g(
      true, 180s, [this] { return now_; }, 2000ms);
  transmit(g);
  g.end();
  now_ += transmitGuard::longestFall + 1999ms;
  EXPECT_FALSE(g.stuck());
  now_ += 1ms;
  EXPECT_TRUE(g.stuck());
}

TEST_F(transmitGuardTest, theEndWaitsAlsoForAnAirThatNobodyKeyed) {
  auto g = make(true);
  g.reportOnAir(true);
  g.end();
  EXPECT_FALSE(g.settled());
  now_ += transmitGuard::longestFall;
  EXPECT_TRUE(g.settled());
}

TEST_F(transmitGuardTest, anAirThatIsReportedAfterTheEndHasItsLimit) {
  auto g = make(true);
  g.wantVox(true);
  g.end(); // VOX has keyed, and its report is on its way
  g.reportVox(true);
  EXPECT_FALSE(g.keyed());
  g.reportOnAir(true); // the radio's last word
  EXPECT_FALSE(g.settled());
  now_ += transmitGuard::longestFall - 1ms;
  g.check();
  EXPECT_FALSE(g.settled());
  now_ += 1ms;
  g.check();
  EXPECT_TRUE(g.settled());
  EXPECT_TRUE(g.stuck());
}

TEST_F(transmitGuardTest, aVoxThatKeyedBeforeItWasOffIsWaitedFor) {
  auto g = make(true);
  g.wantVox(true);
  g.end();
  EXPECT_TRUE(g.settled());
  g.reportVox(true); // it had keyed already, and the radio's report is on its way
  EXPECT_FALSE(g.keyed());
  EXPECT_FALSE(g.settled());
  g.reportVox(false);
  g.reportOnAir(true);
  pass(g, 1s);
  EXPECT_FALSE(g.settled());
  g.reportOnAir(false);
  pass(g, 3 * 192ms);
  EXPECT_TRUE(g.settled());
}

TEST_F(transmitGuardTest, theEndOfAFallThatIsUnderWayGivesItNoMoreTime) {
  auto g = make(true);
  transmit(g);
  for (int i = 0; i < 21; i++) {
    now_ += 100ms;
    g.check();
  }
  EXPECT_NE(g.note().find("radio is silent"), std::string::npos);
  for (auto left = transmitGuard::longestFall; left > 0s; left -= 1s) {
    EXPECT_FALSE(g.settled());
    g.end();
    now_ += 1s;
    g.check();
  }
  EXPECT_TRUE(g.settled());
  EXPECT_TRUE(g.stuck());
  g.end(); // once more, by a destructor
  EXPECT_TRUE(g.settled());
  EXPECT_NE(g.note().find("radio is silent"), std::string::npos); // the reason stays
}

TEST_F(transmitGuardTest, aFreshPressDuringTheFallTransmitsAgainAndGainsNoTime) {
  auto g = make(true, 10s);
  transmit(g);
  pass(g, 4s);
  g.release();
  g.press();
  EXPECT_TRUE(g.keyed());
  EXPECT_FALSE(g.settled());
  EXPECT_EQ(g.remaining(), 6s); // it never left the air
  g.release();
  g.reportOnAir(false);
  g.press();
  EXPECT_EQ(g.remaining(), 10s);
}

TEST_F(transmitGuardTest, aKeyThatIsReleasedAndPressedAgainOnEachPollTimesOut) {
  auto g = make(true, 10s);
  EXPECT_TRUE(g.pressForMode());
  g.reportOnAir(true);
  for (int i = 0; i < 51; i++) {
    EXPECT_TRUE(g.keyed()) << i;
    g.release();
    g.pressForMode();
    pass(g, 192ms);
  }
  pass(g, 208ms);
  EXPECT_FALSE(g.keyed());
  EXPECT_NE(g.note().find("time-out"), std::string::npos);
  g.pressForMode(); // too early: it is on the air yet
  g.check();
  EXPECT_FALSE(g.keyed());
  g.reportOnAir(false);
  g.pressForMode();
  g.check();
  EXPECT_TRUE(g.keyed());
}

TEST_F(transmitGuardTest, anAirThatNobodyKeyedBeginsTheTimeOfAKeyThatJoinsIt) {
  auto g = make(true, 10s);
  pass(g, 60s);
  g.reportOnAir(true);
  pass(g, 1s);
  g.press();
  EXPECT_EQ(g.remaining(), 9s);
}

} // namespace
