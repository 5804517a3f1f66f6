// PSK31 and its relatives: listens on 66 channels at once, finds signals by itself, sends text.
#pragma once
#include "modes/CPSKMod.h"
#include "modes/PskDetector.h"
#include "modes/modDemod.h"
#include "modes/pskBank.h"
#include "modes/pskInputScale.h"
#include "modes/pskScanner.h"
#include "modes/textRing.h"
#include "runtime/ValueLabelItem.h"
#include "runtime/asyncCollection.h"

namespace larch {

// Channels 0 to 29 are PSK31 and 30 to 59 PSK63, first at 100 to 3000 Hz: the scanner moves them. 60 to 65 are the operator's,
// one for each mode. The primary detector is the one that the operator follows: rxFreq and txFreq go with it.
class PskModDemod : public modDemod {
 public:
  static constexpr size_t detectorCount = 66;

  explicit PskModDemod(std::shared_ptr<syncTask> group);

  // Audio: the real part. A PSK block of 64 ms is detected with every sixth call or so. rt but for what the host is told.
  buff<float> demodulate(const cbuff& block) override;
  void modulate(const cbuff& input, const cbuff& output) override; // text; the microphone isn't heard; rt but for what is told
  void pttChanged(bool on) override;                               // on: a second of idle before the first character

  void queueText(const std::string& text, uint32_t base) { text_.queue(text, base); } // this object's group: see textRing
  textRing& text() { return text_; }

  property<int32_t> sigLevel{0};         // the host's
  property<int32_t> primaryDetector{60}; // index into dets: the one that the operator follows
  asyncCollection<ValueLabelItem> Modes; // mode and its name
  property<int32_t> mode{0};             // the operator's: one of pskModes
  asyncCollection<PskDetector> dets;     // what the host changes in the list changes nothing in what is detected

  hostText newChars = nullptr;  // text of the primary detector
  hostText sentChars = nullptr; // one character of the text queue went out

 private:
  void addDetector(const pskMode& detected, int32_t frequency);
  PskDetector* detector(int32_t index) const; // null when there is no such row
  void modeChanged();
  void primaryChanged();
  void frequencyChanged();
  void tune(int32_t frequency);
  template <class Body> void onSignal(const char* name, Body body);

  void take(double sample);
  void processBlock();
  void detect(size_t first, size_t count, int32_t primary);
  void report(PskDetector& d, const pskText& text, bool primary);

  int32_t nextCharacter();
  void endTransmission();

  std::array<std::shared_ptr<PskDetector>, detectorCount> detectors_; // the pointers never change
  std::array<CPSKDet*, detectorCount> signalDetectors_{};             // theirs

  // the signal's: touched on the transceiver's group, or on this object's while it serves no transceiver
  std::array<double, pskScanner::blockLength> block_{}; // at 8000 samples per second
  size_t fill_ = 0;
  uint64_t decimationPhase_ = 0; // of the next sample to take, in the next chunk
  pskInputScale scale_;
  int32_t refreshCount_ = 0; // blocks
  pskScanner scanner_;
  CPSKMod modulator_;
  textRing text_;
  int64_t txHold_ = 0;  // samples until text is taken
  bool ending_ = false; // a "~" was taken in this call
};

} // namespace larch
