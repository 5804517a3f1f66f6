#include "sim/protocol1Codec.h"
#include <cstring>
#include "sim/discovery.h"
#include "sim/problemLog.h"
#include "sim/wireWords.h"

namespace larch::sim {

namespace {
constexpr uint8_t syncByte = 0x7F;
constexpr size_t sequenceAt = 4, sampleAreaAt = 8;
constexpr uint8_t commandData = 1, commandDiscovery = 2, commandStart = 4;

int16_t sample(const uint8_t* p) { return static_cast<int16_t>(get16(p)); }

void readFrame(const uint8_t* p, commandFrame& out) {
  out.syncOk = p[0] == syncByte && p[1] == syncByte && p[2] == syncByte;
  std::memcpy(out.c.data(), p + 3, out.c.size());
  p += sampleAreaAt;
  for (txSample& s : out.samples) {
    s = {sample(p), sample(p + 2), sample(p + 4), sample(p + 6)};
    p += 8;
  }
}

void setBad(hostDatagram& out, problem why) {
  out.kind = hostDatagramKind::bad;
  out.problem = static_cast<int>(why);
}
} // namespace

size_t p1SamplesPerFrame(int receivers) { return p1SampleAreaBytes / (6 * static_cast<size_t>(receivers) + 2); }

void p1WriteHeader(uint8_t* d, uint8_t endpoint, uint32_t sequence) {
  d[0] = 0xEF;
  d[1] = 0xFE;
  d[2] = commandData;
  d[3] = endpoint;
  put32(d + sequenceAt, sequence);
}

std::array<uint8_t, 5> p1Status(const boardStatus& s, int group) {
  // which analogue inputs go into C1C2 and C3C4 of groups 1 to 3
  static constexpr int inputs[p1StatusGroups][2] = {{0, 0}, {4, 0}, {1, 2}, {3, 5}};
  std::array<uint8_t, 5> c{};
  c[0] = static_cast<uint8_t>((s.hidden ? 0x80 : 0) | (group << 3) | (s.key ? 4 : 0) | (s.ptt ? 1 : 0));
  if (group == 0) {
    c[1] = s.adcOverload ? 1 : 0;
    c[4] = s.firmware;
  } else if (group < p1StatusGroups) {
    put16(&c[1], s.ain[static_cast<size_t>(inputs[group][0])]);
    put16(&c[3], s.ain[static_cast<size_t>(inputs[group][1])]);
  }
  return c;
}

size_t p1PackFrame(uint8_t* frame, uint8_t countByte, const std::array<uint8_t, 5>& status,
                   const std::complex<double>* const* receiver, int receivers) {
  std::memset(frame, 0, p1FrameBytes);
  frame[0] = frame[1] = syncByte;
  frame[2] = countByte;
  std::memcpy(frame + 3, status.data(), status.size());
  const size_t samples = p1SamplesPerFrame(receivers);
  const size_t slot = 6 * static_cast<size_t>(receivers) + 2;
  size_t clipped = 0;
  for (int r = 0; r < receivers; ++r) {
    uint8_t* p = frame + sampleAreaAt + 6 * static_cast<size_t>(r);
    const std::complex<double>* in = receiver[r];
    for (size_t n = 0; n < samples; ++n, p += slot) clipped += put24(p, in[n].real()) + put24(p + 3, in[n].imag());
  }
  return clipped;
}

void p1PackWideband(uint8_t* d, uint32_t sequence, const int16_t* samples) {
  p1WriteHeader(d, p1EndpointWideband, sequence);
  uint8_t* p = d + p1HeaderBytes;
  for (size_t n = 0; n < p1WidebandSamples; ++n, p += 2) {
    const auto v = static_cast<uint16_t>(samples[n]);
    p[0] = static_cast<uint8_t>(v);
    p[1] = static_cast<uint8_t>(v >> 8);
  }
}

void p1ReadHostDatagram(std::span<const uint8_t> d, hostDatagram& out) {
  out.problem = -1;
  if (d.size() < 4) return setBad(out, problem::wrongLength);
  if (isOtherDiscoveryRequest(d)) {
    out.kind = hostDatagramKind::otherDiscovery;
    return;
  }
  if (d[0] != 0xEF || d[1] != 0xFE) return setBad(out, problem::wrongMagic);
  switch (d[2]) {
  case commandDiscovery:
    if (!isDiscoveryRequest(d)) return setBad(out, problem::wrongLength);
    out.kind = hostDatagramKind::discovery;
    return;
  case commandStart:
    // boards look at the word alone; another length is noted and the word obeyed
    if (d.size() != p1StartBytes) out.problem = static_cast<int>(problem::wrongLength);
    out.kind = hostDatagramKind::startStop;
    out.startBits = d[3];
    return;
  case commandData: break;
  default: return setBad(out, problem::unknownCommand);
  }
  if (d.size() != p1DatagramBytes) return setBad(out, problem::wrongLength);
  if (d[3] != p1EndpointHost) return setBad(out, problem::wrongEndpoint);
  out.kind = hostDatagramKind::data;
  out.sequence = get32(d.data() + sequenceAt);
  readFrame(d.data() + p1HeaderBytes, out.frame[0]);
  readFrame(d.data() + p1HeaderBytes + p1FrameBytes, out.frame[1]);
}

} // namespace larch::sim
