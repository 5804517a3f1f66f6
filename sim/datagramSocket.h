// The simulated radio's own UDP socket.
#pragma once
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <system_error>
#include <vector>
#include <netinet/in.h>
#include <sys/uio.h>

namespace larch::sim {

struct endpointAddress {
  uint32_t ip = 0; // host order
  uint16_t port = 0;
  bool operator==(const endpointAddress&) const = default;
  std::string text() const; // "127.0.0.1:1024"
};

// A datagram of up to a data datagram's length, ready to go.
struct outgoingDatagram {
  size_t length = 0;
  std::array<uint8_t, 1444> bytes;
};

// Bound in the constructor, closed in the destructor; never blocks but in wait(). One thread at a time.
class datagramSocket {
 public:
  // address: dotted IPv4; port 0: any free one. Throws std::system_error (address in use and so on), std::invalid_argument.
  datagramSocket(const std::string& address, uint16_t port);
  ~datagramSocket();
  datagramSocket(const datagramSocket&) = delete;
  datagramSocket& operator=(const datagramSocket&) = delete;

  endpointAddress local() const;
  // Takes one waiting datagram. False: none waits. The bytes are valid until the next call.
  bool receive(std::span<const uint8_t>& datagram, endpointAddress& sender);
  // Returns how many left; the kernel drops what the peer has no room for.
  size_t send(std::span<const outgoingDatagram> datagrams, const endpointAddress& to);
  bool sendOne(std::span<const uint8_t> datagram, const endpointAddress& to);
  // For datagrams that are all `length` bytes long: sendRow hands many to the kernel as one, where the kernel can.
  void sendRowsOf(size_t length);
  // Datagrams of that length, each in `partsEach` pieces one after the other. Returns how many left.
  size_t sendRow(std::span<iovec> parts, size_t partsEach, const endpointAddress& to);
  int descriptor() const { return handle; } // to wait for several
  int wakeDescriptor() const { return waker; }
  // Until something waits, or wake(), or the time is over.
  void wait(int timeout_ms);
  void wake(); // from any thread

 private:
  static constexpr size_t batch = 32, slotBytes = 2048;
  struct slot {
    std::array<uint8_t, slotBytes> bytes;
    sockaddr_in from;
    size_t length;
  };
  void fill();
  size_t sendMany(std::span<mmsghdr> headers);

  size_t rowLength = 0; // 0: no rows
  bool rowsAsOne = false;
  int handle = -1, waker = -1;
  std::vector<slot> slots;
  size_t filled = 0, taken = 0;
};

// Tries loopback addresses 127.a.b.c that depend on the process and a counter until a socket can be bound there, so that
// any number of programs can have radios on the one port of the protocol. Returns the dotted address.
std::string nextLoopbackAddress();

// What bind(address) returns for the first of these addresses at which it throws no "address in use".
template <typename binder> auto boundToFreeLoopback(binder&& bind) {
  constexpr int mostAttempts = 1000;
  for (int attempt = 1;; ++attempt) {
    try {
      return bind(nextLoopbackAddress());
    } catch (const std::system_error& e) {
      if (e.code() != std::errc::address_in_use || attempt == mostAttempts) throw;
    }
  }
}

} // namespace larch::sim
