// Bounds on the bandwidth of what the text modes send; the figures are bench/textBandwidthStudy's.
#include "tests/modes/occupiedBandwidth.h"
#include <gtest/gtest.h>

namespace larch::test {
namespace {

constexpr uint32_t points = 16384; // 2.9 Hz a bin
constexpr double bin_Hz = 48000.0 / points, lines_Hz = 8 * bin_Hz;
constexpr size_t length = 8 * 48000;

double baudOf(int32_t mode) { return mode & 16 ? 125 : mode & 8 ? 62.5 : 31.25; }

class pskBandwidthTest : public testing::TestWithParam<int32_t> {};
INSTANTIATE_TEST_SUITE_P(allModes, pskBandwidthTest, testing::Values(0, 8, 16, 1, 9, 17));

} // namespace

TEST_P(pskBandwidthTest, textStaysWithinThreeBauds) {
  const auto b = bandwidthsOf(sentPsk(GetParam(), keying::text, length), points);
  const double baud = baudOf(GetParam());
  EXPECT_LT(b.ninetyNine, 1.5 * baud + lines_Hz);
  EXPECT_LT(b.at26, 1.8 * baud + lines_Hz);
  EXPECT_LT(b.at40, 2.9 * baud + lines_Hz);
  EXPECT_GT(b.at26, baud) << "it was text";
}

// A cosine of half the symbol rate: two lines, each as wide as the window makes it.
TEST_P(pskBandwidthTest, idleIsTwoLinesOneBaudApart) {
  const auto b = bandwidthsOf(sentPsk(GetParam(), keying::idle, length), points);
  for (const double width : {b.ninetyNine, b.at26, b.at40}) {
    EXPECT_GT(width, baudOf(GetParam()) - bin_Hz);
    EXPECT_LT(width, baudOf(GetParam()) + lines_Hz);
  }
}

TEST_P(pskBandwidthTest, theRisingAndFallingShapesKeepWithinFourBauds) {
  const auto b = bandwidthsOf(sentPsk(GetParam(), keying::onAndOff, length), points);
  EXPECT_LT(b.ninetyNine, 1.2 * baudOf(GetParam()) + lines_Hz);
  EXPECT_LT(b.at40, 3.4 * baudOf(GetParam()) + lines_Hz);
  EXPECT_GT(b.at40, baudOf(GetParam())) << "it was keyed";
}

TEST(textBandwidthTest, radioteletypeKeepsWithin640Hertz) {
  for (const bool text : {true, false}) {
    const auto b = bandwidthsOf(sentBy<rttyKeyer>(text, length), points);
    EXPECT_LT(b.ninetyNine, 260);
    EXPECT_LT(b.at26, 340);
    EXPECT_LT(b.at40, 640);
    EXPECT_GT(b.ninetyNine, 170);
  }
}

TEST(textBandwidthTest, aDrawnPictureIsHardlyWiderThanItsRows) {
  for (const double step : {30.0, 15.0, 60.0}) { // seven steps between the rows
    const auto b = bandwidthsOf(sentBy<hellPainter>(true, length, step), points);
    EXPECT_LT(b.ninetyNine, 7.8 * step + lines_Hz) << step;
    EXPECT_LT(b.at40, 9.3 * step + lines_Hz) << step;
    EXPECT_GT(b.at26, 6 * step) << step;
  }
}

} // namespace larch::test
