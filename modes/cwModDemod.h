// Morse telegraphy: a tone and text from what is received; transmits what a straight key and a text queue key.
#pragma once
#include "dsp/oscillator.h"
#include "modes/cwDecoder.h"
#include "modes/hostEvents.h"
#include "modes/modDemod.h"
#include "modes/straightKey.h"
#include "modes/textKeyer.h"
#include "modes/textRing.h"
#include <string>

namespace larch {

class cwModDemod : public modDemod {
 public:
  explicit cwModDemod(std::shared_ptr<syncTask> group);

  // Audio: the block moved up by freq. Decodes while the transceiver doesn't transmit. rt but for what the posted text costs.
  buff<float> demodulate(const cbuff& block) override;
  // The straight key goes before the text; the microphone isn't heard. Ends the transmission at a "~" or a line end in the text,
  // and when nothing has been keyed for swHangTime. rt but for what the posted text costs.
  void modulate(const cbuff& input, const cbuff& output) override;

  // The straight key, on this object's group, carried out on the transceiver's. Down also raises the transceiver's ptt; up leaves
  // it to the hang time.
  void keyDown();
  void keyUp();
  // As above: see textRing. Text alone doesn't raise ptt.
  void queueText(const std::string& text, uint32_t base);
  int32_t sentCount() const { return text_.sentCount(); } // characters taken out of the queue, any thread

  property<double> freq{650.0};          // Hz: pitch of the receive tone and the sidetone
  property<double> wpm{20.0};            // words per minute, transmit
  property<int32_t> swHangTime{200};     // ms of idle keying until ptt falls
  property<double> sidetoneVolume{1.0};  // linear, 1: full scale
  property<double> rxwpm{20.0};          // the decoder's estimate, words per minute
  property<double> dbg1{0.0}, dbg2{0.0}; // kept and reported for the host

  hostText sentChars = nullptr; // one character of the text queue went out
  hostText newChars = nullptr;  // a character or blank was decoded
  hostText newDebug = nullptr;  // can be bound, nothing calls it

 private:
  void decode(const cbuff& block);
  void silenceText(const modDemodOwner& held);
  void publishSidetone(audioOutputStream& speaker);
  std::optional<char> nextCharacter();
  void endTransmission();
  void tell(const hostText& event, char c);

  // The signal's: touched on the transceiver's group. The verbs reach key_ and text_, which bear it, on this object's group while
  // it serves no transceiver.
  oscillator tone_;
  cwDecoder decoder_;
  straightKey key_;
  textKeyer keyer_;
  textRing text_;
  double lastFreq_;                                // what the sidetone has been told; NaN: nothing yet
  const audioOutputStream* lastSpeaker_ = nullptr; // which one; only compared
};

} // namespace larch
