// One radio with its transceivers, driven through the library's plain functions.
#pragma once
#include "host/boardProfile.h"
#include "host/radioObject.h"
#include "host/spectrumTrace.h"
#include "host/stationMode.h"
#include "host/transmitter.h"
#include "runtime/larchlib.h"
#include <array>
#include <chrono>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace larchhost {

// A mode on its way to a transceiver: its settings run on a group of their own, and the filters are designed by them.
struct comingMode {
  std::shared_ptr<stationMode> mode;
  sideband side;
  filterEdges filter;
  modDemod* demodulator = nullptr; // null: none is on its way
  int32_t ticket = 0;              // the answer to this one says that its settings have run
  bool ready = false;
};

// One virtual transceiver as the program sees it.
struct receiver {
  int32_t frequency = 0; // Hz
  sideband side = sideband::upper;
  filterEdges filter;
  std::shared_ptr<stationMode> mode; // empty: speechMode; not to be shared between receivers
  bool silent = false;               // neither sound nor spectrum, as the IQ recorder's
  int32_t audioDevice = -2;          // -2: the system's default
  bool muted = false;
  double zoom = 1;
  int32_t waterfallSpeed = 0; // frames of the spectrum come 2^this times as often
  // Each frame as it comes, in bels, and the frequencies of its ends. Not to be copied to another receiver.
  std::function<void(std::span<const float> frame, double low, double high)> frameSeen;

  vtrx* handle = nullptr;
  modDemod* demodulator = nullptr; // a handle of the mode's class; all handles have one form
  comingMode coming;
  int32_t reports = 0; // of the signal
  double signal_dBm = -1800;
  bool bandwidthSufficient = true;
  spectrumTrace trace;
};

struct stationSettings {
  std::string address;
  boardProfile board;
  int firmware = 0;
  int32_t rate = 192000; // Hz
  int32_t gain_dB = 0;
  int32_t transverter = 0; // Hz added to the radio's frequencies
};

// There is one station a process, since the library's callbacks carry no context. All on the polling thread. Destroyed, also by
// an exception, it ends a transmission and polls until that has reached the radio, stops the radio, removes its transceivers and
// polls until the library has let go of them.
class station {
 public:
  static constexpr size_t mostReceivers = 17; // sixteen, and one that records

  explicit station(const stationSettings& settings);
  ~station();
  station(const station&) = delete;
  station& operator=(const station&) = delete;

  // Before start. The pointer stays valid; throws std::runtime_error beyond mostReceivers.
  receiver* add(const receiver& wanted);
  // Before start: the receiver that transmits; throws std::runtime_error where the radio can't and the settings allow it. Without
  // it, and without its `allowed`, the radio object refuses to key.
  transmitter& addTransmitter(receiver& r, const transmitSettings& settings);
  void start();
  void poll(); // getUpdates, getRenderUpdates, and what the transmitter's rules ask for
  // Ends a transmission and polls until the radio has it; nothing is keyed afterwards. False: the radio didn't follow.
  bool endTransmission();

  void tune(receiver& r, int32_t frequency);
  void setSide(receiver& r, sideband side);
  void setFilter(receiver& r, filterEdges filter); // of reception
  // Takes its place some polls later, when the library has its settings; never on the air. Until then `r` is as it was.
  void setMode(receiver& r, std::shared_ptr<stationMode> mode, sideband side, filterEdges filter);
  void setMuted(receiver& r, bool muted);
  void setZoom(receiver& r, double zoom);
  void setGain(int32_t gain_dB); // within the board's limits

  const stationSettings& settings() const { return settings_; }
  transmitter* sender() const { return transmitter_.get(); } // null: this station only receives
  bool adcOverload() const { return adcOverload_; }
  double adcPeak_dBFS() const { return adcPeak_dBFS_; }
  int32_t sequenceBreaks() const { return sequenceBreaks_; }
  uint64_t framesSeen() const { return framesSeen_; }

 private:
  template <size_t n> void bindReceiver(vtrx* handle);
  void pollWhile(const std::function<bool()>& waiting); // not for ever
  void pollFor(std::chrono::milliseconds time);
  void bindReceiver(size_t n, vtrx* handle);
  void takeSignal(receiver& r, double level);
  void takeFrame(receiver& r, floatArray* frame, double low, double high);
  void adopt(vtrx* handle); // the next receiver that waits for its handle
  void configure(receiver& r);
  static void dropComing(receiver& r);
  void takeEcho(int32_t ticket);
  void changeModes(); // to those that are ready
  void useMode(receiver& r);
  void showFilter(receiver& r);
  void showTransmitFilter();

  static station* only;
  stationSettings settings_;
  radioObject radio_;
  std::vector<std::unique_ptr<receiver>> receivers_;
  std::unique_ptr<transmitter> transmitter_;
  receiver* transmitting_ = nullptr; // the one that transmits
  size_t adopted_ = 0, started_ = 0;
  int32_t tickets_ = 0;
  int32_t objectsAlive_ = 0;
  bool adcOverload_ = false;
  double adcPeak_dBFS_ = -100;
  int32_t sequenceBreaks_ = 0;
  uint64_t framesSeen_ = 0;
};

} // namespace larchhost
