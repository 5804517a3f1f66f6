// What a simulated radio puts on the air for the frames of its host.
#pragma once
#include <array>
#include <complex>
#include <cstddef>
#include "sim/protocol1Codec.h"

namespace larch::sim {

constexpr double transmitRate_Hz = 48000; // of the samples in the frames, by the radio's clock
constexpr double transmitFullScale = 32767;

// The samples of one frame as an envelope around the carrier, 1.0 full scale; positive frequencies lie above the carrier.
struct transmitFrame {
  bool on = false; // the transmitter is keyed
  std::array<std::complex<float>, p1TxSamplesPerFrame> samples{};
};

// The wire has one sign both ways: as the samples from the radio are the mirror of the band, those to the radio are the
// mirror of what is to be sent. With the internal keyer on, bit 0 of I is a key line that works with or without MOX; the
// carrier it keys has raised-cosine edges and keeps the transmitter on until it has faded. Not thread-safe.
class transmitSignal {
 public:
  static constexpr double keyRamp_s = 0.005;
  const transmitFrame& make(const commandFrame& frame, bool cwInternal);

 private:
  double keyed(bool down);
  double ramp = 0; // 0 key up, 1 down
  transmitFrame made;
};

} // namespace larch::sim
