// The fields of the packets that a host sends to a Protocol 2 radio: place, name, and what may stand there.
#pragma once
#include <cstdint>
#include <span>
#include <string>
#include <vector>
#include "sim/protocol2Codec.h"

namespace larch::sim {

enum class p2Form { number, bits, phaseWord };

// Numbers are big-endian. Behind the sequence number every byte that no field names must be 0.
struct p2Field {
  size_t at, bytes;
  std::string name;
  uint32_t least, most; // number: both included. bits: `most` is the mask of those that this radio obeys
  p2Form form = p2Form::number;
  const char* unit = "";              // number
  std::vector<const char*> bits = {}; // names, from bit 0 on
  bool zeroToo = false;               // 0 stands for "not said"

  uint32_t value(std::span<const uint8_t> packet) const;
  bool allows(uint32_t value) const;
};

// In ascending order, without overlap.
const std::vector<p2Field>& p2FieldsOf(p2Packet kind);
std::string p2Describe(const p2Field& field, uint32_t value, double clock_Hz); // "receiver 3 rate: 192 kHz"
std::string p2Allowed(const p2Field& field);                                   // "16", "1 to 255 or 0", "bits 0x08"

// Frequency that a phase word stands for, 0 to the clock.
double p2Frequency_Hz(uint32_t phaseWord, double clock_Hz);

} // namespace larch::sim
