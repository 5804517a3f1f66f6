// From a received Protocol 1 datagram to the chunks: status, pacing and unpacking, by the number of receivers.
#include "radio/HpsdrRadio.h"
#include "runtime/sothreadpool.h"
#include <benchmark/benchmark.h>
#include <random>

using namespace larch;

namespace {

class openRadio : public HpsdrRadio {
 public:
  using HpsdrRadio::handleDatagram;
  using HpsdrRadio::HpsdrRadio;
  using HpsdrRadio::sendRing;
  using HpsdrRadio::transport;
};

std::vector<uint8_t> datagram(int endpoint) {
  std::mt19937 random(1);
  std::vector<uint8_t> d(protocol1::datagramBytes + 32);
  for (auto& byte : d) byte = static_cast<uint8_t>(random());
  d[2] = 1;
  d[3] = static_cast<uint8_t>(endpoint);
  for (std::size_t f : {8, 520}) {
    d[f] = d[f + 1] = d[f + 2] = 0x7f;
    d[f + 3] = 0;
  }
  return d;
}

std::shared_ptr<openRadio> makeRadio(int receivers, int32_t rate) {
  static auto* pool = new sothreadpool(0);
  auto radio = keptByCore(std::make_shared<openRadio>(std::make_shared<syncTask>(pool)));
  radio->transport.create(parseIpv4("127.0.0.1"), 128);
  radio->SampleRate.set(rate);
  for (int i = 1; i < receivers; i++) radio->addHwReceiver(7000000);
  return radio;
}

// No transceiver listens: what the chunks cost behind the radio isn't in here.
void run(benchmark::State& state, const std::vector<uint8_t>& bytes, int receivers, int32_t rate) {
  const auto radio = makeRadio(receivers, rate);
  auto d = bytes;
  uint32_t sequence = 0;
  for (auto _ : state) {
    for (std::size_t i = 0; i < 4; i++) d[4 + i] = static_cast<uint8_t>(sequence >> (24 - 8 * i));
    radio->handleDatagram(d.data(), sequence++);
    if (radio->sendRing.front()) radio->sendRing.pop();
  }
  state.SetItemsProcessed(state.iterations());
}

void iqDatagram(benchmark::State& state) {
  const int receivers = static_cast<int>(state.range(0));
  const auto rate = static_cast<int32_t>(state.range(1));
  run(state, datagram(protocol1::iqEndpoint), receivers, rate);
  const double perDatagram = 2.0 * protocol1::samplesPerFrame(receivers);
  state.counters["xRealTime"] =
      benchmark::Counter(static_cast<double>(state.iterations()) * perDatagram / rate, benchmark::Counter::kIsRate);
}
BENCHMARK(iqDatagram)->ArgsProduct({{1, 2, 4, 8}, {48000, 384000}});

void widebandDatagram(benchmark::State& state) { run(state, datagram(protocol1::widebandEndpoint), 1, 48000); }
BENCHMARK(widebandDatagram);

} // namespace
