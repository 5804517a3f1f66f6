// The base of every piece of hardware: its transceivers, its hardware receivers, and which serves which.
#pragma once
#include "radio/hwReceiver.h"
#include "runtime/property.h"
#include "transceiver/radioPort.h"
#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <vector>

namespace larch {

constexpr uint64_t widebandSamples = 2048;
constexpr int widebandQuarter = 512;     // samples of the wideband stream in a datagram, a quarter of a block
constexpr int32_t presentFrequency = -1; // in addVtrx: the receiver's own

// dB of a peak, 1.0 is full scale; -100 for none.
double peakLevel_dB(double peak);

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
  // Makes a transceiver in a group of its own; vtrxAdded hands it to the host. `frequency` Hz or presentFrequency. A receiver
  // that doesn't exist counts as none, and presentFrequency then leaves the transceiver at its default.
  void addVtrx(int32_t frequency, int32_t receiver);
  // Unkeys the radio when this was its transmitter; receivers stay. Nothing happens to a transceiver that isn't in the list.
  void removeVtrx(const std::shared_ptr<vtrx>& transceiver) override;
  // The next two: a transceiver that has been removed meanwhile tunes nothing and doesn't key the radio.
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
  property<int32_t> cwHangTime{120};      // ms

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
  // One datagram of the wideband stream: `sampleAt(i)` gives its raw samples, the lowest bits of `sequence` say which quarter of
  // the block it is. True when more than `meterPackets` have come before it since the last time: the peak is due. rt.
  template <class Sample> bool processWideband(uint32_t sequence, Sample&& sampleAt, double scale, int32_t meterPackets) {
    constexpr uint32_t quarters = widebandSamples / widebandQuarter;
    const uint32_t quarter = sequence % quarters;
    if (!widebandFill.data) widebandFill = buff<double>(widebandSamples); // there was no memory
    if (!widebandFill.data) return false;
    double* to = widebandFill.data + quarter * widebandQuarter;
    int32_t peak = adcPeakRaw;
    for (int i = 0; i < widebandQuarter; i++) {
      const int32_t sample = sampleAt(i);
      to[i] = sample * scale;
      peak = std::max(peak, std::abs(sample));
    }
    adcPeakRaw = peak;
    if (quarter == quarters - 1) {
      wideband = std::move(widebandFill);
      widebandFill = buff<double>(widebandSamples); // not cleared: a lost quarter keeps what that memory held
    }
    if (meterCounter++ <= meterPackets) return false;
    meterCounter = 0;
    return true;
  }
  // Posts the receiver's chunk to its listeners and puts a new one of (sampleRate / 48000) * 512 samples in its place.
  void deliverChunk(int32_t receiver);

  int32_t adcPeakRaw = 0;   // of the wideband stream since the last report
  int32_t meterCounter = 0; // its datagrams since then
};

} // namespace larch
