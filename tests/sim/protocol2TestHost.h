// A bare host of Protocol 2 for the tests of the simulated radio: its own socket, its own writing and reading of the bytes.
#pragma once
#include <arpa/inet.h>
#include <cmath>
#include <map>
#include <string>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>
#include <vector>
#include <gtest/gtest.h>
#include "tests/sim/simHost.h"

namespace larch::simtest {

struct arrival {
  uint16_t port = 0; // of the radio; 0: nothing came
  bytes data;
};

inline void write(bytes& d, size_t at, size_t count, uint64_t value) {
  for (size_t i = 0; i < count; ++i) d[at + i] = static_cast<uint8_t>(value >> 8 * (count - 1 - i));
}

inline uint32_t read32(const bytes& d, size_t at = 0) {
  return static_cast<uint32_t>(d[at]) << 24 | static_cast<uint32_t>(d[at + 1]) << 16 | static_cast<uint32_t>(d[at + 2]) << 8 |
         d[at + 3];
}

class protocol2TestHost {
 public:
  explicit protocol2TestHost(std::string radio) : address(std::move(radio)), handle(socket(AF_INET, SOCK_DGRAM, 0)) {
    const int room = 8 << 20;
    setsockopt(handle, SOL_SOCKET, SO_RCVBUF, &room, sizeof room);
  }
  ~protocol2TestHost() { close(handle); }
  protocol2TestHost(const protocol2TestHost&) = delete;
  protocol2TestHost& operator=(const protocol2TestHost&) = delete;

  void send(const bytes& d, uint16_t port) {
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(port);
    inet_pton(AF_INET, address.c_str(), &to.sin_addr);
    const auto sent = sendto(handle, d.data(), d.size(), 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
    ASSERT_EQ(sent, static_cast<ssize_t>(d.size()));
  }
  arrival receive(int timeout_ms = 0) {
    arrival a;
    a.data.resize(4096);
    const timeval t{timeout_ms / 1000, timeout_ms % 1000 * 1000};
    setsockopt(handle, SOL_SOCKET, SO_RCVTIMEO, &t, sizeof t);
    sockaddr_in from{};
    socklen_t length = sizeof from;
    const auto got = recvfrom(handle, a.data.data(), a.data.size(), timeout_ms == 0 ? MSG_DONTWAIT : 0,
                              reinterpret_cast<sockaddr*>(&from), &length);
    a.data.resize(got > 0 ? static_cast<size_t>(got) : 0);
    if (got >= 0) a.port = ntohs(from.sin_port);
    return a;
  }
  // What waits, by the radio's port.
  std::map<uint16_t, std::vector<bytes>> receiveAll() {
    std::map<uint16_t, std::vector<bytes>> all;
    for (arrival a = receive(); a.port != 0; a = receive()) all[a.port].push_back(a.data);
    return all;
  }

  // ---- the four packets
  bytes general() const {
    bytes d(60);
    const std::pair<size_t, uint16_t> ports[] = {{5, 1025},  {7, 1026},  {9, 1027},  {11, 1025}, {13, 1028},
                                                 {15, 1029}, {17, 1035}, {19, 1026}, {21, 1027}};
    for (const auto& [at, port] : ports) write(d, at, 2, port);
    d[23] = wideband ? 1 : 0;
    write(d, 24, 2, 512);
    d[26] = 16, d[27] = 20, d[28] = 32, d[37] = 8, d[58] = 1, d[59] = 3;
    return d;
  }
  struct rx {
    int kHz = 48;
    double frequency_Hz = 0;
    int adc = 0;
    bool on = true;
  };
  bytes downConverter() const {
    bytes d(1444);
    d[4] = 2;
    for (size_t i = 0; i < receivers.size(); ++i) {
      if (receivers[i].on) d[7 + i / 8] |= static_cast<uint8_t>(1u << i % 8);
      d[17 + 6 * i] = static_cast<uint8_t>(receivers[i].adc);
      write(d, 18 + 6 * i, 2, static_cast<uint64_t>(receivers[i].kHz));
      d[22 + 6 * i] = 24;
    }
    return d;
  }
  bytes highPriority(bool run) const {
    bytes d(1444);
    d[4] = run ? 1 : 0;
    for (size_t i = 0; i < receivers.size(); ++i)
      write(d, 9 + 4 * i, 4, static_cast<uint32_t>(std::llround(receivers[i].frequency_Hz / clock_Hz * 0x1p32)));
    write(d, 1432, 4, 0x21001000);
    d[1443] = static_cast<uint8_t>(attenuation_dB);
    return d;
  }
  void start() {
    send(general(), 1024);
    send(downConverter(), 1025);
    send(highPriority(true), 1027);
  }
  void stop() { send(highPriority(false), 1027); }

  std::vector<rx> receivers{{}};
  double clock_Hz = 122880000;
  int attenuation_dB = 0;
  bool wideband = false;

 private:
  std::string address;
  int handle;
};

// Appends the samples of a down-converter packet, 1.0 = 2^23 - 1.
inline void appendIq(const bytes& d, samples& out) {
  ASSERT_EQ(d.size(), 1444u);
  for (size_t at = 16; at < d.size(); at += 6) {
    double part[2];
    for (size_t p = 0; p < 2; ++p) {
      int32_t v = d[at + 3 * p] * 65536 + d[at + 3 * p + 1] * 256 + d[at + 3 * p + 2];
      if (v >= 1 << 23) v -= 1 << 24;
      part[p] = v / 8388607.0;
    }
    out.emplace_back(part[0], part[1]);
  }
}

inline samples iqOf(const std::vector<bytes>& packets) {
  samples z;
  for (const bytes& d : packets) appendIq(d, z);
  return z;
}

} // namespace larch::simtest
