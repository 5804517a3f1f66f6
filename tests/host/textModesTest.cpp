#include "host/hellMode.h"
#include "host/rttyMode.h"
#include "host/transmitText.h"
#include <gtest/gtest.h>

using namespace larchhost;

namespace {

TEST(rttyModeTest, theReceiveFilterLiesAroundTheTwoTones) {
  for (const int32_t mark : {2000, -2170}) {
    const signedEdges edges = rttyMode(mark).receiveEdges({0, 250}, sideband::upper);
    EXPECT_EQ(edges.low, mark + 85 - 250);
    EXPECT_EQ(edges.high, mark + 85 + 250);
  }
}

TEST(rttyModeTest, theTransmitFilterPassesBothTonesWhateverIsReceived) {
  const signedEdges edges = rttyMode(-1000).transmitEdges({300, 2700}, sideband::upper);
  EXPECT_LE(edges.low, 2000 - 200);
  EXPECT_GE(edges.high, 2170 + 200);
}

TEST(hellModeTest, theFiltersPassAllRowsAndAStepMore) {
  for (const double step : {10.0, 30.0, 100.0}) {
    hellMode mode(step);
    const filterEdges edges = mode.passband();
    EXPECT_LE(edges.low, 1300 - 8 * step);
    EXPECT_GT(edges.low, 0);
    EXPECT_GE(edges.high, 1300 + step);
    const signedEdges sent = mode.transmitEdges({300, 2700}, sideband::upper);
    EXPECT_EQ(sent.low, edges.low);
    EXPECT_EQ(sent.high, edges.high);
  }
}

TEST(hellModeTest, thereIsOneAProcess) {
  const hellMode mode(30);
  EXPECT_THROW(hellMode(30), std::logic_error);
}

TEST(transmitTextTest, aLineShowsWhatHasGoneAndWhatIsStillToGo) {
  sendLine line(sendLine::isPlain);
  EXPECT_EQ(lineText(line, 20), "hold> \033[2m\033[0m_");
  for (const char c : std::string("cq de")) line.type(c);
  EXPECT_EQ(lineText(line, 20), "hold> \033[2m\033[0mcq de_");
  line.release();
  line.end();
  for (const char c : std::string("cq")) line.reportSent(c);
  EXPECT_EQ(lineText(line, 20), "hold> \033[2mcq\033[0m de|_");
  EXPECT_EQ(lineText(line, 11), "hold> \033[2m\033[0m de|_"); // the latest first
  EXPECT_EQ(lineText(line, 9), "hold> \033[2m\033[0me|_");
  EXPECT_EQ(lineText(line, 3), "hol\033[2m\033[0m_");
}

TEST(transmitTextTest, marksThatPrintNothingAreNotShown) {
  sendLine line([](char) { return true; });
  for (const char c : std::string("a\x0e"
                                  "5\r\n"))
    line.type(c);
  EXPECT_EQ(lineText(line, 20), "hold> \033[2m\033[0ma5_");
}

TEST(transmitTextTest, theStateFollowsTheGuard) {
  transmitSettings settings;
  settings.drive = 40;
  {
    const transmitter forbidden(settings);
    EXPECT_EQ(stateText(forbidden), "receive only  drive 40");
    EXPECT_EQ(stateColour(forbidden.guard()), "");
  }
  settings.allowed = true;
  settings.timeout = std::chrono::seconds{90};
  transmitter sender(settings, [] { return transmitGuard::clock::time_point{}; });
  EXPECT_EQ(stateText(sender), "receive  drive 40");
  ASSERT_TRUE(sender.guard().pressForMode());
  EXPECT_EQ(stateText(sender, "KEY"), "keying  1:30 left  drive 40");
  const std::string keying = stateColour(sender.guard());
  sender.guard().reportOnAir(true);
  EXPECT_EQ(stateText(sender), "ON AIR  1:30 left  drive 40");
  EXPECT_EQ(stateText(sender, "KEY"), "ON AIR: KEY  1:30 left  drive 40");
  EXPECT_NE(keying, "");
  EXPECT_NE(stateColour(sender.guard()), keying);
}

} // namespace
