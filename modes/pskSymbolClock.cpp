#include "modes/pskSymbolClock.h"
#include <cmath>

namespace larch {
namespace {

constexpr double symbolLength = 0.032;
constexpr double keptEnergy = 0.9878048780487805, newEnergy = 0.012195121951219513;
constexpr double strongHit = 4.0, cleanSymbol = 1.0;
constexpr double lowest = -1e10;
constexpr int32_t countedSymbols = 313, slotDrift_ppm = 200; // one slot of 16 in about 315 symbols

// By peakSlot: the slot at which bestSlot may move there, so that no symbol is lost or taken twice.
constexpr int32_t slotMap[pskSlots] = {7, 8, 9, 10, 11, 12, 13, 14, 0, 1, 2, 3, 4, 5, 6, 7};

} // namespace

bool pskSymbolClock::takeSlot(double energy) {
  double& mean = syncEnergy[static_cast<unsigned>(slotIndex)];
  mean = keptEnergy * mean + newEnergy * (energy > strongHit ? cleanSymbol : energy); // required: a strong hit counts no more
  const bool take = slotIndex == bestSlot;
  if (slotIndex == slotMap[peakSlot]) bestSlot = peakSlot;
  slotIndex++;
  return take;
}

bool pskSymbolClock::symbolSync(iqSample out, bool squelchOpen) {
  bool take = slotIndex < pskSlots && takeSlot(out.i * out.i + out.q * out.q);
  syncAccumulator += syncStep;
  if (syncAccumulator < symbolLength) return take;
  syncAccumulator = std::fmod(syncAccumulator, symbolLength);
  if (slotIndex == pskSlots - 1 && bestSlot == pskSlots - 1) take = true; // a short symbol has no last slot
  double highest = lowest;
  for (int32_t slot = 0; slot < pskSlots; slot++) {
    const double energy = syncEnergy[static_cast<unsigned>(slot)];
    if (energy > highest) {
      highest = energy;
      peakSlot = slot;
    }
  }
  supervise(squelchOpen);
  previousBest = bestSlot;
  slotIndex = 0;
  return take;
}

void pskSymbolClock::supervise(bool squelchOpen) {
  if (!squelchOpen) {
    clockCycles = clockDrift = clockError = 0;
    return;
  }
  if (bestSlot == previousBest + 1) clockDrift++;
  if (bestSlot == previousBest - 1) clockDrift--;
  if (clockCycles++ > countedSymbols) {
    clockError = clockDrift * slotDrift_ppm;
    clockCycles = clockDrift = 0;
  }
}

} // namespace larch
