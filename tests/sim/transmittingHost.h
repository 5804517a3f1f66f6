// A simulated radio at 48 kHz with one receiver and a host that answers each of its datagrams with one of its own, by hand.
#pragma once
#include <algorithm>
#include <array>
#include <functional>
#include <memory>
#include "sim/protocol1Radio.h"
#include "tests/sim/simHost.h"

namespace larch::simtest {

using command = std::array<uint8_t, 5>;

inline command registerCommand(int address, uint32_t word) {
  return {static_cast<uint8_t>(address * 2), static_cast<uint8_t>(word >> 24), static_cast<uint8_t>(word >> 16),
          static_cast<uint8_t>(word >> 8), static_cast<uint8_t>(word)};
}

// The datagram of two commands with their MOX bit, and of 126 samples I + jQ of full scale 1.
inline bytes transmitDatagram(uint32_t sequence, command first, command second, bool mox, const std::complex<double>* z) {
  bytes d(1032);
  const uint8_t head[] = {0xEF,
                          0xFE,
                          1,
                          2,
                          static_cast<uint8_t>(sequence >> 24),
                          static_cast<uint8_t>(sequence >> 16),
                          static_cast<uint8_t>(sequence >> 8),
                          static_cast<uint8_t>(sequence)};
  std::copy(std::begin(head), std::end(head), d.begin());
  for (size_t n = 0; n < 126; ++n) {
    uint8_t* p = &d[16 + n / 63 * 512 + n % 63 * 8 + 4];
    for (const double part : {z[n].real(), z[n].imag()}) {
      const auto v = static_cast<uint16_t>(static_cast<int16_t>(std::lround(part * 32767)));
      *p++ = static_cast<uint8_t>(v >> 8);
      *p++ = static_cast<uint8_t>(v);
    }
  }
  for (size_t f = 0; f < 2; ++f) {
    std::fill_n(&d[8 + 512 * f], 3, 0x7F);
    command c = f == 0 ? first : second;
    c[0] = static_cast<uint8_t>(c[0] | (mox ? 1 : 0));
    std::copy(c.begin(), c.end(), &d[11 + 512 * f]);
  }
  return d;
}

class transmittingHost {
 public:
  static constexpr double rate_Hz = 48000, datagram_s = 126 / rate_Hz;

  explicit transmittingHost(sim::radioOptions options = {},
                            std::shared_ptr<sim::bandScene> air = std::make_shared<sim::bandScene>())
      : scene(std::move(air)), radio(sim::protocol1Radio::onFreeLoopback(quiet(options), scene)),
        host(radio->address(), radio->port()) {}
  void begin(uint32_t receiverWord, uint32_t transmitWord) {
    host.configure(0, 1);
    host.tune(0, receiverWord);
    host.registers(asBytes(registerCommand(1, transmitWord)), asBytes(registerCommand(1, transmitWord)));
    host.start(1);
    ASSERT_TRUE(radio->waitUntil([](const sim::radioReport& r) { return r.streaming; }));
    taken = radio->report().dataReceived;
  }
  // Frames go by: the radio's datagram comes, the host's goes. sample(n): I + jQ at the n-th sample since the beginning.
  void exchange(size_t datagrams, bool mox, const std::function<std::complex<double>(size_t)>& sample) {
    for (; datagrams > 0; --datagrams) {
      listen(1);
      std::array<std::complex<double>, 126> z;
      for (auto& v : z) v = sample(sent++);
      answer(mox, z.data());
    }
  }
  void listen(size_t datagrams) {
    ASSERT_EQ(radio->emit(datagrams), datagrams);
    for (const bytes& d : host.receiveAll()) appendSamples(d, 1, 0, heard);
  }
  // Loses the host's next datagrams on their way.
  void lose(size_t datagrams) {
    listen(datagrams);
    host.sequence += static_cast<uint32_t>(datagrams);
    sent += 126 * datagrams;
  }
  command next = registerCommand(4, 0); // rides in the next datagram's first frame

  std::shared_ptr<sim::bandScene> scene;
  std::unique_ptr<sim::protocol1Radio> radio;
  simHost host;
  samples heard; // all since the start
  size_t sent = 0;

 private:
  static sim::radioOptions quiet(sim::radioOptions options) {
    options.widebandBlocks_perSecond = 0;
    return options;
  }
  static bytes asBytes(const command& c) { return {c.begin(), c.end()}; }
  void answer(bool mox, const std::complex<double>* z) {
    host.send(transmitDatagram(host.sequence++, next, registerCommand(5, 0), mox, z));
    ++taken;
    ASSERT_TRUE(radio->waitUntil([this](const sim::radioReport& r) { return r.dataReceived == taken; }));
    next = registerCommand(4, 0);
  }
  uint64_t taken = 0;
};

} // namespace larch::simtest
