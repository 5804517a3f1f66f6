// Digital modes in timed slots: what the host sets of them and the message that waits for its slot.
#pragma once
#include "modes/hostEvents.h"
#include "modes/modDemod.h"

namespace larch {

// Holds its properties and the queued message; receives and transmits as the empty mode.
class JTModDemod : public modDemod {
 public:
  static constexpr int32_t noTag = 8; // the tag of a slot without a transmission

  struct message {
    buff<float> tones; // tone numbers, fractions allowed; empty: no message
    int32_t tag = noTag;
  };

  explicit JTModDemod(std::shared_ptr<syncTask> group) : modDemod(std::move(group)) { txFreq.write(1500); }

  // This object's group: replaces the message that waits. The tones are shared with the host's array.
  void queueMsg(buff<float> tones, uint32_t tag) { queued_.publish({std::move(tones), static_cast<int32_t>(tag)}); }
  message queued() const { return queued_.load(); } // any thread

  property<std::string> saveDirectory;       // in front of the file's name as it stands, with its separator
  property<int32_t> samplesPerSymbol{7680};  // transmit symbol at 48000 samples/s
  property<double> toneSpacing{6.25};        // Hz for each tone number
  property<int32_t> samplesPerBlock{151200}; // size of a capture, decimated values
  property<int32_t> endPadding{0};           // zeros at the end of a capture, decimated values
  property<int32_t> period{15000};           // ms, length of a slot
  property<int32_t> Decimation{4};           // input samples for each kept one
  property<int32_t> SaveMode{0};             // 1: a .c2 file; else a WAV file

  hostText newFile = nullptr; // the file's name with the tag behind it

 private:
  snapshot<message> queued_;
};

} // namespace larch
