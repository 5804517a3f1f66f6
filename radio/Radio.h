// The base of every piece of hardware: its transceivers, its hardware receivers, and which serves which.
#pragma once
#include "dsp/buff.h"
#include "runtime/property.h"
#include "transceiver/radioPort.h"
#include "transceiver/vtrx.h"
#include <algorithm>
#include <vector>

namespace larch {

constexpr int32_t audioRate = 48000;  // Hz: a chunk is 512 samples' time at this rate
constexpr int32_t chunkSamples = 512; // at audioRate; also a new receiver's first chunk, whatever its rate
constexpr int32_t adcSlots = 4;       // ADCs that a transceiver can name
constexpr uint64_t widebandSamples = 2048;

// One hardware receiver. A record once made stays for the life of the radio.
struct hwReceiver {
  cbuff chunk;                   // the block being filled
  int32_t frequency = 0;         // centre, Hz, before TransceiverOffset
  int32_t sampleRate = 0;        // Hz
  uint32_t expectedSequence = 0; // Protocol 2
  uint64_t fillPosition = 0;     // samples already in chunk
  int32_t index = 0;             // Protocol 2: place in the list
  int32_t adc = 0;               // 0 to 3
};

// All of it runs on the radio's own task group: lists need no lock. The base class drives no hardware.
class Radio : public radioPort {
 public:
  using hostVtrxAdded = void (*)(handle*, int32_t frequency, int32_t sampleRate);

  // `group` only leads to the pool: the radio makes a group of its own on it.
  explicit Radio(const std::shared_ptr<syncTask>& group);
  ~Radio() override;

  virtual void frequenciesChanged() {}           // get the receivers' frequencies to the hardware soon
  virtual void addHwReceiver(int32_t frequency); // Hz; the base adds nothing
  void transmit(cbuff block) override;           // the base drops the block
  virtual void startRadio() {}
  virtual void stopRadio() {}

  void start();
  void stop();
  // frequency -1: the receiver's present one. A receiver that doesn't exist counts as none.
  void addVtrx(int32_t frequency, int32_t receiver);
  void removeVtrx(const std::shared_ptr<vtrx>& transceiver) override;
  void setRxFrequency(int32_t frequency, const std::shared_ptr<vtrx>& transceiver, int32_t adcMask) override;
  void setPtt(const std::shared_ptr<vtrx>& transceiver) override;

  property<bool> ptt{false}; // transmitting, as this system commands it
  property<int32_t> maxHwReceivers{1};
  property<int32_t> maxADCs{1}; // for the host
  property<bool> canTransmit{false};
  property<double> rxLevelCalibration{1.0}; // linear
  property<int32_t> sentPackets{0};         // as the host sets it
  property<int32_t> receivedPackets{0};     // as the host sets it
  property<int32_t> SampleRate{48000};      // Hz
  property<bool> disableVirtualReceivers{false};
  property<int32_t> TransceiverOffset{0}; // Hz
  property<int32_t> drive{0};             // 0 to 255, without a transmitter
  property<bool> RadioPtt{false};         // the radio's own PTT input
  property<int32_t> cwHangTime{120};      // ms
  property<bool> cwInternal{false};

  hostVtrxAdded vtrxAdded = nullptr;

  std::vector<std::shared_ptr<vtrx>> transceivers; // in the order of addVtrx
  std::vector<hwReceiver> hwReceivers;             // grows only
  std::weak_ptr<vtrx> transmitter;                 // the transceiver that last raised PTT
  buff<double> wideband;                           // the last complete block, empty until one exists
  buff<double> widebandFill;
  double widebandNyquist = 0;                               // Hz
  std::atomic<uint32_t> sentCounter{0}, receivedCounter{0}; // the receive thread's; relaxed: counts alone
  bool firstStart = true;

 protected:
  // `count` consecutive samples of one receiver; `unpack(view)` writes view.count samples into a cbuff view and advances its read
  // position. Full chunks go to every transceiver that uses the receiver. rt but for the closures of the posts.
  template <class Unpack> void processRxChunk(Unpack&& unpack, uint64_t count, int32_t receiver) {
    hwReceiver& hw = hwReceivers[static_cast<size_t>(receiver)];
    while (count > 0) {
      const uint64_t n = std::min(count, hw.chunk.count - hw.fillPosition);
      if (n > 0) unpack(slice(hw.chunk, hw.fillPosition, n));
      hw.fillPosition += n;
      count -= n;
      if (hw.fillPosition < hw.chunk.count) return;
      const bool lost = hw.chunk.count == 0; // a rate under 48000: nothing can be filled, the samples are dropped
      deliverChunk(receiver);
      if (lost) return;
    }
  }
  // Posts the receiver's chunk to its listeners and puts a new one of (sampleRate / 48000) * 512 samples in its place.
  void deliverChunk(int32_t receiver);
};

} // namespace larch
