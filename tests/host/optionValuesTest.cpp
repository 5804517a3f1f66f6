#include "host/stationMode.h"
#include "host/optionValues.h"
#include <cstdio>
#include <fstream>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace larchhost;

namespace {

std::string refusal(const std::string& text) {
  try {
    needEqualiser(text);
  } catch (const std::runtime_error& e) {
    return e.what();
  }
  return "";
}

} // namespace

TEST(optionValuesTest, equaliserTakesNinePointsAsTheyAre) {
  const auto points = needEqualiser("0:1,64:0.5,128:0,300:1,600:1.5,1200:2,2400:1,4800:1,24000:100");
  ASSERT_EQ(points.size(), 9U);
  EXPECT_EQ(points[1], std::pair(64.0, 0.5));
  EXPECT_EQ(points[8], std::pair(24000.0, 100.0));
}

TEST(optionValuesTest, fewerPointsGoOnFlat) {
  const auto points = needEqualiser("300:0.5,1200:2");
  ASSERT_EQ(points.size(), 9U);
  for (size_t i = 1; i < points.size(); i++) {
    EXPECT_GT(points[i].first, points[i - 1].first);
    EXPECT_EQ(points[i].second, 2.0);
  }
}

TEST(optionValuesTest, equaliserIsReadFromAFile) {
  const std::string path = testing::TempDir() + "larch-eq-" + std::to_string(getpid());
  std::ofstream(path) << "# for the desk microphone\n0:1 300:0.7 # bass\n1200:1\n";
  const auto points = needEqualiser(path);
  std::remove(path.c_str());
  EXPECT_EQ(points[1], std::pair(300.0, 0.7));
  EXPECT_EQ(points[8].second, 1.0);
}

TEST(optionValuesTest, wrongPointsAreNamed) {
  for (const char* bad : {"300", "300:", ":1", "a:1", "300:b", "300:1x", "300:1:2", "nan:1", "300:inf"})
    EXPECT_EQ(refusal(bad), std::string("'") + bad + "' is no equaliser point (300:0.5, Hz and linear gain)");
  for (const char* bad : {"-1:1", "24001:1", "300:-0.1", "300:100.1"})
    EXPECT_NE(refusal(bad).find("out of range"), std::string::npos) << bad;
  for (const char* bad : {"300:1,300:2", "300:1,200:1"}) EXPECT_NE(refusal(bad).find("doesn't rise"), std::string::npos) << bad;
  for (const char* bad : {"", ",", "1:1,2:1,3:1,4:1,5:1,6:1,7:1,8:1,9:1,10:1"})
    EXPECT_NE(refusal(bad).find("one to nine points"), std::string::npos) << bad;
}

TEST(optionValuesTest, filtersAreDistancesFromTheCarrier) {
  for (const char* text : {"300:2700", "-2700:-300"}) {
    EXPECT_EQ(needFilter(text).low, 300) << text;
    EXPECT_EQ(needFilter(text).high, 2700) << text;
  }
  EXPECT_THROW(needFilter("wide"), std::runtime_error);
}

TEST(optionValuesTest, onlyTheRatesOfTheProtocolsCount) {
  EXPECT_EQ(needRate("384k"), 384000);
  EXPECT_EQ(needRate("1536k"), 1536000);
  for (const char* bad : {"3072k", "44.1k", ""}) EXPECT_THROW(needRate(bad), std::runtime_error) << bad;
}

TEST(stationModeTest, sidebandsMirrorTheEdges) {
  const filterEdges edges{300, 2700};
  EXPECT_EQ(onSide(edges, sideband::upper).low, 300);
  EXPECT_EQ(onSide(edges, sideband::lower).low, -2700);
  EXPECT_EQ(onSide(edges, sideband::lower).high, -300);
}

TEST(stationModeTest, speechPassesWithinTheEdgesGiven) {
  const signedEdges upper = speechMode().transmitEdges({300, 2700}, sideband::upper),
                    lower = speechMode().transmitEdges({300, 2700}, sideband::lower);
  EXPECT_EQ(upper.low + 100, 300); // the mode takes 100 Hz off each end
  EXPECT_EQ(upper.high - 100, 2700);
  EXPECT_EQ(lower.low + 100, -2700);
  EXPECT_EQ(lower.high - 100, -300);
}
