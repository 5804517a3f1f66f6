#include "radio/driveTable.h"
#include <algorithm>
#include <cmath>

namespace larch {

driveTable makeDriveTable(bool coarse) {
  constexpr int levels = 16, stepsInALevel = 5;
  constexpr double step_dB = 0.1;
  driveTable table;
  for (int i = 0; i < 256; i++) table[static_cast<std::size_t>(i)] = {static_cast<uint8_t>(i), 1.0};
  if (!coarse) return table;
  int level = levels - 1, step = 0;
  for (std::size_t i = table.size() - 1; i > 0; i--) {
    table[i] = {static_cast<uint8_t>(level * levels), std::pow(10.0, -(step * step_dB) / 20)};
    step++;
    if (step == stepsInALevel && level > 0) { // at level 0 the digital steps simply go on
      level--;
      step = 0;
    }
  }
  table[0] = {0, 0.0};
  return table;
}

const driveStep& stepOf(const driveTable& table, int32_t drive) {
  return table[static_cast<std::size_t>(std::clamp(drive, 0, 255))];
}

} // namespace larch
