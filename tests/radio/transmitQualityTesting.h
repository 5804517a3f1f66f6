// What the measurements of a transmitter share.
#pragma once
#include "modes/ssbModDemod.h"
#include "tests/radio/transmitQualityMeasures.h"
#include "tests/radio/transmitQualitySounds.h"
#include "tests/radio/transmitQualityStation.h"

namespace larch::test {

constexpr double enough_s = 2.0; // of transmission for a settled part

inline std::shared_ptr<ssbModDemod> flatSsb(double compression) {
  auto mode = keptByCore(std::make_shared<ssbModDemod>(nullptr));
  mode->UseMicEQ.set(false);
  mode->compression.set(compression);
  return mode;
}

// Of all that was sent the part between silence, rise and all delays and the fall.
inline std::vector<cdouble> settledPart(const std::vector<cdouble>& sent) {
  constexpr std::ptrdiff_t settled = 8000, fallAndHold = 2000; // samples
  return {sent.begin() + settled, sent.end() - fallAndHold};
}

inline powerSpectrumOf spectrumOf(transmittingStation& station, const sound& voice) {
  station.speak(voice);
  return powerSpectrumOf(settledPart(station.send(enough_s)));
}

} // namespace larch::test
