// Digital modes in timed slots: captures each slot of reception into a file and sends tones that the host has coded.
#pragma once
#include "modes/hostEvents.h"
#include "modes/modDemod.h"
#include "modes/slotCapture.h"
#include "modes/slotFile.h"
#include "modes/slotMailbox.h"
#include "modes/slotTones.h"
#include <string>

namespace larch {

// Slots begin by the clock's UTC, with the first block in their first half-second; see slotTime. A capture that is still running
// then lets the slot pass.
class JTModDemod : public modDemod {
 public:
  static constexpr int32_t noTag = 8; // the tag of a slot without a transmission

  explicit JTModDemod(std::shared_ptr<syncTask> group) : modDemod(std::move(group)) { txFreq.write(1500); }

  // Audio: the real part. rt but for the start and the end of a slot.
  buff<float> demodulate(const cbuff& block) override;
  // The message's tones; the microphone isn't heard. Drops the transceiver's ptt behind the last one. rt.
  void modulate(const cbuff& input, const cbuff& output) override;

  // This object's group: replaces the message that waits, or takes it away. The tones are shared with the host's array.
  void queueMsg(buff<float> tones, uint32_t tag) { queued_.put({std::move(tones), static_cast<int32_t>(tag)}); }
  bool isMessageWaiting() const { return !queued_.isEmpty(); } // any thread
  const slotCapture& capture() const { return capture_; }      // the transceiver's group

  property<std::string> saveDirectory;       // in front of the file's name as it stands, with its separator
  property<int32_t> samplesPerSymbol{7680};  // transmit symbol at 48000 samples/s
  property<double> toneSpacing{6.25};        // Hz for each tone number
  property<int32_t> samplesPerBlock{151200}; // size of a capture, decimated values
  property<int32_t> endPadding{0};           // zeros at the end of a capture, decimated values
  property<int32_t> period{15000};           // ms, length of a slot; below 500 none begins
  property<int32_t> Decimation{4};           // input samples for each kept one; below 1 none is kept and no slot begins
  property<int32_t> SaveMode{0};             // 1: a .c2 file; else a WAV file. That of its start holds for a capture

  hostText newFile = nullptr; // the file's name with the tag behind it

 private:
  bool mayBegin() const;
  void lookForSlot(const modDemodOwner& held);
  void beginSlot(int64_t halfSecond, const modDemodOwner& held);
  void record(const cbuff& block, const modDemodOwner& held);
  void lookForLateStart(const modDemodOwner& held);
  bool send(const modDemodOwner& held, int64_t firstTone);
  void tellFile();

  slotMailbox queued_;

  // the signal's: touched on the transceiver's group
  slotCapture capture_;
  int64_t servedHalfSecond_ = noHalfSecond;
  std::string fileName_;
  slotFileJob job_;
  slotTones tones_;
  int32_t activeTag_ = noTag, finishedTag_ = noTag;

  static constexpr int64_t noHalfSecond = INT64_MIN;
};

} // namespace larch
