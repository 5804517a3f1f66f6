// A simulated Protocol 1 radio on a UDP socket.
#pragma once
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>
#include "sim/boardDevices.h"
#include "sim/datagramSocket.h"
#include "sim/drivenRadio.h"
#include "sim/problemLog.h"
#include "sim/protocol1Stream.h"
#include "sim/transmitEcho.h"
#include "sim/transmitMonitor.h"

namespace larch::sim {

// One snapshot of a radio.
struct radioReport {
  bool streaming = false, iqOn = false, widebandOn = false;
  endpointAddress peer;                  // of the stream, or the last one
  hostSettings settings;                 // as the registers stand
  double gain_dB = 0;                    // that acts on the levels
  int receiversInFrames = 1;             //
  uint64_t iqSent = 0, widebandSent = 0; // datagrams made, over all streams, those that a fault took away included
  uint32_t nextIqSequence = 0;           // of this stream
  uint64_t dataReceived = 0;             // good data datagrams of the host
  uint64_t otherDiscoveries = 0;         // of Protocol 2, not answered
  uint64_t discoveries = 0, starts = 0, stops = 0, takeovers = 0, watchdogStops = 0;
  uint64_t problems = 0;       // total count
  uint64_t clippedSamples = 0; //
  uint64_t stalls = 0;         // times that the sending thread itself came more than 250 ms late
  double longestGap_ms = 0;    // between two data datagrams of the host while streaming, as this side saw them
  double radioTime_s = 0;      // stream time by the radio's clock
  faultCounts faults;
  transmitLevels transmit;
  deviceState devices;
};

// One data datagram of the host, with what had been sent to it before.
struct hostArrival {
  uint32_t sequence = 0;   // the host's
  uint64_t iqSent = 0;     // IQ datagrams of this stream before it came; the last one's sequence is iqSent - 1
  bool streaming = false;  //
  bool mox[2] = {};        // of the two frames
  uint8_t address[2] = {}; // register or 0x7D
};

// Driven by hand, emit() and advance() send. By itself it takes the system's UTC, as it is when a stream begins; with stop() a
// transmission that goes on is over.
class protocol1Radio final : public drivenRadio<radioReport> {
 public:
  // Binds the socket; throws std::system_error or std::invalid_argument.
  explicit protocol1Radio(radioOptions options = {}, std::shared_ptr<const bandScene> scene = std::make_shared<bandScene>());
  ~protocol1Radio() override;
  // On a loopback address of its own, 127.a.b.c, at options.port: for tests that run side by side.
  static std::unique_ptr<protocol1Radio> onFreeLoopback(radioOptions options = {},
                                                        std::shared_ptr<const bandScene> scene = std::make_shared<bandScene>());

  std::string address() const; // dotted, as bound
  uint16_t port() const;

  // ---- by hand
  // The next n IQ datagrams with the wideband blocks between them, at once. Returns n, or 0 when no stream is on.
  size_t emit(size_t n);
  // UTC of the stream's next sample, in seconds; without a word it is the stream's own time since the scene began.
  void setUtc(double utc_s);
  // Lets true time pass and sends what falls due in it; time stands still without a stream. Returns IQ datagrams sent.
  size_t advance(double seconds);

  // ---- what it is told
  void setScene(std::shared_ptr<const bandScene> scene);
  void setStatus(const boardStatus& status); // lines, analogue inputs, forced overload; firmware stays the board's
  void setFaults(faultPlan plan);
  void setSilent(bool on); // sends nothing while its time and sequence numbers go on, as with a cable pulled out
  void setInUse(bool on);
  void setClockError_ppm(double error);
  void setAdcInput(int adc, adcInput input); // adc 0 to 3
  void recordTransmit(bool on);
  void recordArrivals(bool on);
  // What is transmitted while a stream runs goes there, too. Two radios must not share one.
  void setTransmitEcho(std::shared_ptr<transmitEcho> echo);
  // Called for each register that changed and each device write, on the thread that took the datagram, under the guard: it
  // must not call the radio.
  void onRegister(std::function<void(const registerWrite&)> listener);
  // The same for what a device write did, in words: "stored bias 0: 200".
  void onDevice(std::function<void(const std::string&)> listener);
  // The same for each transmission when it is over.
  void onTransmission(std::function<void(const transmission&)> listener);

  // ---- what it knows
  registerFile registers() const; // all values, counts, order, queued commands
  problemLog problems() const;
  std::vector<recordedSample> transmitted() const;
  std::vector<recordedSample> takeTransmitted();   // the same, and forgets them
  std::vector<transmission> transmissions() const; // those that are over
  // The one that goes on, with the reading of its last second (of all of it, while it is younger).
  std::optional<transmission> transmitting() const;
  std::vector<hostArrival> arrivals() const;
  // problems, register order, queued commands, transmissions, transmit levels and samples, arrivals, longest gap
  void clearRecords();

 private:
  size_t take() override;
  radioReport reportGuarded() const override;
  void ended() override { keep(monitor.finish()); }
  void loop() override;
  void wait(std::chrono::milliseconds limit) override { socket.wait(static_cast<int>(limit.count())); }
  void wake() override { socket.wake(); }
  void handle(std::span<const uint8_t> datagram, const endpointAddress& sender);
  void handleStart(uint8_t bits, const endpointAddress& sender);
  void handleData(const hostDatagram& datagram, const endpointAddress& sender);
  void handleFrame(const commandFrame& frame);
  void skipFrames(size_t frames);
  void keep(const std::optional<transmission>& over);
  transmitMoment moment() const;
  void emitGuarded(size_t n);
  void setUtcGuarded(double utc_s);
  void watchHost();
  bool turn();

  radioOptions built;
  double clock_Hz;
  datagramSocket socket;
  protocol1Stream stream;
  registerFile file;
  boardDevices devices;
  problemLog faultsSeen;
  transmitMonitor monitor;
  transmitSignal air;
  std::shared_ptr<transmitEcho> echo; // may be none
  radioReport counted;                // the counters; the rest is filled in on request
  hostDatagram incoming;
  bool inUse, keepArrivals = false, sequenceKnown = false;
  uint32_t expectedSequence = 0;
  uint64_t iqBefore = 0; // of earlier streams
  double lastData_s = 0; // radio time
  std::chrono::steady_clock::time_point lastArrival{}, origin{};
  double originTrue_s = 0;
  double byHand_s = 0; // true time that advance() has reached
  std::vector<hostArrival> arrived;
  std::vector<outgoingDatagram> outgoing;
  std::vector<transmission> over;
  std::function<void(const registerWrite&)> listener;
  std::function<void(const std::string&)> deviceListener;
  std::function<void(const transmission&)> transmissionListener;
};

} // namespace larch::sim
