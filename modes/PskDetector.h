// One of the many channels that the PSK mode listens on, as the host sees it.
#pragma once
#include "modes/hostEvents.h"
#include "runtime/property.h"

namespace larch {

// The low three bits of a mode: 0 BPSK, 1 QPSK; 8: 62.5 baud, 16: 125 baud, neither: 31.25 baud.
struct pskMode {
  int32_t value;
  const char* name;
};
constexpr pskMode pskModes[] = {{0, "PSK31"}, {8, "PSK63"}, {16, "PSK125"}, {1, "QPSK31"}, {9, "QPSK63"}, {17, "QPSK125"}};

// Holds its properties and its place in the mode's book-keeping; detects nothing. Lives on its mode's group.
class PskDetector : public asyncObject {
 public:
  static constexpr int32_t claimedBlocks = 200; // lifeCount of a channel that has just been given a signal by hand

  using asyncObject::asyncObject;

  // Once, by the mode: one of pskModes and the channel's frequency in Hz.
  void configure(const pskMode& mode, int32_t frequency);
  // The channel is given a new signal: tells the host and claims the channel.
  void restart();
  int32_t mode() const { return mode_; }

  property<int32_t> freq;              // Hz
  property<int32_t> signalStrength{0}; // the host's
  property<int32_t> activity{0};       // the host's: steers which channel a new signal gets
  property<std::string> Mode;          // its name

  hostText newChars = nullptr;
  hostInt32 reset = nullptr; // always 1

 private:
  int32_t mode_ = 0;
  int32_t lifeCount_ = 0; // blocks that the channel stays claimed
};

} // namespace larch
