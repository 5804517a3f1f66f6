#include "sim/protocol2Codec.h"
#include "sim/wireWords.h"

namespace larch::sim {

namespace {
constexpr size_t linesAt = 4, overloadAt = 5, bitsAt = 12, countAt = 14;
constexpr uint16_t bitsPerSample = 24;
} // namespace

const char* p2PacketName(p2Packet kind) {
  switch (kind) {
  case p2Packet::general: return "general";
  case p2Packet::downConverter: return "down-converter";
  case p2Packet::upConverter: return "up-converter";
  case p2Packet::highPriority: return "high-priority";
  }
  return "?";
}

std::array<uint8_t, p2StatusBytes> p2WriteStatus(uint32_t sequence, const p2Status& status) {
  constexpr size_t ainAt[] = {6, 14, 22, 49}; // exciter, forward, reverse, supply
  std::array<uint8_t, p2StatusBytes> d{};
  put32(d.data(), sequence);
  d[linesAt] = status.lines;
  d[overloadAt] = status.overload;
  for (size_t i = 0; i < status.ain.size(); ++i) put16(&d[ainAt[i]], status.ain[i]);
  return d;
}

std::array<uint8_t, p2IqHeaderBytes> p2IqHeader(uint32_t sequence) {
  std::array<uint8_t, p2IqHeaderBytes> d{};
  put32(d.data(), sequence);
  put16(&d[bitsAt], bitsPerSample);
  put16(&d[countAt], static_cast<uint16_t>(p2IqSamples));
  return d;
}

size_t p2PackSamples(uint8_t* payload, const std::complex<double>* samples, size_t count) {
  size_t clipped = 0;
  for (size_t n = 0; n < count; ++n, payload += p2BytesPerSample)
    clipped += put24(payload, samples[n].real()) + put24(payload + 3, samples[n].imag());
  return clipped;
}

void p2PackWords(uint8_t* payload, std::span<const int16_t> samples) {
  for (size_t n = 0; n < samples.size(); ++n) put16(payload + 2 * n, static_cast<uint16_t>(samples[n]));
}

} // namespace larch::sim
