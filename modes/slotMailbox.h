// The message that waits for its slot.
#pragma once
#include "dsp/buff.h"
#include <atomic>
#include <cstdint>
#include <memory>

namespace larch {

struct slotMessage {
  buff<float> tones; // tone numbers, fractions allowed; shared with whoever has queued them
  int32_t tag;
};

// Any thread puts, one takes. Only the newest message waits.
class slotMailbox {
 public:
  slotMailbox() = default;
  ~slotMailbox() { take(); }
  slotMailbox(const slotMailbox&) = delete;
  slotMailbox& operator=(const slotMailbox&) = delete;

  // A message without tones is none, nor is one that there was no memory for.
  void put(slotMessage message) {
    exchange(message.tones.count > 0 && message.tones.data ? new slotMessage(std::move(message)) : nullptr);
  }
  std::unique_ptr<slotMessage> take() { return exchange(nullptr); }
  bool isEmpty() const { return !waiting_.load(std::memory_order_relaxed); } // stands for itself; rt

 private:
  // acquire and release: who takes a message sees it whole, whoever has put it
  std::unique_ptr<slotMessage> exchange(slotMessage* next) {
    return std::unique_ptr<slotMessage>(waiting_.exchange(next, std::memory_order_acq_rel));
  }

  std::atomic<slotMessage*> waiting_{nullptr};
};

} // namespace larch
