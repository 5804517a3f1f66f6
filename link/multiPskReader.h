// Cuts the bytes of a MultiPSK client into messages.
#pragma once
#include "dsp/buff.h"

namespace larch {

// The next bytes, missing() of them or less, go to place(); took() says that they have come. Whatever comes, nothing is written
// outside of the buffer.
class multiPskReader {
 public:
  static constexpr uint32_t headerBytes = 4, bufferBytes = 128;
  enum class event { none, badLength, message };

  char* place() const { return buffer_.data + received_; }
  uint32_t missing() const { return expected_ - received_; } // 0: an empty message waits for took(0)
  event took(uint32_t bytes);                                // no more than missing()
  buff<char> takeMessage();                                  // once after each event::message; without its length word

 private:
  event headerCame();

  buff<char> buffer_{bufferBytes};
  uint32_t received_ = 0, expected_ = headerBytes; // of the part in progress
  bool readingHeader_ = true;
};

} // namespace larch
