// Text to the two tones of radioteletype, bit by bit.
#pragma once
#include "dsp/buff.h"
#include "dsp/oscillator.h"
#include <functional>
#include <optional>

namespace larch {

// 45.45 baud: a start bit, five data bits, 1.5 stop bits, at 48000 samples/s. Runs on the transceiver's group; rt as far as its
// function is. Without text it sends letters shifts.
class rttyKeyer {
 public:
  static constexpr double level = 0.95;
  static constexpr double markAngle = 0.2840523399583333, spaceAngle = 0.26179939166666666; // radians a sample: 2170, 2000 Hz
  static constexpr int32_t bitLength = 1056, stopLength = 1584;                             // samples: 22, 33 ms

  // nextCharacter takes one out of the queue; nothing when there is none.
  explicit rttyKeyer(std::function<std::optional<char>()> nextCharacter) : nextCharacter_(std::move(nextCharacter)) {}

  void produce(const cbuff& out); // fills the block; the phase never jumps

 private:
  void beginBit();
  void beginCharacter();

  std::function<std::optional<char>()> nextCharacter_;
  int32_t bitTimer_ = 0, bitsLeft_ = 0;
  int32_t shiftRegister_ = 0; // the present bit lowest
  // required: the letters shifts of an empty queue and a blank leave it, although a receiver unshifts at both
  bool figures_ = false;
  oscillator tone_{48000};
};

} // namespace larch
