// What a station of the timed-slot modes sends in a slot, as a complex recording around its middle.
#pragma once
#include <complex>
#include <cstdint>
#include <span>
#include <string>
#include <vector>
#include "sim/wavFile.h"

namespace larch::sim {

// A positive frequency lies above the middle.
struct slotAudio {
  double rate_Hz = 0;
  double middle_Hz = 0; // above the dial frequency
  std::vector<std::complex<float>> samples;
};

// The first channel of real audio, made one-sided: flat from slotEdge_Hz to as much below half of its rate, nothing beyond both.
// A sine at full scale gets the magnitude 1. Takes about 0.1 s for 15 s at 12 kHz. seconds: what is longer is cut.
constexpr double slotEdge_Hz = 100;
slotAudio slotFromWav(const wavData& audio, double seconds);

// A .c2 file of WSPR: a header of 26 bytes, then pairs of floats at 375 Hz around 1500 Hz, the second of each with its sign
// changed. The largest magnitude becomes 1. Throws std::runtime_error on anything else.
slotAudio slotFromC2(std::span<const uint8_t> file);

// By the name's ending. Throws std::runtime_error with the file's name.
slotAudio readSlotFile(const std::string& path, double seconds);

} // namespace larch::sim
