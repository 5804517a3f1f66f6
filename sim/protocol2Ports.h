// The sockets of a simulated Protocol 2 radio: what comes in on four ports, what goes out from nineteen.
#pragma once
#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>
#include "sim/datagramSocket.h"
#include "sim/faultInjector.h"
#include "sim/protocol2Codec.h"

namespace larch::sim {

// The streams that leave the radio, each from a port of its own: receiver r is firstReceiver + r.
enum class p2Source : size_t { status, microphone, wideband, firstReceiver };
constexpr size_t p2Sources = 3 + p2MaxReceivers;
constexpr p2Source p2SourceOf(size_t receiver) { return static_cast<p2Source>(3 + receiver); }
constexpr size_t p2DatagramBytes(p2Source s) {
  constexpr std::array<size_t, 3> small{p2StatusBytes, p2MicrophoneBytes, p2WidebandBytes};
  return static_cast<size_t>(s) < small.size() ? small[static_cast<size_t>(s)] : p2IqBytes;
}

// Datagrams are queued as header and payload, without a copy of the payload, and leave a row at a time with flush(). Faults work
// on each stream by itself. Not thread-safe, but for wake().
class protocol2Ports {
 public:
  // Binds all twenty sockets; throws std::system_error or std::invalid_argument.
  explicit protocol2Ports(const std::string& address);

  // Takes one waiting datagram; port: the one that it came to, an index of p2CommandPorts.
  bool receive(size_t& port, std::span<const uint8_t>& datagram, endpointAddress& sender);
  bool answer(size_t port, std::span<const uint8_t> datagram, const endpointAddress& to);
  void wait(int64_t timeout_ns); // until something came in, or wake(), or the time is over
  void wake();

  // The header is copied; the payload must stay until flush(). The whole has the length of the source's datagrams.
  void add(p2Source source, uint32_t sequence, std::span<const uint8_t> header, std::span<const uint8_t> payload = {});
  void flush(const endpointAddress& to);
  void drop(); // what is queued or held back

  void setFaults(const faultPlan& plan); // the sets of sequence numbers hold for each receiver
  void setSilent(bool on);
  faultCounts faults() const;
  uint64_t refused() const { return refusedByKernel; } // datagrams
  std::string address() const;

 private:
  static constexpr size_t longestHeader = 64;
  struct queuedDatagram {
    uint32_t sequence;
    size_t headerLength;
    std::array<uint8_t, longestHeader> header;
    std::span<const uint8_t> payload;
  };
  void flushRow(size_t source, const endpointAddress& to);
  void flushFaulty(size_t source, const endpointAddress& to);
  datagramSocket& socketOf(size_t source);

  std::vector<std::unique_ptr<datagramSocket>> commands, receivers;
  std::array<std::vector<queuedDatagram>, p2Sources> queued;
  std::array<faultInjector, p2Sources> injectors;
  std::vector<iovec> parts;
  std::vector<outgoingDatagram> spoiled;
  size_t nextPort = 0; // whose turn it is in receive()
  uint64_t refusedByKernel = 0;
};

} // namespace larch::sim
