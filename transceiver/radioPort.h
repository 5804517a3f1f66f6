// What a transceiver asks of its radio.
#pragma once
#include "dsp/buff.h"
#include "runtime/property.h"

namespace larch {

class vtrx;

// The operations run on the radio's group: a transceiver posts them as tasks "radio.setRxFrequency", "radio.setPtt",
// "radio.transmit", "radio.removeVtrx" and holds the radio weakly.
class radioPort : public asyncObject {
 public:
  using asyncObject::asyncObject;

  // Places the frequency (Hz) on a hardware receiver for each ADC of the mask.
  virtual void setRxFrequency(int32_t frequency, const std::shared_ptr<vtrx>& transceiver, int32_t adcMask) = 0;
  // Reads the transceiver's ptt and keys or unkeys the radio.
  virtual void setPtt(const std::shared_ptr<vtrx>& transceiver) = 0;
  // 126 samples at 48000 Hz.
  virtual void transmit(cbuff block) = 0;
  virtual void removeVtrx(const std::shared_ptr<vtrx>& transceiver) = 0;

  // Read by transceivers and modes through get().
  property<bool> RadioPtt{false};   // the radio's own PTT input
  property<bool> cwInternal{false}; // the radio shapes the key's edges itself
};

} // namespace larch
