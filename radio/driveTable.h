// Drive level 0 to 255 to what the radio gets: its own level and the digital factor on the samples.
#pragma once
#include <array>
#include <cstdint>

namespace larch {

struct driveStep {
  uint8_t value = 0;       // the radio's level
  double multiplier = 1.0; // on the samples
};

using driveTable = std::array<driveStep, 256>;

// Coarse: the radio knows sixteen levels, the top four bits, and the steps between are made digitally, 0.1 dB each. Otherwise the
// radio's 8-bit level does it all.
driveTable makeDriveTable(bool coarse);

// The step of any drive; a drive beyond 0 to 255 counts as the nearest end. rt.
const driveStep& stepOf(const driveTable& table, int32_t drive);

} // namespace larch
