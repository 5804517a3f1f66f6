// One IPv4 UDP socket with batched receives. Every operation answers with errno, none logs or throws.
#pragma once
#include <cstddef>
#include <cstdint>

namespace larch {

// Dotted IPv4 text to network form. What doesn't parse gives 255.255.255.255, to which no socket connects.
uint32_t parseIpv4(const char* text);

// send, sendTo: any thread. wait, receive: one thread. The rest: before those threads start, or from the thread that starts the
// stream. On a socket that isn't open every operation fails with EBADF, and wait still takes its time.
class udpSocket {
 public:
  static constexpr int maxBatch = 64;             // datagrams in one receive
  static constexpr std::size_t addressBytes = 28; // an address area, large enough for either family

  // Where one datagram goes. `address` is nullptr or an area of addressBytes: family, port (network order, byte 2), address.
  struct place {
    void* data;
    void* address;
  };

  udpSocket() = default;
  ~udpSocket();
  udpSocket(const udpSocket&) = delete;
  udpSocket& operator=(const udpSocket&) = delete;

  int open();
  int receiveBufferSize(int& bytes) const;      // as the system counts it: twice what was granted
  int setReceiveBufferSize(int bytes);          // past the system's limit where the right allows it, else up to that limit
  int setExclusive();                           // no other socket may share the port
  int bindAny();                                // any address, a port of the system's choice
  int connect(uint32_t address, uint16_t port); // address in network form; may be called again
  int localPort() const;                        // 0 when there is none

  int send(const void* data, std::size_t bytes);                        // rt: one system call
  int sendTo(const void* data, std::size_t bytes, const void* address); // rt; address: an area as in place

  // Waits for a datagram or a pending error. 1: there is one, 0: nothing came in time (or a signal), negative: -errno.
  int wait(int64_t timeout_ns) const;
  // rt. At most maxBatch waiting datagrams, in order, without blocking; each is cut to `bytes`, and what is left of it goes into
  // `lengths`, when there is one. Returns their number, 0 when none waits, or -errno (ECONNREFUSED: an earlier send of a
  // connected socket found no listener; the error is then gone).
  int receive(const place* places, int count, std::size_t bytes, uint32_t* lengths = nullptr);

  // Clears the area and writes family, port and address.
  static void writeAddress(void* area, uint32_t address, uint16_t port);

 private:
  int descriptor_ = -1;
};

} // namespace larch
