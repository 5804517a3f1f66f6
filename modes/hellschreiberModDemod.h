// Hellschreiber, text as a picture in the waterfall: what the host sets of it and the text that waits to be sent.
#pragma once
#include "modes/hostEvents.h"
#include "modes/modDemod.h"
#include "modes/textRing.h"
#include <string>

namespace larch {

// Holds its property and the text ring; receives and transmits as the empty mode.
class hellschreiberModDemod : public modDemod {
 public:
  using modDemod::modDemod;

  void queueText(const std::string& text, uint32_t base) { text_.queue(text, base); } // this object's group: see textRing
  textRing& text() { return text_; }

  property<double> frequencyStep{30.0}; // Hz between rows, and pixels a second

  hostText sentChars = nullptr; // one character of the text queue went out

 private:
  textRing text_;
};

} // namespace larch
