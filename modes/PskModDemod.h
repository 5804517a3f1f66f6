// PSK31 and its relatives, many channels at once: what the host sets and sees of it and the text that waits to be sent.
#pragma once
#include "modes/PskDetector.h"
#include "modes/modDemod.h"
#include "modes/textRing.h"
#include "runtime/ValueLabelItem.h"
#include "runtime/asyncCollection.h"

namespace larch {

// Holds its properties, the list of detectors and the text ring, and keeps mode and primary detector in step; receives and
// transmits as the empty mode. Channels 0 to 29 are PSK31 and 30 to 59 PSK63, 100 to 3000 Hz; 60 to 65 are the primary detectors,
// one for each mode.
class PskModDemod : public modDemod {
 public:
  explicit PskModDemod(std::shared_ptr<syncTask> group);

  void queueText(const std::string& text, uint32_t base) { text_.queue(text, base); } // this object's group: see textRing
  textRing& text() { return text_; }

  property<int32_t> sigLevel{0};         // the host's
  property<int32_t> primaryDetector{60}; // index into dets: the one that the operator follows
  asyncCollection<ValueLabelItem> Modes; // mode and its name
  property<int32_t> mode{0};             // the operator's: one of pskModes
  asyncCollection<PskDetector> dets;

  hostText newChars = nullptr;  // text of the primary detector
  hostText sentChars = nullptr; // one character of the text queue went out

 private:
  void addDetector(const pskMode& detected, int32_t frequency);
  std::shared_ptr<PskDetector> detector(int32_t index) const; // null when there is no such row
  void modeChanged();
  void primaryChanged();

  textRing text_;
};

} // namespace larch
