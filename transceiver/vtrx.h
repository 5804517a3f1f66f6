// A virtual transceiver: one frequency with its mode, spectrum and audio path.
#pragma once
#include "audio/audioInputRef.h"
#include "audio/audioOutputStream.h"
#include "dsp/agc.h"
#include "modes/modDemod.h"
#include "runtime/property.h"
#include "transceiver/adcJoiner.h"
#include "transceiver/channelReceiver.h"
#include "transceiver/gainSwitch.h"
#include "transceiver/levelMeter.h"
#include "transceiver/radioPort.h"
#include "transceiver/spectrumPainter.h"
#include "transceiver/transmitChain.h"
#include "transceiver/voiceSwitch.h"

namespace larch {

// Everything here runs on the object's own group, but the binding of newSpectrum (host) and hwReceiver (radio's group).
class vtrx : public asyncObject {
 public:
  explicit vtrx(std::shared_ptr<syncTask> group);
  ~vtrx() override;

  // Once, after `radio` has been set and before any task of the group.
  void init();
  void start(); // opens the sound-card paths; chunks are processed from now on
  void stop();
  void remove(); // as stop, then asks the radio to forget this object
  void setModulation(std::shared_ptr<modDemod> mode);
  void setRxFilter(int32_t low, int32_t high); // Hz from the tuned frequency
  void setTxFilter(int32_t low, int32_t high);
  void setRxFrequency(int32_t frequency); // Hz: a new hardware tuning without touching vfo
  // The radio has let go of this object.
  void detach();

  // One chunk of (rate / 48000) * 512 samples of hardware receiver `adc`, centred on `centre` Hz; `wideband` raw ADC samples or
  // empty, up to widebandNyquist Hz. Samples are read only.
  void processRxChunk(cbuff chunk, int32_t centre, int32_t rate, buff<double> wideband, double widebandNyquist, int32_t adc);
  // Answers with 126 samples at 48000 Hz by radio.transmit.
  void modulateTask();

  property<bool> ptt{false};
  property<bool> tune{false};
  property<int32_t> specFreq{14095600}; // Hz at the centre of the spectrum: vfo + specOffset
  property<int32_t> specOffset{0};      // Hz
  property<double> specZoom{1.0};
  property<int32_t> audioInput{0};   // microphone device, index of the input list
  property<int32_t> audioOutput{-1}; // speaker device, id of the output list
  property<bool> muted{false};
  property<std::shared_ptr<agc>> rxagc;
  property<std::shared_ptr<agc>> txagc;
  property<double> signalStrength{0.0}; // dB
  property<bool> foregroundDisplay{false};
  property<int32_t> oversample{1};
  property<int32_t> waterfallSpeed{0}; // exponent of the spectrum's overlap factor
  property<int32_t> vfo{14095600};     // Hz
  property<int32_t> TxOffset{0};       // Hz added to vfo while transmitting
  property<bool> useResampler{true};
  property<double> micLevel{0.0};
  property<bool> bandwidthSufficient{true};
  property<bool> useVox{false};
  property<double> VoxThreshold{0.4};
  property<double> VoxHold{0.5}; // s
  property<int32_t> drive{0};    // 0 to 255
  property<int32_t> ADCs{1};     // bit n: ADC n feeds this transceiver
  property<double> ADC1Gain{1.0};
  property<double> ADC1Phase{0.0}; // degrees
  property<bool> DelayAudio{false};

  // frame (a floatArray handle that the host owns), low and high Hz, hardware rate Hz; on the host's getRenderUpdates
  void (*newSpectrum)(buff<float>* frame, double low, double high, int32_t rate) = nullptr;

  // The radio's: index of the hardware receiver for each ADC, -1 for none. Touched on the radio's group only.
  int32_t hwReceiver[4] = {-1, -1, -1, -1};
  // Set before init, cleared by detach; this group's.
  std::weak_ptr<radioPort> radio;
  bool radioPttUp = false; // the radio has been told to transmit for this transceiver; this group's
  // The sidetone keys are atomics that other groups write.
  audioOutputStream audioOut;
  audioInputRef micIn;

 private:
  void watchProperties();
  void openAudio();
  void closeAudio();
  void pttChanged();
  void publishOwner();
  void vfoChanged();
  void followSpecFreq();
  template <class Body> void postToRadio(const char* name, Body body);
  void postSetRxFrequency(int32_t frequency);
  void postSetPtt();
  void releaseRadio();

  void receiveBlock(const cbuff& block);
  void decideVox(uint64_t chunkSamples, int32_t rate);
  void paintSpectrum(const spectrumInput& in);
  void postFrame(buff<float> frame, double low, double high, int32_t rate);

  std::shared_ptr<modDemod> mode_; // null until the first setModulation
  bool started_ = false;           // chunks count only while it is true
  adcJoiner joiner_;
  channelReceiver channel_;
  levelMeter meter_;
  gainSwitch gain_;
  voiceSwitch vox_;
  spectrumPainter painter_;
  transmitChain transmit_;
};

} // namespace larch
