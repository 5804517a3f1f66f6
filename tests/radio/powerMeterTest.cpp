#include "radio/powerMeter.h"
#include <cmath>
#include <gtest/gtest.h>

using namespace larch;

namespace {

// watts = reading / 100
asyncCollection<calibLine>::list straightLine() {
  asyncCollection<calibLine>::list rows;
  for (double x : {0.0, 1000.0}) {
    rows.push_back(keptByCore(std::make_shared<calibLine>(nullptr)));
    rows.back()->inp.set(x);
    rows.back()->outp.set(x / 100);
  }
  return rows;
}
void settle(analogueInputs& ain, int index, int word) {
  for (int i = 0; i < 1000; i++) ain.add(index, word);
}

} // namespace

TEST(analogueInputsTest, startAtZeroAndRiseByATenth) {
  analogueInputs ain;
  double expected = 0;
  for (int i = 0; i < 50; i++) {
    EXPECT_DOUBLE_EQ(ain[3], expected);
    ain.add(3, 1000);
    expected = 100 + 0.9 * expected;
  }
  EXPECT_EQ(ain[2], 0.0);
}

TEST(powerMeterTest, theGreaterInputIsForwardWhateverTheWiring) {
  for (int swap : {0, 1}) {
    analogueInputs ain;
    settle(ain, swap, 900);
    settle(ain, 1 - swap, 100);
    const powerReading p = readPower(ain, straightLine());
    EXPECT_NEAR(p.forward, 9.0, 1e-5);
    EXPECT_NEAR(p.reverse, 1.0, 1e-5);
    EXPECT_NEAR(p.swr, 2.0, 1e-5); // rho is 1/3
  }
}

TEST(powerMeterTest, nothingForwardIsNotDividedBy) {
  const powerReading p = readPower(analogueInputs{}, straightLine());
  EXPECT_EQ(p.forward, 0.0f);
  EXPECT_EQ(p.swr, 1.0f);
}

TEST(powerMeterTest, fullReflectionIsHugeButFinite) {
  analogueInputs ain;
  settle(ain, 0, 500);
  settle(ain, 1, 500);
  const powerReading p = readPower(ain, straightLine());
  EXPECT_GT(p.swr, 1e6f);
  EXPECT_TRUE(std::isfinite(p.swr));
}

TEST(powerMeterTest, equalReadingsInTheTableReachThePower) {
  auto rows = straightLine();
  rows[1]->inp.set(0);
  const powerReading p = readPower(analogueInputs{}, rows);
  EXPECT_FALSE(std::isfinite(p.forward));
}

TEST(powerMeterTest, temperatureAndCurrentFollowTheirFormulas) {
  analogueInputs ain;
  EXPECT_DOUBLE_EQ(readTemperature(ain), -50.0);
  EXPECT_EQ(readCurrent(ain), 0.0);
  settle(ain, 4, 1000);
  settle(ain, 2, 2000);
  EXPECT_NEAR(readTemperature(ain), (1000 * 3.26 / 4096 - 0.5) * 100, 1e-9);
  EXPECT_NEAR(readCurrent(ain), 2000 * 3.26 / 4096 / 50 / 0.04 * 1270, 1e-9);
}
