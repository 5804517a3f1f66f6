// A Protocol 2 radio between sockets of the test's own: the ports of a radio on one loopback address, and tasks that run on the
// test's own thread.
#pragma once
#include "radio/HpsdrNpRadio.h"
#include "tests/radio/hpsdrBench.h"
#include <chrono>
#include <functional>
#include <thread>

namespace larch::test {

// All ports of a radio. What goes to one of them is read there; the radio's packets are sent from the same sockets.
class npPeer {
 public:
  npPeer() {
    for (int attempt = 0; attempt < 20 && !bindAll(); attempt++) first_ = std::make_unique<plainPeer>();
    EXPECT_EQ(sockets_.size(), portCount()) << "no free loopback address";
  }
  ~npPeer() { closeAll(); }
  npPeer(const npPeer&) = delete;
  npPeer& operator=(const npPeer&) = delete;

  std::string text() const { return first_->text(); }
  uint32_t address() const { return first_->address(); }
  // The next packet to this port; empty after the time-out.
  bytes receive(int port, int timeout_ms = 5000) {
    pollfd p{sockets_.at(port), POLLIN, 0};
    if (poll(&p, 1, timeout_ms) <= 0) return {};
    bytes data(4096);
    sockaddr_in from{};
    socklen_t length = sizeof from;
    const ssize_t n = recvfrom(p.fd, data.data(), data.size(), 0, reinterpret_cast<sockaddr*>(&from), &length);
    data.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
    return data;
  }
  void send(int fromPort, int toPort, const bytes& data) { plainPeer::sendFrom(sockets_.at(fromPort), toPort, data); }

 private:
  static bool isPort(int port) { return (port >= 1024 && port <= 1027) || (port >= 1035 && port <= 1050); }
  static std::size_t portCount() { return 20; }
  bool bindAll() {
    closeAll();
    for (int port = 1024; port <= 1050; port++) {
      if (!isPort(port)) continue;
      const int s = port == 1024 ? dup(first_->descriptor()) : plainPeer::open(first_->address(), static_cast<uint16_t>(port));
      if (s < 0) return false;
      sockets_[port] = s;
    }
    return true;
  }
  void closeAll() {
    for (const auto& [port, s] : sockets_) ::close(s);
    sockets_.clear();
  }
  std::unique_ptr<plainPeer> first_ = std::make_unique<plainPeer>();
  std::map<int, int> sockets_;
};

class openNpRadio : public HpsdrNpRadio {
 public:
  using HpsdrNpRadio::adcPeakRaw;
  using HpsdrNpRadio::gainFactor;
  using HpsdrNpRadio::handledPackets;
  using HpsdrNpRadio::handleSamples;
  using HpsdrNpRadio::HpsdrNpRadio;
  using HpsdrNpRadio::initialise;
  using HpsdrNpRadio::meterCounter;
  using HpsdrNpRadio::microphoneCount;
  using HpsdrNpRadio::releaseRing;
  using HpsdrNpRadio::releaseSlots;
  using HpsdrNpRadio::running;
  using HpsdrNpRadio::rxTurn;
  using HpsdrNpRadio::sequenceBreaks;
  using HpsdrNpRadio::threadStarted;
  using HpsdrNpRadio::transport;
};

// `ownThread`: the radio starts its receive thread; otherwise the test takes its turns.
struct npBench {
  explicit npBench(bool ownThread = false) : byHand(!ownThread) {
    radio = keptByCore(std::make_shared<openNpRadio>(std::make_shared<syncTask>(handPool())));
    radio->ipAddress.set(peer.text());
    if (ownThread) return;
    radio->initialise();
    radio->threadStarted = true;
    keepTransceivers();
  }
  ~npBench() {
    keepTransceivers();
    radio->transceivers.clear();
    runAll();
    handPool()->getRenderUpdates();
    handPool()->getUpdates();
  }
  void keepTransceivers() {
    for (const auto& each : radio->transceivers) {
      keptByCore(each);
      if (each->rxagc.value) keptByCore(each->rxagc.value);
      if (each->txagc.value) keptByCore(each->txagc.value);
    }
  }
  int port() const { return radio->transport->localPort(); }
  // By hand no more wait in the socket than the smallest buffer holds.
  void fromRadio(int fromPort, const bytes& data) {
    peer.send(fromPort, port(), data);
    sent++;
    constexpr uint32_t mostWaiting = 48;
    if (byHand && sent - radio->receivedCounter.load() >= mostWaiting) receiveAll();
  }
  // Turns until all that was sent so far has come, then all tasks. Nothing else may have been handled by another thread.
  void takeAll() {
    receiveAll();
    runAll();
    radio->rxTurn(); // the released slots
  }
  void receiveAll() {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (radio->receivedCounter.load() != sent) {
      ASSERT_LT(std::chrono::steady_clock::now(), end) << "datagrams got lost";
      radio->rxTurn();
      while (handPool()->turn()) {
      }
    }
  }
  void one(int fromPort, const bytes& data) {
    fromRadio(fromPort, data);
    takeAll();
  }
  // For a radio with its own thread.
  bool runUntil(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition() && std::chrono::steady_clock::now() < end)
      if (!handPool()->turn()) std::this_thread::yield();
    return condition();
  }

  npPeer peer;
  std::shared_ptr<openNpRadio> radio;
  bool byHand;
  uint32_t sent = 0;
};

inline void put32(bytes& d, std::size_t at, uint32_t value) {
  for (std::size_t i = 0; i < 4; i++) d[at + i] = static_cast<uint8_t>(value >> (24 - 8 * i));
}
// A down-converter packet; `sample(n, part)` gives the 24-bit values, part 0 is I.
template <class Sample> bytes npSamples(uint32_t sequence, Sample&& sample) {
  bytes d(1444, 0);
  put32(d, 0, sequence);
  for (std::size_t i = 4; i < 16; i++) d[i] = static_cast<uint8_t>(0xa0 + i); // nobody reads these
  for (std::size_t n = 0; n < 238; n++)
    for (std::size_t part = 0; part < 2; part++)
      put24(d, 16 + 6 * n + 3 * part, sample(static_cast<int>(n), static_cast<int>(part)));
  return d;
}
inline bytes npSamples(uint32_t sequence) {
  return npSamples(sequence, [](int, int) { return 0; });
}
template <class Sample> bytes npWideband(uint32_t sequence, Sample&& sample) {
  bytes d(1028, 0);
  put32(d, 0, sequence);
  for (std::size_t n = 0; n < 512; n++) {
    const int value = sample(static_cast<int>(n));
    d[4 + 2 * n] = static_cast<uint8_t>(value >> 8);
    d[5 + 2 * n] = static_cast<uint8_t>(value);
  }
  return d;
}
inline bytes npStatus(uint8_t overload) {
  bytes d(60, 0);
  d[5] = overload;
  return d;
}
inline bytes npMicrophone() { return bytes(132, 0); }

} // namespace larch::test
