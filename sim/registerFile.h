// The command registers of a Protocol 1 radio: what the host wrote last, in which order, and what it means.
#pragma once
#include <array>
#include <cstdint>
#include <deque>
#include <string>
#include "sim/discovery.h"
#include "sim/problemLog.h"
#include "sim/protocol1Codec.h"

namespace larch::sim {

constexpr int p1Registers = 46;       // 0 to 45
constexpr int p1MaxReceivers = 32;    // receivers that registers 2 to 8 and 18 to 42 can tune
constexpr int p1QueuedAddress = 0x7D; // C0 0xFA: a write to a device on the board's two-wire bus

// One command as it came in. frame counts the frames since the radio was made, from 0.
struct registerWrite {
  uint64_t frame = 0;
  std::array<uint8_t, 5> c{};
  bool mox() const { return (c[0] & 1) != 0; }
  int address() const { return c[0] >> 1; }
  bool queued() const { return address() == p1QueuedAddress; }
};

// The registers by meaning. Before the host has written a register its bytes count as 0.
struct hostSettings {
  int sampleRate_Hz = 48000;                              // register 0
  int filterBits = 0;                                     // 0: the seven open-collector outputs
  bool lnaOn = false;                                     // 0: Hermes-Lite's amplifier bit
  bool secondAntenna = false;                             // 0
  int receivers = 1;                                      // 0
  bool duplex = false;                                    // 0: C4 bit 2
  uint32_t txFrequency_Hz = 0;                            // 1
  std::array<uint32_t, p1MaxReceivers> rxFrequency_Hz{};  // 2 to 8, 18 to 42
  int drive = 0;                                          // 9
  bool disableTr = false, enablePa = false, tune = false; // 9
  uint8_t gainByte = 0;                                   // 10: C4
  std::array<int, 8> adc{};                               // 14: which ADC feeds receiver 0 to 7
  uint8_t txGainByte = 0;                                 // 14: C3
  bool cwInternal = false;                                // 15
  int cwHangTime_ms = 0;                                  // 16
  bool mox = false;                                       // C0 bit 0 of the last frame
};

// Gain of the receiver path that these settings ask for; lowest_dB is the gain of code 0 (-12 on Hermes-Lite).
double receiveGain_dB(const hostSettings& settings, gainForm form, double lowest_dB);

const char* registerName(int address);                    // "rate, filters, receivers"; "?" where there is none
std::string describeRegister(const registerWrite& write); // "0 rate, filters, receivers: 192000 Hz, 2 receivers, ..."

// Not thread-safe: the radio's guard covers it.
class registerFile {
 public:
  explicit registerFile(size_t historyLength = 65536) : historyLimit(historyLength) {}

  // Takes one command; true when a register got another value than before (or its first).
  // Faults go to `problems`: an unknown register, a rate code above 3, a frequency above half the clock.
  bool write(const std::array<uint8_t, 5>& c, double clock_Hz, problemLog& problems);

  const hostSettings& settings() const { return decoded; }
  std::array<uint8_t, 4> bytes(int address) const { return values.at(static_cast<size_t>(address)); } // C1 to C4
  uint64_t writes(int address) const { return counts.at(static_cast<size_t>(address)); }
  uint64_t frames() const { return frameCount; }
  const std::deque<registerWrite>& history() const { return order; }        // oldest first, bounded
  const std::deque<registerWrite>& queuedCommands() const { return queue; } // the same
  void clearHistory();

 private:
  void decode(int address);
  void check(int address, double clock_Hz, problemLog& problems) const;

  size_t historyLimit;
  std::array<std::array<uint8_t, 4>, p1Registers> values{};
  std::array<uint64_t, p1Registers> counts{};
  uint64_t frameCount = 0;
  std::deque<registerWrite> order;
  std::deque<registerWrite> queue;
  hostSettings decoded;
};

} // namespace larch::sim
