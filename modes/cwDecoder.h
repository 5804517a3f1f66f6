// Morse by ear: from the samples of a narrow channel to text and the sender's speed.
#pragma once
#include "dsp/buff.h"
#include <functional>

namespace larch {

// Runs on the transceiver's group; rt as far as the listener is. Does no filtering: relies on the channel filter ahead of it.
// Looks at every 32nd sample of a block, at 1500 Hz with blocks of a multiple of 32 at 48000 Hz; all its times are such looks.
class cwDecoder {
 public:
  static constexpr uint64_t lookSpacing = 32;
  using listener = std::function<void(char)>; // a lower-case letter, a digit or a blank between words

  void process(const cbuff& block, const listener& decoded);
  // Words per minute, 1800 / dot length in whole steps; 45 at first.
  int32_t speed() const;
  double dotLength() const { return dotLength_; }

 private:
  bool isKeyed(double magnitude);
  void trackSpeed(bool key);
  void debounce(bool key, const listener& decoded);
  void endRun(const listener& decoded);
  void endCharacter(const listener& decoded);
  int64_t dot() const { return static_cast<int64_t>(dotLength_); }

  // the two levels between which the threshold lies
  double peak_ = 0.0, floor_ = 1e10;
  // 64 bits: a key that nobody moves for a month doesn't overflow them
  bool rawState_ = false;
  int64_t rawRun_ = 0, previousRawRun_ = 0;
  double dotLength_ = 40.0;

  bool debounced_ = false;
  int64_t debouncedRun_ = 0;
  uint32_t code_ = 0, elementCount_ = 0; // of the character under way, as morseCharacter takes them
};

} // namespace larch
