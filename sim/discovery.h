// The boards of the family as a simulated radio shows them, and the discovery answers of both protocols.
#pragma once
#include <array>
#include <cstdint>
#include <span>
#include <string_view>
#include "sim/boardDevices.h"

namespace larch::sim {

constexpr size_t discoveryRequestBytes = 63;
constexpr size_t discoveryAnswerBytes = 60;
constexpr size_t otherDiscoveryBytes = 60; // the request of Protocol 2

// How the gain of the receiver path is coded in the command registers.
enum class gainForm {
  attenuator, // register 10 C4 bits 0-4: 0 to 31 dB attenuation
  liteFirst,  // register 10 C4 bits 0-4 and register 0 C3 bit 3: 63 steps, the code falls as the gain rises
  liteSecond  // register 10 C4 bit 6 set: bits 0-5 are the gain above the lowest
};

struct boardProfile {
  const char* name;      // as on the command line
  uint8_t id;            // byte 10 of the discovery answer
  uint8_t firmware;      // byte 9
  uint8_t minorFirmware; // byte 21, Hermes-Lite 2 only
  bool tellsReceivers;   // byte 19 is filled
  bool hasDevices;       // bias potentiometers and stored settings behind queued commands
  double clock_Hz;       // of the ADC
  int receivers;         // hardware receivers
  gainForm gain;         //
  int widebandFullScale; // wideband sample value of a full-scale ADC reading
  double iqFullScale; // share of the 24 bits of an IQ word that it fills: a 12-bit converter in a 16-bit chain fills a sixteenth
};

std::span<const boardProfile> boardProfiles();
const boardProfile* findBoard(std::string_view name); // nullptr: no such board
const boardProfile& defaultBoard();                   // Hermes-Lite 2

// A board with Protocol 2.
struct otherBoardProfile {
  const char* name;
  uint8_t id;       // byte 11 of the discovery answer
  uint8_t firmware; // byte 13
  uint8_t version;  // byte 12: of the protocol, times ten
  double clock_Hz;
  int receivers; // byte 20
};

std::span<const otherBoardProfile> otherBoardProfiles();
const otherBoardProfile* findOtherBoard(std::string_view name); // nullptr: no such board
const otherBoardProfile& defaultOtherBoard();                   // Saturn

using macAddress = std::array<uint8_t, 6>;

// True for the 63 bytes EF FE 02 0 ... 0.
bool isDiscoveryRequest(std::span<const uint8_t> datagram);

// True for the request of Protocol 2: 60 bytes 0 0 0 0 02 0 ... 0. Hosts that look for both protocols send it to the same port.
bool isOtherDiscoveryRequest(std::span<const uint8_t> datagram);

// The answer: 60 bytes, status 02 idle or 03 in use, MAC at 3, firmware at 9, board at 10. Hermes-Lite 2 adds its receivers at
// 19, minor firmware at 21, and of what is stored in it the status word at 11, the address at 13, the MAC's tail at 17.
std::array<uint8_t, discoveryAnswerBytes> discoveryAnswer(const boardProfile& board, const macAddress& mac, int receivers,
                                                          bool inUse, const deviceState& stored = {});

// The answer of Protocol 2: 60 bytes, status at 4, MAC at 5, board at 11, protocol version at 12, firmware at 13, receivers
// at 20.
std::array<uint8_t, otherDiscoveryBytes> otherDiscoveryAnswer(const otherBoardProfile& board, const macAddress& mac,
                                                              int receivers, bool inUse);

} // namespace larch::sim
