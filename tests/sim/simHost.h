// A bare host for the tests of the simulated radio: its own socket and its own reading of the bytes.
#pragma once
#include <arpa/inet.h>
#include <complex>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>
#include <vector>
#include <gtest/gtest.h>

namespace larch::simtest {

using bytes = std::vector<uint8_t>;
using samples = std::vector<std::complex<double>>;

class simHost {
 public:
  simHost(const std::string& radio, uint16_t port) : handle(socket(AF_INET, SOCK_DGRAM, 0)) {
    const int room = 8 << 20;
    setsockopt(handle, SOL_SOCKET, SO_RCVBUF, &room, sizeof room);
    to.sin_family = AF_INET;
    to.sin_port = htons(port);
    inet_pton(AF_INET, radio.c_str(), &to.sin_addr);
  }
  ~simHost() { close(handle); }
  simHost(const simHost&) = delete;
  simHost& operator=(const simHost&) = delete;

  template <typename container> void send(const container& data) {
    const auto sent = sendto(handle, data.data(), data.size(), 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
    ASSERT_EQ(sent, static_cast<ssize_t>(data.size()));
  }
  // Empty: nothing came within the time.
  bytes receive(int timeout_ms = 0) {
    bytes b(4096);
    const timeval t{timeout_ms / 1000, timeout_ms % 1000 * 1000};
    setsockopt(handle, SOL_SOCKET, SO_RCVTIMEO, &t, sizeof t);
    const auto got = recv(handle, b.data(), b.size(), timeout_ms == 0 ? MSG_DONTWAIT : 0);
    b.resize(got > 0 ? static_cast<size_t>(got) : 0);
    return b;
  }
  std::vector<bytes> receiveAll() {
    std::vector<bytes> all;
    for (bytes b = receive(); !b.empty(); b = receive()) all.push_back(b);
    return all;
  }
  void start(uint8_t bits = 3) { send(word(bits)); }
  void stop() { send(word(0)); }
  // Two registers in one datagram; the sequence number counts by itself.
  void registers(const bytes& first, const bytes& second) {
    bytes d(1032);
    const uint8_t head[] = {0xEF, 0xFE, 1, 2, 0, 0, static_cast<uint8_t>(sequence >> 8), static_cast<uint8_t>(sequence)};
    std::memcpy(d.data(), head, sizeof head);
    for (size_t f = 0; f < 2; ++f) {
      std::memset(&d[8 + 512 * f], 0x7F, 3);
      std::memcpy(&d[11 + 512 * f], f == 0 ? first.data() : second.data(), 5);
    }
    ++sequence;
    send(d);
  }
  void configure(int rateCode, int receivers) {
    const bytes r{0, static_cast<uint8_t>(rateCode), 0, 0, static_cast<uint8_t>((receivers - 1) << 3 | 4)};
    registers(r, r);
  }
  void tune(int receiver, uint32_t word) {
    const int address = receiver < 7 ? receiver + 2 : receiver + 11;
    const bytes r{static_cast<uint8_t>(address * 2), static_cast<uint8_t>(word >> 24), static_cast<uint8_t>(word >> 16),
                  static_cast<uint8_t>(word >> 8), static_cast<uint8_t>(word)};
    registers(r, r);
  }
  uint32_t sequence = 0;

 private:
  static bytes word(uint8_t bits) {
    bytes d(64);
    d[0] = 0xEF, d[1] = 0xFE, d[2] = 4, d[3] = bits;
    return d;
  }
  int handle;
  sockaddr_in to{};
};

inline uint32_t sequenceOf(const bytes& d) {
  return static_cast<uint32_t>(d[4]) << 24 | static_cast<uint32_t>(d[5]) << 16 | static_cast<uint32_t>(d[6]) << 8 | d[7];
}

inline bool isIq(const bytes& d) { return d.size() == 1032 && d[3] == 6; }

// The samples of one receiver in a datagram of n receivers, 1.0 = 2^23 - 1.
inline void appendSamples(const bytes& d, int receivers, int receiver, samples& out) {
  const size_t slot = 6 * static_cast<size_t>(receivers) + 2;
  for (size_t f = 0; f < 2; ++f)
    for (size_t s = 0; s < 504 / slot; ++s) {
      const size_t at = 16 + 512 * f + slot * s + 6 * static_cast<size_t>(receiver);
      double part[2];
      for (size_t p = 0; p < 2; ++p) {
        int32_t v = d[at + 3 * p] * 65536 + d[at + 3 * p + 1] * 256 + d[at + 3 * p + 2];
        if (v >= 1 << 23) v -= 1 << 24;
        part[p] = v / 8388607.0;
      }
      out.emplace_back(part[0], part[1]);
    }
}

// Amplitude and phase at one frequency: (1/N) sum of z e^(-j 2 pi f n / rate), Hann-weighted against leakage.
inline std::complex<double> dftAt(const samples& z, double frequency_Hz, double rate_Hz, size_t skip = 0) {
  std::complex<double> sum = 0;
  double weight = 0;
  const size_t count = z.size() - skip;
  for (size_t n = 0; n < count; ++n) {
    const double w = 0.5 - 0.5 * std::cos(2 * M_PI * (static_cast<double>(n) + 0.5) / static_cast<double>(count));
    sum += w * z[n + skip] * std::polar(1.0, -2 * M_PI * std::fmod(frequency_Hz * static_cast<double>(n + skip) / rate_Hz, 1.0));
    weight += w;
  }
  return sum / weight;
}

inline double dB(std::complex<double> amplitude) { return 20 * std::log10(std::abs(amplitude) + 1e-30); }

} // namespace larch::simtest
