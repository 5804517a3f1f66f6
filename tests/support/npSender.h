// A Protocol 2 radio that does nothing but send: noise from its down-converter ports, at a pace, to whoever starts it.
#pragma once
#include <algorithm>
#include <arpa/inet.h>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <netinet/in.h>
#include <netinet/udp.h>
#include <random>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace larch::test {

class npSender {
 public:
  struct plan {
    int receivers = 1;
    double rate = 48000;            // Hz
    double microphoneRate = 750;    // packets a second
    double widebandRate = 0;        // packets a second
    int64_t step_ns = 1'000'000;    // what falls due in it goes out together
    uint32_t address = 0x7f010203u; // host order; with 0 one is drawn on which the ports are free
  };

  explicit npSender(const plan& wanted) : wanted_(wanted) {
    std::mt19937 draw(std::random_device{}());
    for (int attempt = 0; attempt < 50; attempt++) {
      address_ = htonl(wanted_.address != 0 ? wanted_.address : 0x7f000000u | (draw() % 0xfffe00u + 0x101u));
      if (bindAll()) break;
    }
    std::uniform_int_distribution<int> byte(0, 255);
    row_.assign(mostAtOnce * packetBytes, 0);
    for (std::size_t i = 0; i < row_.size(); i++) // the upper byte of each word stays 0: noise of -48 dB
      if (const std::size_t at = i % packetBytes; at >= 16 && (at - 16) % 3 != 0) row_[i] = static_cast<uint8_t>(byte(draw));
    const int length = packetBytes;
    cuts_ = bound();
    for (std::size_t i = 4; cuts_ && i < sockets_.size(); i++)
      cuts_ = setsockopt(sockets_[i], SOL_UDP, UDP_SEGMENT, &length, sizeof length) == 0;
  }
  ~npSender() {
    for (const int s : sockets_) ::close(s);
  }
  npSender(const npSender&) = delete;
  npSender& operator=(const npSender&) = delete;

  bool bound() const { return sockets_.size() == 20; }
  std::string address() const {
    in_addr a{address_};
    return inet_ntoa(a);
  }
  uint64_t sent() const { return sent_.load(std::memory_order_relaxed); } // of the down-converters
  uint64_t refused() const { return refused_.load(std::memory_order_relaxed); }
  double longestLate_ms() const { return longestLate_ms_; }

  // Streams while the radio is told to run, until `stop` or, with seconds above 0, so much stream is out.
  void run(const std::atomic<bool>& stop, double seconds = 0) {
    int64_t next_ns = now_ns();
    double due[3] = {}; // packets of one down-converter, of the microphone, of the wideband
    uint64_t out[3] = {};
    double stream_s = 0;
    while (!stop.load(std::memory_order_relaxed) && (seconds <= 0 || stream_s < seconds)) {
      listen();
      next_ns += wanted_.step_ns;
      const int64_t wait = next_ns - now_ns();
      if (wait > 0) {
        const timespec pause{wait / 1'000'000'000, wait % 1'000'000'000};
        nanosleep(&pause, nullptr);
      }
      if (!running_) continue;
      longestLate_ms_ = std::max(longestLate_ms_, static_cast<double>(-wait) / 1e6);
      stream_s += static_cast<double>(wanted_.step_ns) / 1e9;
      const double rates[3] = {wanted_.rate / 238, wanted_.microphoneRate, wanted_.widebandRate};
      for (int k = 0; k < 3; k++) due[k] = rates[k] * stream_s;
      while (static_cast<double>(out[0] + 1) <= due[0]) {
        const auto count = std::min<uint64_t>(static_cast<uint64_t>(due[0]) - out[0], mostAtOnce);
        for (int r = 0; r < wanted_.receivers; r++) sendSamples(r, static_cast<std::size_t>(count));
        out[0] += count;
      }
      for (; static_cast<double>(out[1] + 1) <= due[1]; out[1]++) sendOther(2, 132);
      for (; static_cast<double>(out[2] + 1) <= due[2]; out[2]++) sendOther(3, 1028);
    }
  }

 private:
  static constexpr std::size_t packetBytes = 1444, mostAtOnce = 40;

  static int64_t now_ns() {
    timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return int64_t{t.tv_sec} * 1'000'000'000 + t.tv_nsec;
  }
  bool bindAll() {
    for (const int s : sockets_) ::close(s);
    sockets_.clear();
    for (int port = 1024; port <= 1050; port++) {
      if (port > 1027 && port < 1035) continue;
      const int s = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
      sockets_.push_back(s);
      const sockaddr_in own = at(address_, port);
      if (bind(s, reinterpret_cast<const sockaddr*>(&own), sizeof own) != 0) return false;
    }
    return true;
  }
  static sockaddr_in at(uint32_t address, int port) {
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(static_cast<uint16_t>(port));
    a.sin_addr.s_addr = address;
    return a;
  }
  // What the host sends: the high-priority packet alone is looked at.
  void listen() {
    char packet[1444];
    for (const std::size_t i : {0u, 1u, 2u})
      while (recv(sockets_[i], packet, sizeof packet, MSG_DONTWAIT) >= 0) {
      }
    socklen_t length = sizeof host_;
    while (recvfrom(sockets_[3], packet, sizeof packet, MSG_DONTWAIT, reinterpret_cast<sockaddr*>(&host_), &length) > 4) {
      running_ = packet[4] != 0;
      for (std::size_t i = 4; i < sockets_.size(); i++) // a connected socket sends at less cost
        if (connect(sockets_[i], reinterpret_cast<const sockaddr*>(&host_), sizeof host_) != 0) running_ = false;
    }
  }
  // In one call where the kernel cuts them apart itself.
  void sendSamples(int receiver, std::size_t count) {
    std::size_t first = 0;
    for (std::size_t n = 0; n < count; n++) {
      const uint32_t number = htonl(sequence_[receiver]++);
      std::memcpy(row_.data() + n * packetBytes, &number, sizeof number);
    }
    const int s = sockets_[4 + static_cast<std::size_t>(receiver)];
    const std::size_t step = cuts_ ? count : 1;
    for (; first < count; first += step)
      if (send(s, row_.data() + first * packetBytes, step * packetBytes, MSG_DONTWAIT) < 0)
        refused_.fetch_add(step, std::memory_order_relaxed);
    sent_.fetch_add(count, std::memory_order_relaxed);
  }
  void sendOther(std::size_t socketIndex, std::size_t length) {
    const auto* host = reinterpret_cast<const sockaddr*>(&host_);
    if (sendto(sockets_[socketIndex], row_.data(), length, MSG_DONTWAIT, host, sizeof host_) < 0)
      refused_.fetch_add(1, std::memory_order_relaxed);
  }

  plan wanted_;
  uint32_t address_ = 0;
  std::vector<int> sockets_; // ports 1024 to 1027, then 1035 on
  std::vector<uint8_t> row_; // packets, one behind the other
  bool cuts_ = false;        // the kernel does
  uint32_t sequence_[16] = {};
  sockaddr_in host_{};
  bool running_ = false;
  std::atomic<uint64_t> sent_{0}, refused_{0};
  double longestLate_ms_ = 0;
};

} // namespace larch::test
