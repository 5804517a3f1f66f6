#include "modes/pskSymbolClock.h"
#include <cmath>
#include <gtest/gtest.h>
#include <numbers>
#include <vector>

using namespace larch;

namespace {

// A signal whose energy is highest at `peak` of 16 samples.
double envelope(double sample, double peak) {
  return std::sqrt(0.5 + 0.5 * std::cos(2 * std::numbers::pi * (sample - peak) / 16));
}

// The samples at which symbols are taken.
std::vector<int> taken(pskSymbolClock& clock, int samples, double peak, double slotsPerSample = 0, bool squelchOpen = true) {
  std::vector<int> at;
  for (int n = 0; n < samples; n++)
    if (clock.symbolSync({envelope(n, peak + n * slotsPerSample), 0}, squelchOpen)) at.push_back(n);
  return at;
}

} // namespace

TEST(pskSymbolClockTest, takesOneSymbolEverySixteenSamplesWhereTheEnergyIsHighest) {
  for (int peak = 0; peak < pskSlots; peak++) {
    pskSymbolClock clock;
    taken(clock, 1600, peak);
    const auto at = taken(clock, 320, peak);
    ASSERT_EQ(at.size(), 20u) << peak;
    for (size_t k = 0; k < at.size(); k++) EXPECT_EQ(at[k], peak + 16 * static_cast<int>(k)) << peak;
    EXPECT_EQ(clock.bestSlot, peak);
    EXPECT_EQ(clock.peakSlot, peak);
  }
}

TEST(pskSymbolClockTest, energyIsAMeanOverSymbols) {
  pskSymbolClock clock;
  clock.symbolSync({0.6, 0.8}, false);
  EXPECT_DOUBLE_EQ(clock.syncEnergy[0], 1 / 82.0);
  for (int k = 0; k < 15; k++) clock.symbolSync({0, 0}, false);
  clock.symbolSync({1, 1}, false);
  EXPECT_NEAR(clock.syncEnergy[0], (81 / 82.0 + 2) / 82.0, 1e-15);
}

TEST(pskSymbolClockTest, aStrongHitCountsAsACleanSymbol) {
  pskSymbolClock clock;
  clock.symbolSync({2.0, 0}, false); // 4.0 is not above
  EXPECT_NEAR(clock.syncEnergy[0], 4 / 82.0, 1e-15);
  clock.symbolSync({2.1, 0}, false);
  EXPECT_NEAR(clock.syncEnergy[1], 1 / 82.0, 1e-15);
  clock.symbolSync({1e8, 1e8}, false);
  EXPECT_NEAR(clock.syncEnergy[2], 1 / 82.0, 1e-15);
}

TEST(pskSymbolClockTest, theFirstOfEqualPeaksWins) {
  pskSymbolClock clock;
  for (int k = 0; k < 16; k++) clock.symbolSync({k == 3 || k == 9 ? 1.0 : 0.5, 0}, false);
  EXPECT_EQ(clock.peakSlot, 3);
}

// By the map: the new slot counts from a slot about half a symbol away.
TEST(pskSymbolClockTest, theSamplingPointMovesFarFromTheTransition) {
  const int map[] = {7, 8, 9, 10, 11, 12, 13, 14, 0, 1, 2, 3, 4, 5, 6, 7};
  for (int peak = 0; peak < pskSlots; peak++) {
    pskSymbolClock clock;
    clock.bestSlot = (peak + 1) % 16;
    clock.peakSlot = peak;
    for (int slot = 0; slot < pskSlots - 1; slot++) {
      clock.symbolSync({envelope(slot, peak), 0}, true);
      EXPECT_EQ(clock.bestSlot == peak, slot >= map[peak]) << peak << ' ' << slot;
    }
  }
}

// Whatever way the peak goes, over the end of the symbol too, each symbol is taken once.
TEST(pskSymbolClockTest, aSenderThatDriftsLosesNoSymbolAndGainsNone) {
  for (const double ppm : {300.0, -300.0, 2000.0, -2000.0}) {
    pskSymbolClock clock;
    taken(clock, 1600, 8);
    const double slotsPerSample = ppm * 1e-6;
    const auto at = taken(clock, 160000, 8, slotsPerSample);
    // the peak lies at 8 + n * slotsPerSample + 16 k
    EXPECT_NEAR(static_cast<double>(at.size()), 160000 * (1 - slotsPerSample) / 16, 1.0) << ppm;
    for (size_t k = 1; k < at.size(); k++) {
      ASSERT_GE(at[k] - at[k - 1], 15) << ppm;
      ASSERT_LE(at[k] - at[k - 1], 17) << ppm;
    }
  }
}

TEST(pskSymbolClockTest, aSymbolOfFifteenSamplesIsStillTakenAtTheLastSlot) {
  pskSymbolClock clock;
  clock.bestSlot = clock.peakSlot = 15;
  clock.syncAccumulator = 0.0021; // the first symbol ends one sample early
  int count = 0;
  for (int n = 0; n < 15; n++) count += clock.symbolSync({envelope(n, 15), 0}, true);
  EXPECT_EQ(clock.slotIndex, 0);
  EXPECT_EQ(count, 1);
}

TEST(pskSymbolClockTest, aSeventeenthSampleHasNoSlot) {
  pskSymbolClock clock;
  clock.syncAccumulator = -0.0019;
  for (int n = 0; n < 16; n++) clock.symbolSync({1, 0}, true);
  EXPECT_EQ(clock.slotIndex, 16);
  const auto energies = clock.syncEnergy;
  clock.symbolSync({1, 0}, true);
  EXPECT_EQ(clock.syncEnergy, energies);
  EXPECT_EQ(clock.slotIndex, 0);
}

// 315 symbols of 16 slots: one slot is 198 ppm.
TEST(pskSymbolClockTest, measuresTheSendersClockInPartsPerMillion) {
  for (const int32_t slots : {2, -2}) {
    pskSymbolClock clock;
    taken(clock, 1600, 8);
    clock.clockCycles = clock.clockDrift = 0;
    taken(clock, 16 * 315, 8, slots / (16 * 315.0));
    EXPECT_EQ(clock.clockCycles, 0);
    EXPECT_NEAR(clock.clockError, slots * 200, 200) << slots;
    EXPECT_NE(clock.clockError, 0) << slots;
  }
}

TEST(pskSymbolClockTest, supervisionCountsSlotsForThreeHundredAndFifteenSymbols) {
  pskSymbolClock clock;
  clock.clockDrift = 3;
  for (int symbol = 0; symbol < 314; symbol++) taken(clock, 16, 0);
  EXPECT_EQ(clock.clockCycles, 314);
  EXPECT_EQ(clock.clockError, 0);
  taken(clock, 16, 0);
  EXPECT_EQ(clock.clockError, 600);
  EXPECT_EQ(clock.clockCycles, 0);
  EXPECT_EQ(clock.clockDrift, 0);
}

TEST(pskSymbolClockTest, aClosedSquelchClearsTheSupervision) {
  pskSymbolClock clock;
  clock.clockDrift = clock.clockError = clock.clockCycles = 7;
  taken(clock, 16, 0, 0, false);
  EXPECT_EQ(clock.clockDrift, 0);
  EXPECT_EQ(clock.clockError, 0);
  EXPECT_EQ(clock.clockCycles, 0);
}
