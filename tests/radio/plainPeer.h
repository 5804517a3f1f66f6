// A plain socket in the radio's place: bound to the radio's port on a loopback address of its own.
#pragma once
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <random>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace larch::test {

using bytes = std::vector<uint8_t>;

// A loopback address on which nobody has the radio's port. Tests run side by side, so it is drawn until the bind works.
class plainPeer {
 public:
  explicit plainPeer(uint16_t port = 1024) {
    std::mt19937 draw(std::random_device{}());
    for (int attempt = 0; attempt < 100; attempt++) {
      address_ = htonl(0x7f000000u | (draw() % 0xfffe00u + 0x101u));
      descriptor_ = open(address_, port);
      if (descriptor_ >= 0) return;
    }
    ADD_FAILURE() << "no free loopback address";
  }
  ~plainPeer() { close(); }
  plainPeer(const plainPeer&) = delete;
  plainPeer& operator=(const plainPeer&) = delete;

  uint32_t address() const { return address_; } // network form
  std::string text() const {
    in_addr a{address_};
    return inet_ntoa(a);
  }
  int descriptor() const { return descriptor_; }
  void close() {
    if (descriptor_ >= 0) ::close(descriptor_);
    descriptor_ = -1;
  }
  // A further socket on the same address, as a radio's other ports are.
  static int open(uint32_t address, uint16_t port) {
    const int s = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    int large = 8 << 20;
    setsockopt(s, SOL_SOCKET, SO_RCVBUF, &large, sizeof large);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(port);
    a.sin_addr.s_addr = address;
    if (bind(s, reinterpret_cast<sockaddr*>(&a), sizeof a) == 0) return s;
    ::close(s);
    return -1;
  }

  void sendTo(int port, const bytes& data) const { sendFrom(descriptor_, port, data); }
  static void sendFrom(int descriptor, int port, const bytes& data) {
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(static_cast<uint16_t>(port));
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(sendto(descriptor, data.data(), data.size(), 0, reinterpret_cast<sockaddr*>(&a), sizeof a), ssize_t(data.size()));
  }
  // The next datagram; empty after the time-out. peerPort learns the sender.
  bytes receive(int timeout_ms = 2000) {
    pollfd p{descriptor_, POLLIN, 0};
    if (poll(&p, 1, timeout_ms) <= 0) return {};
    bytes data(4096);
    sockaddr_in from{};
    socklen_t length = sizeof from;
    const ssize_t n = recvfrom(descriptor_, data.data(), data.size(), 0, reinterpret_cast<sockaddr*>(&from), &length);
    data.resize(n > 0 ? static_cast<size_t>(n) : 0);
    peerPort = ntohs(from.sin_port);
    return data;
  }
  int peerPort = 0;

 private:
  uint32_t address_ = 0;
  int descriptor_ = -1;
};

} // namespace larch::test
