// A Protocol 1 radio without a receive thread: its tasks run on the test's own thread, its datagrams are read from the slots.
#pragma once
#include "radio/HpsdrRadio.h"
#include "runtime/sothreadpool.h"
#include "tests/radio/plainPeer.h"
#include "transceiver/vtrx.h"
#include <deque>
#include <map>

namespace larch::test {

// One pool for the process, as the library has it; its tasks run where a test says so.
inline sothreadpool* handPool() {
  static auto* pool = new sothreadpool(0);
  return pool;
}
// Runs all tasks that wait, for the groups and for the host, on this thread.
inline void runAll() {
  while (handPool()->turn()) {
  }
  handPool()->getUpdates();
}

class openRadio : public HpsdrRadio {
 public:
  using HpsdrRadio::adcPeakMeter;
  using HpsdrRadio::adcPeakRaw;
  using HpsdrRadio::ain;
  using HpsdrRadio::arrival;
  using HpsdrRadio::clock;
  using HpsdrRadio::commandQueue;
  using HpsdrRadio::dequeueLimit;
  using HpsdrRadio::filterOutputs;
  using HpsdrRadio::gainCode;
  using HpsdrRadio::handleDatagram;
  using HpsdrRadio::handleRxPacketRIO;
  using HpsdrRadio::HpsdrRadio;
  using HpsdrRadio::initialise;
  using HpsdrRadio::lnaOn;
  using HpsdrRadio::pttTail;
  using HpsdrRadio::registerIndex;
  using HpsdrRadio::releaseRing;
  using HpsdrRadio::releaseSlots;
  using HpsdrRadio::running;
  using HpsdrRadio::rxSequence;
  using HpsdrRadio::rxTurn;
  using HpsdrRadio::scale;
  using HpsdrRadio::sendcommandcontrol;
  using HpsdrRadio::sendRing;
  using HpsdrRadio::sendRingSlots;
  using HpsdrRadio::silence;
  using HpsdrRadio::threadStarted;
  using HpsdrRadio::transport;
  using HpsdrRadio::txFrequency;
  using HpsdrRadio::txSequence;
  using HpsdrRadio::wallClock;
};

// A 512-byte frame of a datagram to the radio.
struct sentFrame {
  int c0 = 0;
  std::array<int, 4> c{};
  std::array<std::array<int, 4>, 63> samples{}; // L, R, I, Q
  int index() const { return c0 / 2; }
  bool mox() const { return c0 & 1; }
  uint32_t word() const {
    return static_cast<uint32_t>(c[0]) << 24 | static_cast<uint32_t>(c[1]) << 16 | static_cast<uint32_t>(c[2]) << 8 |
           static_cast<uint32_t>(c[3]);
  }
};
struct sentDatagram {
  uint32_t sequence = 0;
  sentFrame frame[2];
};

inline sentDatagram readSent(const uint8_t* d) {
  EXPECT_TRUE(d[0] == 0xef && d[1] == 0xfe && d[2] == 1 && d[3] == 2);
  sentDatagram r;
  for (int i = 4; i < 8; i++) r.sequence = r.sequence << 8 | d[i];
  for (int f = 0; f < 2; f++) {
    const uint8_t* at = d + 8 + 512 * f;
    EXPECT_TRUE(at[0] == 0x7f && at[1] == 0x7f && at[2] == 0x7f);
    r.frame[f].c0 = at[3];
    for (std::size_t i = 0; i < 4; i++) r.frame[f].c[i] = at[4 + i];
    for (std::size_t n = 0; n < 63; n++)
      for (std::size_t w = 0; w < 4; w++) {
        const uint8_t* two = at + 8 + 8 * n + 2 * w;
        r.frame[f].samples[n][w] = static_cast<int16_t>(two[0] << 8 | two[1]);
      }
  }
  return r;
}

struct hpsdrBench {
  hpsdrBench() : group(std::make_shared<syncTask>(handPool())) {
    radio = keptByCore(std::make_shared<openRadio>(group));
    EXPECT_EQ(radio->transport.create(peer.address(), 128), 0);
    radio->arrival.assign(128, 0);
  }
  ~hpsdrBench() { runAll(); }
  // What went into the send ring since the last call.
  std::vector<sentDatagram> sent() {
    std::vector<sentDatagram> all;
    for (; const int32_t* slot = radio->sendRing.front(); radio->sendRing.pop())
      all.push_back(readSent(radio->transport.sendDataArea(*slot)));
    return all;
  }
  sentDatagram sendOne(const cbuff& block) {
    radio->sendcommandcontrol(block);
    const auto all = sent();
    EXPECT_EQ(all.size(), 1u);
    return all.empty() ? sentDatagram{} : all.back();
  }
  sentDatagram sendOne() { return sendOne(radio->silence); }
  // The contents of all registers, from a whole round of the rotation.
  std::map<int, sentFrame> round() {
    radio->registerIndex = 0;
    std::map<int, sentFrame> registers;
    for (int i = 0; i < 23; i++)
      for (const auto& frame : sendOne().frame) registers[frame.index()] = frame;
    return registers;
  }
  void addReceiver(int32_t frequency, int32_t adc = 0) {
    radio->addHwReceiver(frequency);
    radio->hwReceivers.back().adc = adc;
  }
  // A transceiver that keys the radio.
  std::shared_ptr<vtrx> transmitter(int32_t vfo = 7100000) {
    auto v = keptByCore(std::make_shared<vtrx>(std::make_shared<syncTask>(handPool())));
    v->vfo.set(vfo);
    radio->transmitter = v;
    keyed = v;
    return v;
  }

  std::shared_ptr<syncTask> group;
  plainPeer peer;
  std::shared_ptr<openRadio> radio;
  std::shared_ptr<vtrx> keyed; // the radio holds it weakly
};

// A datagram from the radio.
inline bytes received(int endpoint, uint32_t sequence) {
  bytes d(1032 + 32, 0); // as much slack as a slot has at least
  d[0] = 0xef;
  d[1] = 0xfe;
  d[2] = 1;
  d[3] = static_cast<uint8_t>(endpoint);
  for (std::size_t i = 0; i < 4; i++) d[4 + i] = static_cast<uint8_t>(sequence >> (24 - 8 * i));
  for (std::size_t f = 0; f < 2; f++) d[8 + 512 * f] = d[9 + 512 * f] = d[10 + 512 * f] = 0x7f;
  return d;
}
inline void setStatus(bytes& d, int frame, std::array<int, 5> c0to4) {
  for (std::size_t i = 0; i < 5; i++) d[8 + 512 * static_cast<std::size_t>(frame) + 3 + i] = static_cast<uint8_t>(c0to4[i]);
}
inline void put24(bytes& d, std::size_t at, int32_t value) {
  d[at] = static_cast<uint8_t>(value >> 16);
  d[at + 1] = static_cast<uint8_t>(value >> 8);
  d[at + 2] = static_cast<uint8_t>(value);
}

} // namespace larch::test
