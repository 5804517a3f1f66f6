#include "radio/receiverAllocation.h"
#include <algorithm>
#include <cstdlib>
#include <limits>

namespace larch {
namespace {

constexpr int64_t edgeMargin_Hz = 10000; // a listener keeps this far from either edge of the band
constexpr int32_t recentreShare = 16;    // a lone listener is recentred beyond this part of the rate

int32_t asFrequency(int64_t f, int64_t least) {
  return static_cast<int32_t>(std::clamp<int64_t>(f, least, std::numeric_limits<int32_t>::max()));
}

} // namespace

int32_t tunedFrequency(int32_t frequency, int32_t offset) { return asFrequency(int64_t{frequency} - offset, 0); }

int32_t reportedFrequency(int32_t frequency, int32_t offset) {
  return asFrequency(int64_t{frequency} + offset, std::numeric_limits<int32_t>::min());
}

int64_t receiverAllocation::distance(const hwReceiver& hw) const { return std::abs(int64_t{frequency_} - hw.frequency); }

bool receiverAllocation::covers(const hwReceiver& hw, int32_t adc) const {
  return hw.adc == adc && distance(hw) < hw.sampleRate / 2 - edgeMargin_Hz;
}

void receiverAllocation::separate(std::size_t self) {
  if (static_cast<int64_t>(self) >= maxReceivers_) return;
  const int32_t own = static_cast<int32_t>(self);
  const int32_t f = listeners_[self].frequency;
  int32_t& slot = listeners_[self].slots[0];
  if (slot != own) {
    while (receivers_.size() <= self) {
      const std::size_t before = receivers_.size();
      addReceiver_(f);
      if (receivers_.size() == before) return; // the radio has none to give
    }
    slot = own;
  }
  receivers_[self].frequency = f;
}

void receiverAllocation::share(std::size_t self, int32_t adcMask) {
  self_ = self;
  mask_ = static_cast<uint32_t>(adcMask);
  frequency_ = listeners_[self].frequency;
  for (int32_t adc = 0; adc < adcSlots; adc++)
    listeners_[self].slots[adc] = (mask_ >> adc & 1) != 0 ? receiverFor(adc) : noReceiver;
}

int32_t receiverAllocation::receiverFor(int32_t adc) {
  const int32_t present = listeners_[self_].slots[adc];
  if (keep(present, adc)) return present;
  int32_t found = covering(adc);
  if (found == noReceiver) found = takeOver(adc);
  if (found == noReceiver) found = recentreToShare(adc);
  if (found == noReceiver) found = addOne(adc);
  return found != noReceiver ? found : present; // required: without a receiver that fits, the one that it had
}

// The present receiver still covers the frequency. A lone listener is brought back towards the middle of the band.
bool receiverAllocation::keep(int32_t receiver, int32_t adc) {
  if (receiver == noReceiver) return false;
  hwReceiver& hw = receivers_[static_cast<std::size_t>(receiver)];
  if (!covers(hw, adc)) return false;
  const auto users = std::count_if(listeners_.begin(), listeners_.end(),
                                   [=](const tunedListener& other) { return other.slots[adc] == receiver; });
  if (users == 1 && distance(hw) > hw.sampleRate / recentreShare) hw.frequency = frequency_;
  return true;
}

int32_t receiverAllocation::covering(int32_t adc) const {
  const auto hw =
      std::find_if(receivers_.begin(), receivers_.end(), [this, adc](const hwReceiver& each) { return covers(each, adc); });
  return hw == receivers_.end() ? noReceiver : static_cast<int32_t>(hw - receivers_.begin());
}

// required: a second transceiver anywhere blocks every receiver, so that only a lone one takes over.
int32_t receiverAllocation::takeOver(int32_t adc) {
  if (listeners_.size() > 1) return noReceiver;
  for (std::size_t i = 0; i < receivers_.size(); i++) {
    hwReceiver& hw = receivers_[i];
    const bool neededElsewhere = hw.adc != adc && (mask_ >> hw.adc & 1) != 0;
    if (neededElsewhere) continue;
    hw.frequency = frequency_;
    hw.adc = adc;
    return static_cast<int32_t>(i);
  }
  return noReceiver;
}

// Moves the first receiver whose listeners and this one fit into one band to the middle of them all.
int32_t receiverAllocation::recentreToShare(int32_t adc) {
  for (std::size_t i = 0; i < receivers_.size(); i++) {
    hwReceiver& hw = receivers_[i];
    if (hw.adc != adc) continue;
    int64_t lo = frequency_, hi = frequency_;
    for (const tunedListener& other : listeners_) {
      if (other.slots[adc] != static_cast<int32_t>(i)) continue;
      lo = std::min<int64_t>(lo, other.frequency);
      hi = std::max<int64_t>(hi, other.frequency);
    }
    if (hi - lo >= hw.sampleRate - 2 * edgeMargin_Hz) continue;
    hw.frequency = static_cast<int32_t>((hi + lo) / 2);
    return static_cast<int32_t>(i);
  }
  return noReceiver;
}

int32_t receiverAllocation::addOne(int32_t adc) {
  const std::size_t before = receivers_.size();
  if (static_cast<int64_t>(before) >= maxReceivers_) return noReceiver;
  addReceiver_(frequency_);
  if (receivers_.size() == before) return noReceiver; // the radio has none to give
  receivers_.back().adc = adc;
  for (hwReceiver& hw : receivers_) hw.fillPosition = 0; // all chunks start together again
  return static_cast<int32_t>(receivers_.size()) - 1;
}

} // namespace larch
