// The other side of the link: a TCP client that speaks bytes, and its words.
#pragma once
#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <fcntl.h>
#include <functional>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace larch::test {

constexpr std::chrono::seconds linkPatience{60}; // until a condition counts as missed

inline sockaddr_in loopback(int port) {
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  a.sin_port = htons(static_cast<uint16_t>(port));
  return a;
}

inline std::string word32(uint32_t value) {
  std::string bytes;
  for (int i = 0; i < 4; i++) bytes += static_cast<char>(value >> 8 * i);
  return bytes;
}
inline std::string framed(const std::string& body) { return word32(static_cast<uint32_t>(body.size())) + body; }
inline std::string question() { return framed("Pversion"); }
inline std::string beginAt(int32_t hertz) {
  return framed("InitHWMP" + std::string(5, '\x55') + word32(static_cast<uint32_t>(hertz)) + "\x66");
}
inline std::string tuneTo(int32_t hertz) { return framed("Set_HWLO" + word32(static_cast<uint32_t>(hertz))); }
inline std::string bytes(std::initializer_list<int> values) {
  std::string s;
  for (const int v : values) s += static_cast<char>(v);
  return s;
}
inline std::string versionAnswer() { return bytes({9, 0, 0, 0}) + "Pversion" + bytes({0}); }

class linkClient {
 public:
  // `meanwhile` runs while it waits; `window`: bytes of its receive buffer, 0 for the system's choice.
  explicit linkClient(
      int port, std::function<void()> meanwhile = [] {}, int window = 0)
      : meanwhile_(std::move(meanwhile)), socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    if (window) setsockopt(socket_, SOL_SOCKET, SO_RCVBUF, &window, sizeof window);
    const sockaddr_in to = loopback(port);
    connected_ = ::connect(socket_, reinterpret_cast<const sockaddr*>(&to), sizeof to) == 0;
    const int one = 1;
    setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    fcntl(socket_, F_SETFL, O_NONBLOCK);
  }
  ~linkClient() { close(); }
  linkClient(const linkClient&) = delete;
  linkClient& operator=(const linkClient&) = delete;

  bool connected() const { return connected_; }
  bool send(const std::string& text) {
    size_t at = 0;
    waitUntil([&] {
      const ssize_t n = ::send(socket_, text.data() + at, text.size() - at, MSG_NOSIGNAL);
      if (n > 0) at += static_cast<size_t>(n);
      return at == text.size() || (n < 0 && errno != EAGAIN);
    });
    return at == text.size();
  }
  // So many bytes, or those that came before the end.
  std::string receive(size_t count) {
    std::string text(count, '\0');
    size_t at = 0;
    waitUntil([&] {
      const ssize_t n = ::recv(socket_, text.data() + at, count - at, 0);
      if (n > 0) at += static_cast<size_t>(n);
      ended_ = n == 0 || (n < 0 && errno != EAGAIN);
      return at == count || ended_;
    });
    text.resize(at);
    return text;
  }
  // A whole message without its length word; empty at the end.
  std::string message() {
    const std::string head = receive(4);
    if (head.size() < 4) return {};
    uint32_t length = 0;
    for (int i = 3; i >= 0; i--) length = length << 8 | static_cast<uint8_t>(head[static_cast<size_t>(i)]);
    return length > 1 << 24 ? "length " + std::to_string(length) : receive(length);
  }
  // Nothing has come by now.
  bool silent() const {
    char byte;
    return ::recv(socket_, &byte, 1, MSG_PEEK) < 0 && errno == EAGAIN;
  }
  bool seesTheEnd() { return receive(1).empty() && ended_; }
  void close() {
    if (socket_ >= 0) ::close(std::exchange(socket_, -1));
  }
  void vanish() { // with a reset
    const linger hard{1, 0};
    setsockopt(socket_, SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
    close();
  }

 private:
  template <class Condition> void waitUntil(Condition done) {
    const auto end = std::chrono::steady_clock::now() + linkPatience;
    while (!done() && std::chrono::steady_clock::now() < end) {
      meanwhile_();
      std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
  }

  std::function<void()> meanwhile_;
  int socket_;
  bool connected_ = false, ended_ = false;
};

// A socket that listens on a port, or doesn't where it is taken.
class takenPort {
 public:
  explicit takenPort(int port) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const int one = 1;
    setsockopt(socket_, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    sockaddr_in at = loopback(port);
    at.sin_addr.s_addr = htonl(INADDR_ANY);
    taken_ = ::bind(socket_, reinterpret_cast<const sockaddr*>(&at), sizeof at) == 0 && ::listen(socket_, 1) == 0;
  }
  ~takenPort() { ::close(socket_); }
  takenPort(takenPort&& other) noexcept : socket_(std::exchange(other.socket_, -1)), taken_(other.taken_) {}
  bool taken() const { return taken_; }

 private:
  int socket_;
  bool taken_ = false;
};

// The first of so many free ports in a row; tests side by side look in different places.
inline int32_t freePorts(int count) {
  constexpr int32_t lowest = 20'000, highest = 32'000, apart = 32; // below those that the system gives to clients
  for (int32_t from = lowest + getpid() % ((highest - lowest) / apart) * apart; from < highest; from++) {
    std::vector<takenPort> held;
    for (int32_t port = from; port < from + count; port++) held.emplace_back(port);
    if (std::all_of(held.begin(), held.end(), [](const takenPort& p) { return p.taken(); })) return from;
  }
  return -1;
}

} // namespace larch::test
