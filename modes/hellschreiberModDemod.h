// Hellschreiber: text as a picture in the waterfall.
#pragma once
#include "modes/hellPainter.h"
#include "modes/hostEvents.h"
#include "modes/modDemod.h"
#include "modes/textRing.h"
#include <string>

namespace larch {

// Transmits text as characters drawn in frequency and time; the eye reads them off the receiver's waterfall, nothing decodes.
class hellschreiberModDemod : public modDemod {
 public:
  explicit hellschreiberModDemod(std::shared_ptr<syncTask> group);

  buff<float> demodulate(const cbuff& block) override; // audio: the real part; rt
  // Text; the microphone isn't heard. "~" in the text ends the transmission. rt but for what the host is told.
  void modulate(const cbuff& input, const cbuff& output) override;

  void queueText(const std::string& text, uint32_t base) { text_.queue(text, base); } // this object's group: see textRing
  textRing& text() { return text_; }

  property<double> frequencyStep{hellPainter::defaultStep}; // Hz between rows, and pixels a second

  hostText sentChars = nullptr; // one character of the text queue went out

 private:
  textRing text_;
  hellPainter painter_; // the signal's: touched on the transceiver's group
};

} // namespace larch
