// Radioteletype: what the host sets of it and the text that waits to be sent.
#pragma once
#include "modes/hostEvents.h"
#include "modes/modDemod.h"
#include "modes/textRing.h"
#include <string>

namespace larch {

// Holds its properties and the text ring; receives and transmits as the empty mode.
class RTTYModDemod : public modDemod {
 public:
  using modDemod::modDemod;

  void queueText(const std::string& text, uint32_t base) { text_.queue(text, base); } // this object's group: see textRing
  textRing& text() { return text_; }

  property<double> dbg1{0.0}, dbg2{0.0}; // kept and reported for the host

  hostText sentChars = nullptr;   // one character of the text queue went out
  hostText newChars = nullptr;    // a character was decoded
  hostSamples newDebug = nullptr; // a trace of the discriminator, 1024 values

 private:
  textRing text_;
};

} // namespace larch
