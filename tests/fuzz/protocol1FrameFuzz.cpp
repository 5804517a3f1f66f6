// The readers of Protocol 1 over any bytes: nothing is read beyond the datagram and its slack, whatever it claims.
#include "dsp/sampleUnpack.h"
#include "radio/protocol1Frames.h"
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

using namespace larch::protocol1;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  if (size < 1) return 0;
  const int asked = data[0] % 100 + 1;
  // a slot as the transport has it: what a short datagram doesn't fill is there all the same
  const auto datagram = std::make_unique<uint8_t[]>(datagramBytes);
  std::memset(datagram.get(), 0, datagramBytes);
  std::memcpy(datagram.get(), data + 1, std::min<std::size_t>(size - 1, datagramBytes));
  const auto head = readHead(datagram.get());
  if (!head.data) return 0;
  double sum = 0;
  if (head.endpoint == widebandEndpoint)
    for (int i = 0; i < widebandPacket; i++) sum += widebandSample(datagram.get(), i);
  if (head.endpoint == iqEndpoint) {
    for (int f = 0; f < 2; f++) {
      const uint8_t* frame = frameOf(datagram.get(), f);
      const auto status = readStatus(frame);
      for (int i = 0; i < 2; i++)
        if (status.ainIndex[i] < -1 || status.ainIndex[i] > 5 || status.ainWord[i] < 0 || status.ainWord[i] > 65535) std::abort();
      const int receivers = receiversIn(frame, asked);
      if (receivers < 1 || receivers > asked) std::abort();
      const auto samples = static_cast<std::size_t>(samplesPerFrame(receivers));
      std::vector<std::complex<double>> out(samples);
      for (int r = 0; r < receivers; r++) {
        const uint8_t* from = frame + sampleAreaOffset + 6 * r;
        if (samples > 0) larch::unpackIq(from, static_cast<std::size_t>(slotBytes(receivers)), 1.0, r & 1, out.data(), samples);
        for (const auto& s : out) sum += s.real() + s.imag();
      }
    }
  }
  return sum == 0.5; // keeps the sum
}
