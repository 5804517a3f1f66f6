// The small devices behind the two-wire bus of a Hermes-Lite: bias potentiometers and stored settings.
#pragma once
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include "sim/problemLog.h"

namespace larch::sim {

// What was written to them; empty: never.
struct deviceState {
  std::array<std::optional<uint8_t>, 2> bias, storedBias; // of the board's two amplifiers, not inverted
  std::optional<uint8_t> externalBias, storedExternalBias;
  std::array<std::optional<uint8_t>, 4> address; // stored IPv4, highest byte first
  std::array<std::optional<uint8_t>, 2> macTail; // stored last two bytes of the MAC
  std::optional<uint8_t> status;                 // stored
  uint64_t writes = 0, stores = 0;               // that were done
  std::string addressText() const;               // "192.168.1.20", a byte that was never written as 0
};

// Writes are blind: nothing is answered, what can't be done is a problem and lost. A store keeps the board busy. Not thread-safe.
class boardDevices {
 public:
  static constexpr uint64_t storeTime_frames = 40;
  static constexpr int invertedBelow = 60; // firmware that has its device at another address and inverts the bias

  // onBoard: the board has such a bus
  boardDevices(bool onBoard, int firmwareVersion) : present(onBoard), firmware(firmwareVersion) {}
  void pass(uint64_t frames) { now += frames; } // of the host, lost ones too
  // C1 to C4 of a queued command. Returns what it did in words, for those commands that complete something:
  // "set bias 0: 200", "stored bias 0: 200", "stored address: 192.168.1.20", "stored MAC tail: 12:34", "stored status: 0x81".
  std::string write(const std::array<uint8_t, 4>& c, problemLog& problems);
  const deviceState& state() const { return written; }

 private:
  std::string writeMain(int location, uint8_t value, problemLog& problems);
  std::string writeExternal(int location, uint8_t value, problemLog& problems);
  std::string store(std::optional<uint8_t>& place, uint8_t value, std::string words);

  bool present;
  int firmware;
  uint64_t now = 0;
  std::optional<uint64_t> storedAt; // frame of the last store
  deviceState written;
};

} // namespace larch::sim
