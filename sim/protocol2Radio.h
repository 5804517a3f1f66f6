// A simulated Protocol 2 radio on its UDP ports.
#pragma once
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>
#include "sim/drivenRadio.h"
#include "sim/problemLog.h"
#include "sim/protocol2Host.h"
#include "sim/protocol2Ports.h"
#include "sim/protocol2Stream.h"

namespace larch::sim {

// One snapshot of a radio.
struct p2Report {
  bool streaming = false;
  endpointAddress peer;                           // of the stream, or the last one
  p2HostSettings settings;                        // as the packets stand
  p2StreamCounts sent;                            // over all streams
  std::array<uint64_t, p2Packets> received{};     // good packets of the host by kind
  uint64_t discoveries = 0, otherDiscoveries = 0; // of Protocol 2, and those of Protocol 1, which it doesn't answer
  uint64_t starts = 0, stops = 0, takeovers = 0, watchdogStops = 0;
  uint64_t problems = 0; // total count
  uint64_t refused = 0;  // datagrams that the kernel didn't take
  uint64_t stalls = 0;   // times that the sending thread itself came more than 250 ms late
  double radioTime_s = 0;
  faultCounts faults;
};

// It streams from a high-priority packet with "run" until one without, to whoever sent the last general packet, or started it
// without one. The general packet of another host takes a running stream over; its other packets are foreign. The watchdog, the
// host's or its own, stops a stream when no packet came for so long; while the radio is silent it waits.
class protocol2Radio final : public drivenRadio<p2Report> {
 public:
  // Binds the sockets; throws std::system_error or std::invalid_argument.
  explicit protocol2Radio(protocol2Options options = {}, std::shared_ptr<const bandScene> scene = std::make_shared<bandScene>());
  ~protocol2Radio() override;
  // On a loopback address of its own, 127.a.b.c: for tests that run side by side.
  static std::unique_ptr<protocol2Radio> onFreeLoopback(protocol2Options options = {},
                                                        std::shared_ptr<const bandScene> scene = std::make_shared<bandScene>());
  std::string address() const; // dotted, as bound

  // ---- by hand
  void advance(double seconds); // lets true time pass and sends what falls due in it; without a stream time stands still

  // ---- what it is told
  void setScene(std::shared_ptr<const bandScene> scene);
  void setStatus(const p2Status& status);
  void setFaults(const faultPlan& plan);
  void setSilent(bool on); // sends nothing while its time and sequence numbers go on, as with a cable pulled out
  void setInUse(bool on);
  void setClockError_ppm(double error);
  void setAdcInput(int adc, adcInput input); // adc 0 to 2
  // Called for each field that got another value, on the thread that took the packet, under the guard: it must not call the
  // radio.
  void onField(protocol2Host::listener listener);

  // ---- what it knows
  problemLog problems() const;
  std::vector<uint8_t> lastPacket(p2Packet kind) const; // of the host; zeros before the first

 private:
  size_t take() override;
  p2Report reportGuarded() const override;
  void loop() override;
  void wait(std::chrono::milliseconds limit) override { ports.wait(std::chrono::nanoseconds(limit).count()); }
  void wake() override { ports.wake(); }
  void handle(size_t port, std::span<const uint8_t> datagram, const endpointAddress& sender);
  bool handleQuestion(size_t port, std::span<const uint8_t> datagram, const endpointAddress& sender);
  void handlePacket(p2Packet kind, std::span<const uint8_t> packet, const endpointAddress& sender);
  void followRun(const endpointAddress& sender);
  void begin();
  void watchHost();
  int64_t turn(); // returns the ns to wait

  protocol2Options built;
  protocol2Ports ports;
  protocol2Stream stream;
  protocol2Host host;
  problemLog faultsSeen;
  p2Report counted; // the counters; the rest is filled in on request
  protocol2Host::listener fieldListener;
  bool inUse, silent = false;
  double lastHeard_s = 0; // radio time
  std::chrono::steady_clock::time_point origin{};
  double originTrue_s = 0, byHand_s = 0;
};

} // namespace larch::sim
