// What a simulated radio found wrong with the datagrams it was sent.
#pragma once
#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>

namespace larch::sim {

enum class problem : int {
  wrongLength,      // no length that the protocol knows for this kind of datagram
  wrongMagic,       // doesn't begin with EF FE and is no discovery of Protocol 2
  unknownCommand,   // third byte is no command of the protocol
  wrongEndpoint,    // data for another endpoint than 2
  wrongSync,        // a frame doesn't begin with 7F 7F 7F
  sequenceBreak,    // not the successor of the last sequence number
  unknownRegister,  // C0 names a register that doesn't exist
  unknownRate,      // a rate code beyond the four rates
  tooManyReceivers, // more receivers asked for than the board has
  frequencyTooHigh, // a frequency word above half the clock
  foreignSender,    // data from somebody who isn't the peer of the running stream
  unknownDevice,    // a queued command to a device or location that the board doesn't have
  deviceBusy,       // a queued command while a store takes its time
  badField,         // Protocol 2: a field that says what it must not, or what this radio can't do
  unknownField,     // Protocol 2: a byte that isn't 0 where no field is
  notConfigured,    // Protocol 2: run before the radio was told what to send
  count
};

const char* problemName(problem kind);

// Counts by kind and keeps the text of the latest ones. Not thread-safe: the radio's guard covers it.
class problemLog {
 public:
  static constexpr size_t keptTexts = 256;

  void add(problem kind, std::string text);
  void clear();
  uint64_t count(problem kind) const { return counts[static_cast<size_t>(kind)]; }
  uint64_t total() const;
  const std::deque<std::string>& latest() const { return texts; } // oldest first, each "name: text"
  std::string summary() const;                                    // "sequence break 2, wrong sync 1", "none"

 private:
  std::array<uint64_t, static_cast<size_t>(problem::count)> counts{};
  std::deque<std::string> texts;
};

} // namespace larch::sim
