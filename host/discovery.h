// Finding radios: the discovery of both protocols. The core has none, hosts do it.
#pragma once
#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace larchhost {

constexpr uint16_t discoveryPort = 1024;

struct foundRadio {
  std::string address; // dotted IPv4
  int protocol = 1;
  bool inUse = false;
  std::array<uint8_t, 6> mac{};
  int board = 0;     // code by the protocol's own numbers
  int firmware = 0;  // as sent
  int receivers = 0; // 0: the answer doesn't tell
};

std::array<uint8_t, 63> protocol1Question();
std::array<uint8_t, 60> protocol2Question();
// An answer of either protocol; nothing for any other datagram. The sender's address is the caller's to fill in.
std::optional<foundRadio> parseAnswer(std::span<const uint8_t> datagram);
std::string macText(const std::array<uint8_t, 6>& mac);

// Asks one address, or with an empty one every IPv4 network of this machine and loopback, in one protocol or (0) both, and
// collects the answers of `wait_ms` milliseconds; asked about one address it returns at its first answer. Duplicates are dropped.
// Throws std::runtime_error for an address that doesn't parse or when no socket can be had.
std::vector<foundRadio> discover(const std::string& address, int wait_ms, int protocol = 0);

// The dotted address in its four bytes; nothing for other text.
std::optional<uint32_t> parseAddress(const std::string& text);

} // namespace larchhost
