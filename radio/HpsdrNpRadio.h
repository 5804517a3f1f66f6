// A radio of openHPSDR Protocol 2: what the host sets and sees of it.
#pragma once
#include "radio/Radio.h"
#include "runtime/ValueLabelItem.h"
#include "runtime/asyncCollection.h"

namespace larch {

// Holds its properties and its list of hardware receivers, on which
// transceivers can be placed; start reaches no hardware.
class HpsdrNpRadio : public Radio {
 public:
  explicit HpsdrNpRadio(const std::shared_ptr<syncTask>& group);

  void addHwReceiver(int32_t frequency) override;

  asyncCollection<ValueLabelItem> SampleRates;           // Hz and label
  property<std::string> Mac;                             // kept for the host
  property<std::string> ipAddress;                       // dotted IPv4
  property<int32_t> txGain{0};                           // kept for the host
  property<int32_t> rxGain{0};                           // dB
  property<int32_t> maxTxRFGain{0}, minTxRFGain{-31};    // dB, for the host
  property<int32_t> maxRxRFGain{0};                      // dB, the gain at attenuator 0
  property<int32_t> minRxRFGain{-31};                    // dB, for the host
  property<int32_t> clockFrequency{122880000};           // Hz, of the ADC
  property<double> frequencyCalibration{1.0};            // kept for the host
  property<bool> autoFreqCalib{false};                   // kept for the host
  property<int32_t> FwVersion{0};                        // kept for the host
  property<double> Temp{0.0}, Current{0.0};              // kept for the host
  property<float> FwdPwr{0.0f}, RevPwr{0.0f}, Swr{0.0f}; // kept for the host
  property<bool> adcOvl{false};                          // the ADC overflowed
  property<int32_t> ep6SeqErrors{0};                     // sequence breaks of all receivers together
  property<int32_t> ep4SeqErrors{0};                     // kept for the host
  property<double> adcPeak{0.0}, adcPeakDBFS{0.0};
};

} // namespace larch
