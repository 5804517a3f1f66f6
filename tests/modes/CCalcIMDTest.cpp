#include "modes/CCalcIMD.h"
#include <cmath>
#include <gtest/gtest.h>
#include <numbers>

using namespace larch;

namespace {

// One measurement of a signal of lines at 1, 2 and 3 cycles in 32 samples; true at its last sample only.
bool measure(CCalcIMD& imd, double a1, double a2, double a3) {
  constexpr double cycle = 2 * std::numbers::pi / 32;
  for (int n = 0; n < CCalcIMD::length; n++) {
    iqSample s;
    s.i = a1 * std::cos(cycle * n) + a3 * std::cos(3 * cycle * n);
    s.q = a2 * std::sin(2 * cycle * n);
    const bool ended = imd.put(s);
    if (ended != (n == CCalcIMD::length - 1)) return false;
  }
  return true;
}

} // namespace

// A resonator over N samples of a real line of amplitude a at its frequency: (a N / 2) squared.
TEST(CCalcIMDTest, eachResonatorMeasuresItsLine) {
  CCalcIMD imd;
  ASSERT_TRUE(measure(imd, 1, 0.5, 0.25));
  const double whole = 144.0 * 144;
  EXPECT_NEAR(imd.energy[0], whole, 1e-6);
  EXPECT_NEAR(imd.energy[1], whole / 4, 1e-6);
  EXPECT_NEAR(imd.energy[2], whole / 16, 1e-6);
}

TEST(CCalcIMDTest, eachMeasurementStartsAfresh) {
  CCalcIMD imd;
  ASSERT_TRUE(measure(imd, 1, 1, 1));
  EXPECT_EQ(imd.count, 0);
  ASSERT_TRUE(measure(imd, 0.1, 0, 0));
  EXPECT_NEAR(imd.energy[0], 0.01 * 144 * 144, 1e-6);
  EXPECT_NEAR(imd.energy[1], 0, 1e-6);
}

TEST(CCalcIMDTest, clearDropsTheMeasurementUnderWayAndTheEnergies) {
  CCalcIMD imd;
  measure(imd, 1, 1, 1);
  for (int n = 0; n < 100; n++) imd.put({1, 1});
  imd.clear();
  EXPECT_EQ(imd.count, 0);
  EXPECT_EQ(imd.energy[0], 0);
  ASSERT_TRUE(measure(imd, 1, 0, 0));
  EXPECT_NEAR(imd.energy[0], 144.0 * 144, 1e-6);
}
