// A radio of Protocol 1: its streams, its registers, its meters.
#pragma once
#include "radio/J16.h"
#include "radio/J16Filter.h"
#include "radio/Radio.h"
#include "radio/clockMeasurement.h"
#include "radio/driveTable.h"
#include "radio/powerMeter.h"
#include "radio/protocol1Registers.h"
#include "radio/rfGainControl.h"
#include "radio/rioTransport.h"
#include "runtime/ValueLabelItem.h"
#include "runtime/asyncCollection.h"
#include "runtime/calibLine.h"
#include "runtime/spscRing.h"
#include <atomic>
#include <deque>

namespace larch {

// Runs on the radio's own group, but for the receive thread, which owns the socket: it starts with the first start, never ends,
// and keeps the radio for as long. Between the two go the slots of received datagrams (as tasks), and back the slots to release
// and those to send (two rings). The radio's stream is the only clock: each datagram received pays for a share of one sent, and
// every sent one carries two command registers, silence included.
class HpsdrRadio : public Radio {
 public:
  explicit HpsdrRadio(const std::shared_ptr<syncTask>& group);

  void frequenciesChanged() override;
  void addHwReceiver(int32_t frequency) override;
  void transmit(cbuff block) override;
  void startRadio() override; // waits about 30 ms, the first time 130
  void stopRadio() override;

  // Blind writes into the board's small devices; each goes out in place of a register.
  void writeBias();
  void writeExtBias();
  void writeMac(int32_t lastTwoBytes);
  void writeIP(int32_t address); // the first number in the highest byte
  void writeStatus(int32_t value);

  asyncCollection<ValueLabelItem> SampleRates;
  property<std::string> Mac; // for the host
  property<std::string> ipAddress;
  property<int32_t> txGain{0};  // dB, of the receiver path while transmitting
  property<int32_t> rxGain{24}; // dB
  property<int32_t> maxTxRFGain{19};
  property<int32_t> minTxRFGain{-12};
  property<int32_t> maxRxRFGain{48};
  property<int32_t> minRxRFGain{-12}; // dB; the zero point of the gain code
  property<double> frequencyCalibration{1.0};
  property<bool> adcOvl{false};
  property<int32_t> ep6SeqErrors{0};
  property<int32_t> ep4SeqErrors{0}; // as the host sets it: the wideband stream isn't checked
  property<double> adcPeak{0};       // of the wideband stream, 1.0 is full scale
  property<double> adcPeakDBFS{0};
  property<int32_t> maxAdcValue{2048};        // full scale; below 1 nothing is scaled by it and samples are dropped
  property<int32_t> clockFrequency{73728000}; // Hz, of the ADC
  asyncPersistantCollection<J16> J16Set;
  property<bool> UseJ16{true};
  property<std::shared_ptr<J16Filter>> FilterSet;
  asyncCollection<ValueLabelItem> rfAgcModes;
  property<int32_t> rfAgcMode{0}; // from 1 on
  property<bool> autoFreqCalib{false};
  property<bool> hasHL2PA{false}; // for the host
  property<bool> enablePA{false};
  property<bool> disableTR{false};
  property<bool> biasEnabled{false};
  property<int32_t> paBias0{0}, paBias1{0}, paExtBias0{0}; // 0 to 255
  property<bool> HLiteGain{true};
  property<bool> HLite2Gain{false};
  property<bool> HLiteRxTxGain{false};
  property<int32_t> FwVersion{0};
  property<int32_t> TypeID{0};
  property<double> Temp{0};    // degrees Celsius
  property<double> Current{0}; // while transmitting
  property<float> FwdPwr{0}, RevPwr{0}, Swr{0};
  asyncPersistantCollection<calibLine> FwdPwrCalibration;
  property<bool> stopToAddReceiver{true};
  property<int32_t> MercurySerial{0}, PenelopeSerial{0}; // for the host
  property<bool> RXAntenna{false};

 protected:
  // One command that takes the place of a register; at least `delay` frames pass before the next one.
  struct queuedCommand {
    uint8_t c0;
    protocol1::registerBytes bytes;
    int32_t delay;
  };

  // HpsdrRadio.cpp: the life of the stream
  void initialise();
  void makeDefaultRows();
  void startReceiveThread();
  void sendRegistersAhead();
  void rxCommsLoopRIO();
  void rxTurn();
  void sampleRateChanged();
  void setDequeueLimit();

  // HpsdrRadioStream.cpp: what is received
  void handleRxPacketRIO(int32_t slot);
  void handleDatagram(const uint8_t* datagram, int64_t time);
  void handleIq(const uint8_t* datagram, uint32_t sequence, int64_t time);
  void measureClock(int64_t time);
  void pace(uint32_t sequence);
  void handleFrame(const uint8_t* frame);
  void handleStatus(const uint8_t* frame);
  void unpackFrame(const uint8_t* frame);
  bool unpackTogether(const uint8_t* area, std::size_t step, double s, int receivers, uint64_t samples);
  void handleWideband(const uint8_t* datagram, uint32_t sequence);
  void updateMeters();
  void controlGain();

  // HpsdrRadioCommands.cpp: what is sent
  void sendcommandcontrol(const cbuff& block);
  void computeGain();
  double scaleOfGain() const;
  void fillFrame(uint8_t* frame, int32_t index, const vtrx* keyed);
  protocol1::registerBytes registerContent(int32_t index, const vtrx* keyed);
  protocol1::registerBytes frequencyOf(int32_t index, const vtrx* keyed);
  protocol1::registerBytes adcContent() const;
  protocol1::gainForm gainForm() const;
  int32_t filterOutputs(int32_t frequency, bool transmit) const;
  int32_t filterBits() const;
  const driveStep& driveOf(const vtrx* keyed) const;

  // HpsdrRadioMaintenance.cpp: blind writes
  void queueCommand(uint8_t device, uint8_t location, uint8_t value, int32_t delay);
  void biasChanged(int32_t bias, uint8_t location);
  void externalBiasChanged();
  uint8_t biasDevice() const;
  uint8_t biasValue(int32_t bias) const;

  static constexpr int64_t tick_ns = 100;                            // arrival times are in these, since 1970
  static constexpr int32_t releaseSlots = 4097, sendRingSlots = 129; // one of each stays free

  // Shared with the receive thread.
  rioTransport transport{transportShape::protocol1};
  spscRing<int32_t, sendRingSlots> sendRing;   // from the group: datagrams to send
  spscRing<int32_t, releaseSlots> releaseRing; // from the group: slots to give back
  std::atomic<bool> running{false};            // the stream is on: what comes in is handled. Relaxed: a turn more or less
  std::atomic<int32_t> dequeueLimit{1};        // relaxed: a number by itself
  std::vector<int64_t> arrival;                // of each slot's datagram; handed over with the slot

  // The group's.
  uint32_t radioAddress = 0; // network form
  uint32_t txSequence = 0, rxSequence = 0;
  bool threadStarted = false, connected = false;
  int64_t wallClock = 0; // arrival of the last IQ datagram
  clockMeasurement clock;

  double scale = 1.0; // of received samples: undoes the gain
  int32_t adcPeakMeter = 0;
  rfGainControl gainControl;
  analogueInputs ain;

  int32_t registerIndex = 0; // next of the rotation
  int32_t pttTail = 0;       // datagrams left in the hold after PTT went off
  bool lastPtt = false;
  int32_t gainLag = 0;   // datagrams since ptt changed, up to 4
  bool scalePtt = false; // the ptt that the receive scale follows
  uint8_t gainCode = 0;
  bool lnaOn = false;
  int32_t txFrequency = 14095600; // Hz
  cbuff silence;                  // 126 zero samples
  uint32_t rampPosition = 0;
  driveTable drives = makeDriveTable(false);
  std::deque<queuedCommand> commandQueue;
  int32_t commandDelay = 0, commandWait = 0; // frames since the last queued command, and to wait after it
};

} // namespace larch
