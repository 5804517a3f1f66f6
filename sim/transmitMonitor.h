// What a simulated radio was given to transmit.
#pragma once
#include <cstdint>
#include <span>
#include <string>
#include <vector>
#include "sim/transmitSignal.h"

namespace larch::sim {

struct transmitLevels {
  uint64_t frames = 0, moxFrames = 0; // since the start
  double peak = 0;                    // largest |I + jQ| over 32767 with MOX on
  double power = 0;                   // mean of |I + jQ|^2 over 32767^2 with MOX on
  uint64_t withoutMox = 0;            // samples that weren't 0 while MOX was off
};

// One sample of the 48 kHz transmit stream as it came on the wire.
struct recordedSample {
  txSample sample;
  bool mox = false;
};

// Not thread-safe.
class transmitMonitor {
 public:
  void add(const commandFrame& frame);
  transmitLevels levels() const;
  void clear();
  void record(bool on) { recording = on; } // keeps every sample of every frame, at 48,000 a second
  const std::vector<recordedSample>& recorded() const { return kept; }
  void clearRecorded() { kept.clear(); }
  // Stereo WAV at 48 kHz, I left and Q right. Throws std::runtime_error.
  static void writeIqWav(const std::string& path, std::span<const recordedSample> samples);

 private:
  transmitLevels counted;
  double peakSquared = 0, energy = 0;
  bool recording = false;
  std::vector<recordedSample> kept;
};

} // namespace larch::sim
