// A radio of Protocol 2: receive only, up to sixteen down-converters and a wideband stream.
#pragma once
#include "radio/Radio.h"
#include "radio/protocol2Packets.h"
#include "radio/rioTransport.h"
#include "runtime/ValueLabelItem.h"
#include "runtime/asyncCollection.h"
#include "runtime/spscRing.h"
#include <array>
#include <atomic>
#include <optional>

namespace larch {

// Runs on the radio's own group, but for the receive thread, which owns the reading side of the socket: it starts with the first
// start, never ends, and keeps the radio for as long. Received datagrams go to the group as tasks, and their slots come back by a
// ring. The radio's microphone packets pace what the receive thread sends by itself: frequencies and receivers, in turn.
class HpsdrNpRadio : public Radio {
 public:
  explicit HpsdrNpRadio(const std::shared_ptr<syncTask>& group);

  void frequenciesChanged() override; // sends nothing: they go out with the next periodic packet
  void addHwReceiver(int32_t frequency) override;
  // Waits about 8 ms. Throws when ipAddress is no address, before anything has happened, and when the system has no thread or no
  // memory: the task is then logged and the radio isn't started, and the next start begins anew.
  void startRadio() override;
  void stopRadio() override;

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
  property<double> adcPeak{0.0}, adcPeakDBFS{0.0};       // of the wideband stream, 1.0 is full scale

 protected:
  void initialise();
  void startReceiveThread();

  // The receive thread's.
  void rxCommsLoopRIO();
  void rxTurn();
  void dispatch(int32_t slot);
  void microphonePacket();

  // The group's.
  void HighPriorityStatuspacketRIO(int32_t slot);
  void handleRxPacketRIO(int32_t slot, int32_t receiver);
  void handleSamples(const uint8_t* packet, int32_t receiver);
  void handleWbRxPacketRIO(int32_t slot);
  void publishFrequencies();

  // Either's: each send has a slot of its own.
  template <class Write> void sendPacket(uint16_t port, uint32_t length, Write&& write);
  void sendDownConverters();
  void sendHighPriority();

  static constexpr uint32_t releaseSlots = rioTransport::protocol2ReceiveSlots + 1; // one stays free

  // Shared with the receive thread.
  // Made anew by each start until the thread runs; then it stays.
  std::optional<rioTransport> transport{std::in_place, transportShape::protocol2};
  spscRing<int32_t, releaseSlots> releaseRing; // from the group: slots to give back
  std::atomic<bool> running{false};            // what the high-priority packet says. Relaxed: one packet more or less
  // What the receive thread tells of hwReceivers. Relaxed but for the count, whose release makes the frequencies below it seen:
  // each word is right by itself, and the next packet comes soon.
  std::array<std::atomic<int32_t>, protocol2::mostReceivers> tuned{};
  std::atomic<std::size_t> tunedCount{0};

  int32_t microphoneCount = 0; // the receive thread's, 0 to 31

  // The group's.
  uint32_t radioAddress = 0; // network form
  bool threadStarted = false;
  double gainFactor = 1.0;                         // of received samples: undoes rxGain
  uint64_t handledPackets = 0, sequenceBreaks = 0; // of all down-converters together, for the record
};

} // namespace larch
