// How a simulated Protocol 2 radio is built.
#pragma once
#include <cstdint>
#include <string>
#include "sim/discovery.h"

namespace larch::sim {

// The ports are the protocol's own: 1024 to 1027 and 1035 to 1050.
struct protocol2Options {
  const otherBoardProfile* board = &defaultOtherBoard();
  std::string bindAddress = "127.0.0.1";
  int receivers = 0;   // hardware receivers, 1 to 16; 0: the board's
  double clock_Hz = 0; // nominal; 0: the board's
  macAddress mac{0x02, 0x1A, 0x7C, 0x00, 0x00, 0x02};
  double clockError_ppm = 0; // as with Protocol 1
  bool inUse = false;
  bool gainMatters = true; // false: levels on the wire are those of 0 dB, whatever the host sets
  int widebandFullScale = 32768;
  double watchdog_s = 0; // the stream stops when the host sent nothing for so long, 0: never; the host's own is 1 s
  double loop_s = 0;     // 0: play the scene. Else each receiver repeats the first so many seconds of what it is tuned to
  uint64_t seed = 1;     // of the noise
};

} // namespace larch::sim
