#include "tests/transceiver/chainTesting.h"
#include <gtest/gtest.h>

namespace larch::test {
namespace {

TEST(levelMeterTest, everyEighteenthBlockReportsTheLargestPower) {
  levelMeter meter;
  cbuff block(512, cdouble(0.001, 0));
  block.data[100] = {0.006, -0.008}; // power 1e-4
  for (int round = 0; round < 3; round++) {
    for (int i = 1; i < 18; i++) EXPECT_FALSE(meter.measure(block, 0)) << i;
    const auto report = meter.measure(block, 0);
    ASSERT_TRUE(report);
    EXPECT_NEAR(report->signalStrength_dB, -30.0, 1e-9) << "10 log10(10 * 1e-4)";
  }
}

TEST(levelMeterTest, silentBlockReadsTheFloor) {
  levelMeter meter;
  const cbuff silent(512, 0.0);
  for (int i = 1; i < 18; i++) meter.measure(silent, 0);
  EXPECT_NEAR(meter.measure(silent, 0)->signalStrength_dB, -1800.0, 1e-9);
}

TEST(levelMeterTest, microphonePeakCoversTheBlocksSinceTheLastReport) {
  levelMeter meter;
  const cbuff block(512, 0.0);
  for (int i = 1; i < 18; i++) meter.measure(block, i == 5 ? 0.75 : 0.25);
  EXPECT_EQ(meter.measure(block, 0.5)->micLevel, 0.75);
  for (int i = 1; i < 18; i++) meter.measure(block, 0.125);
  EXPECT_EQ(meter.measure(block, 0.0)->micLevel, 0.125) << "starts anew";
}

} // namespace
} // namespace larch::test
