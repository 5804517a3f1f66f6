// What a simulated radio was given to transmit.
#pragma once
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>
#include "sim/transmitMeter.h"

namespace larch::sim {

struct transmitLevels {
  uint64_t frames = 0, moxFrames = 0; // since the start
  double peak = 0;                    // largest |I + jQ| over 32767 with MOX on
  double power = 0;                   // mean of |I + jQ|^2 over 32767^2 with MOX on
  uint64_t withoutMox = 0;            // samples that weren't 0 while nothing was on the air
};

// What the registers said of the transmitter.
struct transmitSetting {
  double frequency_Hz = 0;
  int filterBits = 0, drive = 0;
  bool operator==(const transmitSetting&) const = default;
};

// From the first frame on the air to the last.
struct transmission {
  static constexpr double settling_s = 0.1; // hosts send the registers of a transmission in turn, some 50 ms long
  double start_s = 0;                       // radio time at which the first frame came
  transmitSetting first, last;              // as it began, but for what was replaced within settling_s, and with its last frame
  transmitReading reading;
  uint64_t lost = 0;       // samples of it that never came; they count as silence
  uint64_t withoutMox = 0; // before it, since the one before: samples that weren't 0 while nothing was on the air
};

// "12.345 s: 3.210 s on 7100000 Hz, filters 0x04, drive 255, peak ..., 0 clipped, 0 without MOX"
std::string describeTransmission(const transmission& t);

// One sample of the 48 kHz transmit stream as it came on the wire.
struct recordedSample {
  txSample sample;
  bool mox = false;
};

// Not thread-safe.
class transmitMonitor {
 public:
  // sent: what this frame puts on the air. Returns the transmission that was over before it.
  std::optional<transmission> add(const commandFrame& frame, const transmitFrame& sent, double now_s,
                                  const transmitSetting& setting);
  void skip(size_t samples);            // lost on the way
  std::optional<transmission> finish(); // the stream ends

  bool transmitting() const { return under.has_value(); }
  transmission soFar() const;                          // while transmitting
  std::vector<std::complex<float>> lastSecond() const; // of this transmission, at most

  transmitLevels levels() const;
  void clear();
  void record(bool on) { recording = on; } // keeps every sample of every frame, at 48,000 a second
  const std::vector<recordedSample>& recorded() const { return kept; }
  std::vector<recordedSample> takeRecorded() { return std::exchange(kept, {}); } // recording goes on, from nothing
  // Stereo WAV at 48 kHz, I left and Q right, turned so that positive frequencies lie above the carrier: Q changes its sign
  // unless the carrier is in an odd Nyquist zone. Throws std::runtime_error.
  static void writeIqWav(const std::string& path, std::span<const recordedSample> samples, int zone = 0);

 private:
  void put(std::span<const std::complex<float>> samples);
  void follow(const transmitSetting& setting);

  transmitLevels counted;
  double peakSquared = 0, energy = 0;
  bool recording = false;
  std::vector<recordedSample> kept;
  std::optional<transmission> under; // the one that goes on
  transmitMeter meter;               // of it
  size_t aired = 0;                  // samples of it
  // when the first of each setting came, in these samples
  struct {
    size_t frequency = 0, filterBits = 0, drive = 0;
  } begun;
  std::vector<std::complex<float>> recent;
  uint64_t strayBefore = 0; // withoutMox as it was at the last one's end
};

} // namespace larch::sim
