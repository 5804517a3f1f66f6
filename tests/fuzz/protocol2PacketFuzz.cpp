// The readers of Protocol 2 over any bytes of any length and port, and its writers with any settings: nothing is read or written
// beyond the packet.
#include "dsp/sampleUnpack.h"
#include "radio/protocol2Packets.h"
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

using namespace larch::protocol2;

namespace {

// Takes values off the front of the input; zeros behind its end.
struct input {
  const uint8_t* data;
  std::size_t size;
  int32_t number() {
    int32_t value = 0;
    const std::size_t n = size < sizeof value ? size : sizeof value;
    if (n > 0) std::memcpy(&value, data, n);
    data += n;
    size -= n;
    return value;
  }
};

double readers(int port, const uint8_t* packet, std::size_t length) {
  if (length < bytesRead(port)) return 0;
  double sum = 0;
  if (port == statusPort) sum = overloadOf(packet);
  if (port == widebandPort)
    for (int i = 0; i < widebandSamples; i++) sum += widebandSample(packet, i);
  if (port == widebandPort || port >= firstSamplePort) sum += sequenceOf(packet);
  if (port >= firstSamplePort && port <= lastSamplePort) {
    std::vector<std::complex<double>> out(samples);
    larch::unpackIq(packet + sampleOffset, sampleBytes, 1.0, length & 1, out.data(), samples);
    for (const auto& s : out) sum += s.real() + s.imag();
  }
  return sum;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  if (size < 1) return 0;
  const int port = 1020 + data[0] % 40;
  const auto packet = std::make_unique<uint8_t[]>(size - 1); // of its own size, so that a byte beyond it shows
  std::memcpy(packet.get(), data + 1, size - 1);
  if (port < firstSamplePort || port <= lastSamplePort)
    if (port != microphonePort && readers(port, packet.get(), size - 1) == 0.5) return 1;

  input in{data, size};
  const auto written = std::make_unique<uint8_t[]>(longBytes);
  highPriority content;
  content.running = in.number() & 1;
  content.clockFrequency = in.number();
  content.maxReceivers = in.number();
  content.attenuation_dB = in.number();
  const int32_t rate = in.number(), most = in.number();
  std::vector<int32_t> frequencies;
  while (in.size > 0) frequencies.push_back(in.number());
  content.frequencies = frequencies;
  writeHighPriority(written.get(), content);
  if (written[4] > 1 || written[1432] != 0x21) std::abort();
  writeDownConverters(written.get(), frequencies.size(), most, rate);
  if (written[4] != 2) std::abort();
  return 0;
}
