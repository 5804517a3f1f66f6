// How a simulated Protocol 1 radio is built and what may be told to it while it runs.
#pragma once
#include <array>
#include <cstdint>
#include <string>
#include "sim/discovery.h"

namespace larch::sim {

struct radioOptions {
  const boardProfile* board = &defaultBoard();
  std::string bindAddress = "127.0.0.1";
  uint16_t port = 1024; // 0: any free one
  int receivers = 0;    // hardware receivers, 1 to 8; 0: the board's
  double clock_Hz = 0;  // nominal; 0: the board's
  macAddress mac{0x02, 0x1A, 0x7C, 0x00, 0x00, 0x01};
  double clockError_ppm = 0; // the real clock against the nominal one: rates, tuning and folding all follow it
  bool inUse = false;        // answers discovery as if another program had the radio; start words are obeyed all the same

  bool gainMatters = true;    // false: levels on the wire are those of 0 dB gain, whatever the host sets
  double lowestGain_dB = -12; // of gain code 0 on the Hermes-Lite boards
  double powerOnGain_dB = 0;  // until the host has written the gain register

  double widebandBlocks_perSecond = 20; // of 4 datagrams, in radio time; 0: none
  int widebandFullScale = 0;            // 0: the board's
  double iqFullScale = 1;               // share of the 24 bits that a full converter reading fills; larch-sim takes the board's

  int transmitZone = 0; // Nyquist zone that the filters behind the transmitter let through; the register names its alias

  bool sayReceiverCount = false; // the third sync byte of each frame is the receiver count less one, not 7F
  size_t receiverCountLag = 0;   // datagrams that still go out with the old count after the host changed it
  double watchdog_s = 0;         // the stream stops when the host sent nothing for so long; 0: never
  uint64_t seed = 1;             // of the noise
};

// The antenna side of one converter: what it gets of the scene.
struct adcInput {
  double level_dB = 0;
  double phase_deg = 0;
};

} // namespace larch::sim
