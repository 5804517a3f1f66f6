// Radioteletype: text from what is received, two tones from text.
#pragma once
#include "modes/hostEvents.h"
#include "modes/modDemod.h"
#include "modes/rttyDecoder.h"
#include "modes/rttyKeyer.h"
#include "modes/textRing.h"
#include <string>

namespace larch {

// rxFreq is the lower one of the two tones received, in Hz above the tuned frequency: there the mark is. required: the
// transmitter has its mark at the higher tone, so two of these hear each other with the spectrum of one of them mirrored only.
class RTTYModDemod : public modDemod {
 public:
  explicit RTTYModDemod(std::shared_ptr<syncTask> group);

  // Audio: the real part. rt but for what the host is told.
  buff<float> demodulate(const cbuff& block) override;
  // Text; the microphone isn't heard. "~" in the text ends the transmission. rt but for what the host is told.
  void modulate(const cbuff& input, const cbuff& output) override;

  void queueText(const std::string& text, uint32_t base) { text_.queue(text, base); } // this object's group: see textRing
  textRing& text() { return text_; }

  property<double> dbg1{0.0}, dbg2{0.0}; // kept and reported for the host

  hostText sentChars = nullptr;   // one character of the text queue went out
  hostText newChars = nullptr;    // a character was decoded
  hostSamples newDebug = nullptr; // a trace of the discriminator, 1024 values

 private:
  void heard(const rttyPeriod& period);
  void traced(float value);

  textRing text_;

  // the signal's: touched on the transceiver's group
  rttyDecoder decoder_;
  rttyKeyer keyer_;
  buff<float> debugBuffer_;
  uint64_t debugIndex_ = 0;
};

} // namespace larch
