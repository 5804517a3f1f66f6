#include "host/discovery.h"
#include <algorithm>
#include <arpa/inet.h>
#include <chrono>
#include <cstring>
#include <fmt/format.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

namespace larchhost {
namespace {

constexpr uint8_t question = 0x02, idleAnswer = 0x02, busyAnswer = 0x03;
constexpr size_t answerSize = 60;
constexpr int hermesLite2Board = 6, hermesLite2Firmware = 40;

std::optional<foundRadio> parseProtocol1(std::span<const uint8_t> d) {
  if (d[0] != 0xEF || d[1] != 0xFE || (d[2] != idleAnswer && d[2] != busyAnswer)) return {};
  foundRadio radio;
  radio.inUse = d[2] == busyAnswer;
  std::copy_n(d.begin() + 3, 6, radio.mac.begin());
  radio.firmware = d[9];
  radio.board = d[10];
  if (radio.board == hermesLite2Board && radio.firmware >= hermesLite2Firmware) radio.receivers = d[19];
  return radio;
}

std::optional<foundRadio> parseProtocol2(std::span<const uint8_t> d) {
  if (d[0] || d[1] || d[2] || d[3] || (d[4] != idleAnswer && d[4] != busyAnswer)) return {};
  foundRadio radio;
  radio.protocol = 2;
  radio.inUse = d[4] == busyAnswer;
  std::copy_n(d.begin() + 5, 6, radio.mac.begin());
  radio.board = d[11];
  radio.firmware = d[13];
  radio.receivers = d[20];
  return radio;
}

class probeSocket {
 public:
  probeSocket() : fd_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    if (fd_ < 0) throw std::runtime_error(fmt::format("no UDP socket: {}", std::strerror(errno)));
    const int on = 1;
    setsockopt(fd_, SOL_SOCKET, SO_BROADCAST, &on, sizeof on);
  }
  ~probeSocket() { close(fd_); }
  probeSocket(const probeSocket&) = delete;
  probeSocket& operator=(const probeSocket&) = delete;

  // A network that can't be reached is no fault: others may answer.
  void ask(uint32_t address, int protocol) const {
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(discoveryPort);
    to.sin_addr.s_addr = address;
    const auto send = [&](const auto& bytes) {
      static_cast<void>(sendto(fd_, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr*>(&to), sizeof to));
    };
    if (protocol != 2) send(protocol1Question());
    if (protocol != 1) send(protocol2Question());
  }
  std::optional<foundRadio> answer(int wait_ms) const {
    pollfd p{fd_, POLLIN, 0};
    if (poll(&p, 1, wait_ms) <= 0) return {};
    uint8_t bytes[2048];
    sockaddr_in from{};
    socklen_t size = sizeof from;
    const ssize_t n = recvfrom(fd_, bytes, sizeof bytes, MSG_DONTWAIT, reinterpret_cast<sockaddr*>(&from), &size);
    if (n < 0) return {};
    auto radio = parseAnswer({bytes, static_cast<size_t>(n)});
    char text[INET_ADDRSTRLEN] = {};
    if (radio && inet_ntop(AF_INET, &from.sin_addr, text, sizeof text)) radio->address = text;
    return radio;
  }

 private:
  int fd_;
};

std::vector<uint32_t> broadcastAddresses() {
  std::vector<uint32_t> all{htonl(INADDR_LOOPBACK)};
  ifaddrs* list = nullptr;
  if (getifaddrs(&list) != 0) return all;
  for (ifaddrs* i = list; i; i = i->ifa_next)
    if (i->ifa_addr && i->ifa_addr->sa_family == AF_INET && (i->ifa_flags & IFF_UP) && (i->ifa_flags & IFF_BROADCAST) &&
        i->ifa_broadaddr)
      all.push_back(reinterpret_cast<sockaddr_in*>(i->ifa_broadaddr)->sin_addr.s_addr);
  freeifaddrs(list);
  return all;
}

} // namespace

std::array<uint8_t, 63> protocol1Question() { return {0xEF, 0xFE, question}; }
std::array<uint8_t, 60> protocol2Question() { return {0, 0, 0, 0, question}; }

std::optional<foundRadio> parseAnswer(std::span<const uint8_t> datagram) {
  if (datagram.size() < answerSize) return {};
  if (auto radio = parseProtocol1(datagram)) return radio;
  return parseProtocol2(datagram);
}

std::string macText(const std::array<uint8_t, 6>& mac) {
  return fmt::format("{:02x}:{:02x}:{:02x}:{:02x}:{:02x}:{:02x}", mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);
}

std::optional<uint32_t> parseAddress(const std::string& text) {
  in_addr address{};
  if (inet_pton(AF_INET, text.c_str(), &address) != 1) return {};
  return address.s_addr;
}

std::vector<foundRadio> discover(const std::string& address, int wait_ms, int protocol) {
  const auto one = parseAddress(address);
  if (!address.empty() && !one) throw std::runtime_error(fmt::format("'{}' is no IPv4 address", address));
  const probeSocket socket;
  for (uint32_t to : one ? std::vector{*one} : broadcastAddresses()) socket.ask(to, protocol);
  std::vector<foundRadio> found;
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(wait_ms);
  for (;;) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now()).count();
    if (left <= 0) return found;
    const auto radio = socket.answer(static_cast<int>(left));
    if (!radio || (protocol != 0 && radio->protocol != protocol)) continue;
    const bool known = std::any_of(found.begin(), found.end(), [&](const foundRadio& f) {
      return f.address == radio->address && f.protocol == radio->protocol;
    });
    if (!known) found.push_back(*radio);
    if (one) return found;
  }
}

} // namespace larchhost
