#include "platform/udpSocket.h"
#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace larch {
namespace {

int errorOf(int result) { return result < 0 ? errno : 0; }

sockaddr_in ipv4(uint32_t address, uint16_t port) {
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_port = htons(port);
  a.sin_addr.s_addr = address;
  return a;
}

} // namespace

uint32_t parseIpv4(const char* text) {
  in_addr address{};
  return inet_pton(AF_INET, text, &address) == 1 ? address.s_addr : INADDR_NONE;
}

udpSocket::~udpSocket() {
  if (descriptor_ >= 0) close(descriptor_);
}

int udpSocket::open() {
  descriptor_ = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  return errorOf(descriptor_);
}

int udpSocket::receiveBufferSize(int& bytes) const {
  socklen_t length = sizeof bytes;
  return errorOf(getsockopt(descriptor_, SOL_SOCKET, SO_RCVBUF, &bytes, &length));
}

int udpSocket::setReceiveBufferSize(int bytes) {
  if (setsockopt(descriptor_, SOL_SOCKET, SO_RCVBUFFORCE, &bytes, sizeof bytes) == 0) return 0;
  return errorOf(setsockopt(descriptor_, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes));
}

int udpSocket::setExclusive() {
  const int off = 0; // a port is exclusive unless both sockets ask for sharing
  const int first = errorOf(setsockopt(descriptor_, SOL_SOCKET, SO_REUSEADDR, &off, sizeof off));
  const int second = errorOf(setsockopt(descriptor_, SOL_SOCKET, SO_REUSEPORT, &off, sizeof off));
  return first ? first : second;
}

int udpSocket::bindAny() {
  const sockaddr_in any = ipv4(INADDR_ANY, 0);
  return errorOf(bind(descriptor_, reinterpret_cast<const sockaddr*>(&any), sizeof any));
}

int udpSocket::connect(uint32_t address, uint16_t port) {
  const sockaddr_in peer = ipv4(address, port);
  return errorOf(::connect(descriptor_, reinterpret_cast<const sockaddr*>(&peer), sizeof peer));
}

int udpSocket::localPort() const {
  sockaddr_in a{};
  socklen_t length = sizeof a;
  return getsockname(descriptor_, reinterpret_cast<sockaddr*>(&a), &length) == 0 ? ntohs(a.sin_port) : 0;
}

int udpSocket::send(const void* data, std::size_t bytes) {
  return ::send(descriptor_, data, bytes, MSG_NOSIGNAL | MSG_DONTWAIT) < 0 ? errno : 0;
}

int udpSocket::sendTo(const void* data, std::size_t bytes, const void* address) {
  const auto* peer = static_cast<const sockaddr*>(address);
  return sendto(descriptor_, data, bytes, MSG_NOSIGNAL | MSG_DONTWAIT, peer, sizeof(sockaddr_in)) < 0 ? errno : 0;
}

int udpSocket::wait(int64_t timeout_ns) const {
  constexpr int64_t second_ns = 1'000'000'000;
  const timespec timeout{timeout_ns / second_ns, timeout_ns % second_ns};
  pollfd p{descriptor_, POLLIN, 0}; // a negative descriptor is waited out
  const int ready = ppoll(&p, 1, &timeout, nullptr);
  if (ready < 0) return errno == EINTR ? 0 : -errno;
  return ready;
}

int udpSocket::receive(const place* places, int count, std::size_t bytes, uint32_t* lengths) {
  const int n = std::min(count, maxBatch);
  if (n <= 0) return 0;
  mmsghdr messages[maxBatch];
  iovec areas[maxBatch];
  for (int i = 0; i < n; i++) {
    areas[i] = {places[i].data, bytes};
    msghdr& h = messages[i].msg_hdr;
    h = {};
    h.msg_name = places[i].address;
    h.msg_namelen = places[i].address ? addressBytes : 0;
    h.msg_iov = &areas[i];
    h.msg_iovlen = 1;
  }
  const int received = recvmmsg(descriptor_, messages, static_cast<unsigned>(n), MSG_DONTWAIT, nullptr);
  for (int i = 0; lengths && i < received; i++) lengths[i] = messages[i].msg_len;
  if (received >= 0) return received;
  return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR ? 0 : -errno;
}

void udpSocket::writeAddress(void* area, uint32_t address, uint16_t port) {
  std::memset(area, 0, addressBytes);
  const sockaddr_in a = ipv4(address, port);
  std::memcpy(area, &a, sizeof a);
}

} // namespace larch
