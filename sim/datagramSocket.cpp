#include "sim/datagramSocket.h"
#include <atomic>
#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <arpa/inet.h>
#include <fmt/format.h>
#include <netinet/udp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace larch::sim {

namespace {
constexpr int receiveBuffer_bytes = 4 << 20;
constexpr size_t longestRow_bytes = 65000, mostInRow = 64; // the kernel's limits of one send

sockaddr_in toSockaddr(const endpointAddress& a) {
  sockaddr_in s{};
  s.sin_family = AF_INET;
  s.sin_addr.s_addr = htonl(a.ip);
  s.sin_port = htons(a.port);
  return s;
}

endpointAddress fromSockaddr(const sockaddr_in& s) { return {ntohl(s.sin_addr.s_addr), ntohs(s.sin_port)}; }
} // namespace

std::string endpointAddress::text() const {
  return fmt::format("{}.{}.{}.{}:{}", ip >> 24, ip >> 16 & 255, ip >> 8 & 255, ip & 255, port);
}

datagramSocket::datagramSocket(const std::string& address, uint16_t port) : slots(batch) {
  in_addr ip{};
  if (inet_pton(AF_INET, address.c_str(), &ip) != 1) throw std::invalid_argument("no IPv4 address: " + address);
  handle = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  waker = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  const sockaddr_in local = toSockaddr({ntohl(ip.s_addr), port});
  if (handle < 0 || waker < 0 || bind(handle, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
    const int error = errno;
    if (handle >= 0) close(handle);
    if (waker >= 0) close(waker);
    throw std::system_error(error, std::generic_category(), fmt::format("{}:{}", address, port));
  }
  setsockopt(handle, SOL_SOCKET, SO_RCVBUF, &receiveBuffer_bytes, sizeof receiveBuffer_bytes); // best effort
}

datagramSocket::~datagramSocket() {
  close(handle);
  close(waker);
}

endpointAddress datagramSocket::local() const {
  sockaddr_in s{};
  socklen_t length = sizeof s;
  getsockname(handle, reinterpret_cast<sockaddr*>(&s), &length);
  return fromSockaddr(s);
}

void datagramSocket::fill() {
  std::array<mmsghdr, batch> headers{};
  std::array<iovec, batch> parts{};
  for (size_t i = 0; i < batch; ++i) {
    parts[i] = {slots[i].bytes.data(), slots[i].bytes.size()};
    headers[i].msg_hdr.msg_name = &slots[i].from;
    headers[i].msg_hdr.msg_namelen = sizeof slots[i].from;
    headers[i].msg_hdr.msg_iov = &parts[i];
    headers[i].msg_hdr.msg_iovlen = 1;
  }
  int got;
  // an earlier send to a closed port is reported here, once; the next call reads on
  do got = recvmmsg(handle, headers.data(), batch, MSG_DONTWAIT, nullptr);
  while (got < 0 && (errno == EINTR || errno == ECONNREFUSED));
  taken = 0;
  filled = got > 0 ? static_cast<size_t>(got) : 0;
  for (size_t i = 0; i < filled; ++i) slots[i].length = headers[i].msg_len;
}

bool datagramSocket::receive(std::span<const uint8_t>& datagram, endpointAddress& sender) {
  if (taken == filled) fill();
  if (taken == filled) return false;
  const slot& s = slots[taken++];
  datagram = {s.bytes.data(), s.length};
  sender = fromSockaddr(s.from);
  return true;
}

size_t datagramSocket::sendMany(std::span<mmsghdr> headers) {
  size_t sent = 0;
  for (size_t done = 0; done < headers.size();) {
    const int gone = sendmmsg(handle, headers.data() + done, static_cast<unsigned>(headers.size() - done), MSG_DONTWAIT);
    if (gone < 0 && errno == EINTR) continue;
    if (gone > 0) sent += static_cast<size_t>(gone);
    // a refused one is lost like any datagram on a wire
    done += gone > 0 ? static_cast<size_t>(gone) : 1;
  }
  return sent;
}

size_t datagramSocket::send(std::span<const outgoingDatagram> datagrams, const endpointAddress& to) {
  sockaddr_in address = toSockaddr(to);
  size_t sent = 0;
  for (size_t done = 0; done < datagrams.size(); done += batch) {
    std::array<mmsghdr, batch> headers{};
    std::array<iovec, batch> parts{};
    const size_t count = std::min(batch, datagrams.size() - done);
    for (size_t i = 0; i < count; ++i) {
      const outgoingDatagram& d = datagrams[done + i];
      parts[i] = {const_cast<uint8_t*>(d.bytes.data()), d.length};
      headers[i].msg_hdr.msg_name = &address;
      headers[i].msg_hdr.msg_namelen = sizeof address;
      headers[i].msg_hdr.msg_iov = &parts[i];
      headers[i].msg_hdr.msg_iovlen = 1;
    }
    sent += sendMany({headers.data(), count});
  }
  return sent;
}

void datagramSocket::sendRowsOf(size_t length) {
  rowLength = length;
  const int size = static_cast<int>(length);
  rowsAsOne = setsockopt(handle, SOL_UDP, UDP_SEGMENT, &size, sizeof size) == 0;
}

size_t datagramSocket::sendRow(std::span<iovec> parts, size_t partsEach, const endpointAddress& to) {
  sockaddr_in address = toSockaddr(to);
  const size_t most = rowsAsOne ? std::min(longestRow_bytes / rowLength, mostInRow) : batch; // datagrams a call
  size_t sent = 0;
  while (!parts.empty()) {
    const size_t count = std::min(most, parts.size() / partsEach);
    if (count == 0) break;
    std::array<mmsghdr, batch> headers{};
    const size_t calls = rowsAsOne ? 1 : count, partsACall = count * partsEach / calls;
    for (size_t i = 0; i < calls; ++i) {
      headers[i].msg_hdr.msg_name = &address;
      headers[i].msg_hdr.msg_namelen = sizeof address;
      headers[i].msg_hdr.msg_iov = parts.data() + i * partsACall;
      headers[i].msg_hdr.msg_iovlen = partsACall;
    }
    errno = 0;
    const size_t gone = sendMany({headers.data(), calls});
    if (gone == 0 && rowsAsOne && count > 1 && (errno == EIO || errno == EINVAL || errno == EOPNOTSUPP)) {
      rowsAsOne = false; // a network card that can't: one by one from now on
      return sent + sendRow(parts, partsEach, to);
    }
    sent += rowsAsOne ? gone * count : gone;
    parts = parts.subspan(count * partsEach);
  }
  return sent;
}

bool datagramSocket::sendOne(std::span<const uint8_t> datagram, const endpointAddress& to) {
  const sockaddr_in address = toSockaddr(to);
  return sendto(handle, datagram.data(), datagram.size(), MSG_DONTWAIT, reinterpret_cast<const sockaddr*>(&address),
                sizeof address) >= 0;
}

void datagramSocket::wait(int timeout_ms) {
  if (taken != filled) return;
  pollfd fds[2] = {{handle, POLLIN, 0}, {waker, POLLIN, 0}};
  poll(fds, 2, timeout_ms);
  uint64_t ticks;
  while (read(waker, &ticks, sizeof ticks) > 0) {
  }
}

void datagramSocket::wake() {
  const uint64_t one = 1;
  [[maybe_unused]] const ssize_t written = write(waker, &one, sizeof one); // a full counter wakes as well
}

std::string nextLoopbackAddress() {
  static std::atomic<uint32_t> counter{0}; // relaxed: only has to differ
  const uint32_t n = counter.fetch_add(1, std::memory_order_relaxed);
  const uint32_t mixed = (static_cast<uint32_t>(getpid()) * 2654435761u + n * 40503u) & 0xFFFFFF;
  // 127.1.0.1 to 127.254.254.254: stays clear of the addresses that people use by hand
  return fmt::format("127.{}.{}.{}", 1 + (mixed >> 16) % 254, (mixed >> 8 & 255) % 255, 1 + (mixed & 255) % 254);
}

} // namespace larch::sim
