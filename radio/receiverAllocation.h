// Which hardware receiver serves which transceiver: the rules alone, on plain records.
#pragma once
#include "radio/hwReceiver.h"
#include <functional>
#include <vector>

namespace larch {

// Hz to tune for a transceiver's frequency: frequency - offset, within 0 and what a frequency holds.
int32_t tunedFrequency(int32_t frequency, int32_t offset);
// Hz to report for a receiver's centre: frequency + offset, within what a frequency holds.
int32_t reportedFrequency(int32_t frequency, int32_t offset);

// What the rules see of a transceiver.
struct tunedListener {
  int32_t frequency; // Hz, tuned
  int32_t* slots;    // adcSlots indexes into the receivers, noReceiver for none; no index beyond the list
};

// One placement of one transceiver. Writes the receivers' frequency, adc and fillPosition and the slots of that transceiver only.
class receiverAllocation {
 public:
  // `addReceiver(frequency)` appends one record to `receivers`, or nothing when the radio has none to give.
  receiverAllocation(std::vector<hwReceiver>& receivers, std::vector<tunedListener> listeners, int32_t maxReceivers,
                     std::function<void(int32_t)> addReceiver)
      : receivers_(receivers), listeners_(std::move(listeners)), maxReceivers_(maxReceivers),
        addReceiver_(std::move(addReceiver)) {}

  // Transceiver `self`, an index of the listeners, shares receivers whose band holds all their listeners. Bits of adcMask beyond
  // the four ADCs say nothing. When nothing fits a slot stays as it was.
  void share(std::size_t self, int32_t adcMask);
  // Transceiver `self` has receiver `self`, when the radio has that many; a transceiver beyond them isn't tuned.
  void separate(std::size_t self);

 private:
  int32_t receiverFor(int32_t adc);
  bool keep(int32_t receiver, int32_t adc);
  int32_t covering(int32_t adc) const;
  int32_t takeOver(int32_t adc);
  int32_t recentreToShare(int32_t adc);
  int32_t addOne(int32_t adc);

  bool covers(const hwReceiver& hw, int32_t adc) const;
  int64_t distance(const hwReceiver& hw) const;

  std::vector<hwReceiver>& receivers_;
  std::vector<tunedListener> listeners_;
  int32_t maxReceivers_;
  std::function<void(int32_t)> addReceiver_;
  std::size_t self_ = 0;
  uint32_t mask_ = 0;
  int32_t frequency_ = 0; // Hz, self's
};

} // namespace larch
