// What the host of a Protocol 2 radio said last, checked field by field, and what it means.
#pragma once
#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>
#include "sim/problemLog.h"
#include "sim/protocol2Codec.h"

namespace larch::sim {

// Packets that didn't come yet count as zeros.
struct p2HostSettings {
  struct receiver {
    bool on = false;         // enabled at one of the six rates
    int rate_Hz = 0;         //
    int adc = 0;             //
    double frequency_Hz = 0; // of the oscillator, 0 to the clock
    bool operator==(const receiver&) const = default;
  };
  std::array<receiver, p2MaxReceivers> rx;
  bool widebandOn = false;
  int widebandInterval_ms = 20, widebandPackets = 32; // a frame
  bool watchdog = false;
  bool run = false;
  std::array<int, 3> attenuation_dB{}; // by ADC
  int receiversOn() const;
};

// Not thread-safe: the radio's guard covers it.
class protocol2Host {
 public:
  using listener = std::function<void(p2Packet, const std::string&)>; // a field that got another value than before, in words

  protocol2Host(int receiversOwned, double clock);
  // A packet of the right length. Only what changed since the last one of its kind is checked again.
  void take(p2Packet kind, std::span<const uint8_t> packet, problemLog& problems, const listener& tell);
  const p2HostSettings& settings() const { return decoded; }
  uint64_t packets(p2Packet kind) const { return kinds[static_cast<size_t>(kind)].count; }
  // The last one, zeros before the first.
  std::span<const uint8_t> bytes(p2Packet kind) const { return kinds[static_cast<size_t>(kind)].last; }

 private:
  struct packetState {
    std::vector<uint8_t> last;
    uint64_t count = 0;
    uint32_t sequence = 0;
  };
  void checkSequence(p2Packet kind, uint32_t sequence, problemLog& problems);
  void compare(p2Packet kind, std::span<const uint8_t> packet, problemLog& problems, const listener& tell);
  void checkReceivers(problemLog& problems) const;
  void decode();

  int owned;
  double clock_Hz;
  std::array<packetState, p2Packets> kinds;
  p2HostSettings decoded;
};

} // namespace larch::sim
