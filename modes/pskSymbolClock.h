// Finds the middle of the symbols of a PSK signal by the energy at each of 16 phases of the symbol.
#pragma once
#include "modes/pskFilters.h"
#include <cstdint>

namespace larch {

constexpr int32_t pskSlots = 16; // phases, which is samples, of a symbol

struct pskSymbolClock {
  double syncStep = 16.0 / 8000;
  double syncAccumulator = 0; // a symbol lasts 0.032 of these units whatever the rate
  std::array<double, pskSlots> syncEnergy{};
  int32_t bestSlot = 0;  // where symbols are taken
  int32_t peakSlot = 5;  // where the energy was highest at the end of the last symbol
  int32_t slotIndex = 0; // of the next sample

  // supervision: how far the sender's clock runs from ours
  int32_t clockCycles = 0;  // symbols counted
  int32_t clockDrift = 0;   // slots that bestSlot has moved in them
  int32_t clockError = 0;   // parts per million, kept for inspection
  int32_t previousBest = 0; // bestSlot one symbol ago

  // An output of the bit filter; true when it is to be decoded as a symbol. rt.
  bool symbolSync(iqSample out, bool squelchOpen);

 private:
  bool takeSlot(double energy);
  void supervise(bool squelchOpen);
};

} // namespace larch
