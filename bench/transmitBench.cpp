// The transmit path of a transceiver without sockets: groups of 126 samples, 2.625 ms each.
#include "audio/Wireless.h"
#include "modes/sigGenModDemod.h"
#include "modes/ssbModDemod.h"
#include "radio/protocol1Frames.h"
#include "runtime/sothreadpool.h"
#include "transceiver/transmitChain.h"
#include "transceiver/vtrx.h"
#include <array>
#include <benchmark/benchmark.h>
#include <random>

using namespace larch;

namespace {

constexpr double groupTime_s = 126 / 48000.0;

void reportGroups(benchmark::State& state, double groups) {
  const double time_s = groups * groupTime_s * static_cast<double>(state.iterations());
  state.counters["samples/s"] = benchmark::Counter(time_s * 48000, benchmark::Counter::kIsRate);
  state.counters["x real time"] = benchmark::Counter(time_s, benchmark::Counter::kIsRate);
  state.counters["percent of core"] = benchmark::Counter(time_s / 100, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

std::vector<float> noise() {
  std::mt19937 random(1);
  std::normal_distribution<float> level(0, 0.1f);
  std::vector<float> samples(65536);
  for (float& each : samples) each = level(random);
  return samples;
}

// Groups are taken 256 at a time: a whole number of blocks of 512.
template <class Mode> void chain(benchmark::State& state, const std::shared_ptr<Mode>& mode) {
  constexpr int groups = 256;
  const auto voice = noise();
  std::size_t at = 0;
  const auto read = [&](const buff<float>& mic) {
    std::copy_n(voice.begin() + static_cast<std::ptrdiff_t>(at), mic.count, mic.data);
    at = (at + mic.count) % (voice.size() - 512);
  };
  mode->setTxFilter(200, 2900);
  transmitChain transmit;
  transmit.keyDown(mode.get());
  for (auto _ : state)
    for (int i = 0; i < groups; i++) benchmark::DoNotOptimize(transmit.produce(mode.get(), false, read).data[0]);
  reportGroups(state, groups);
}

void ssbChain(benchmark::State& state, bool equalised, double compression) {
  const auto mode = keptByCore(std::make_shared<ssbModDemod>(nullptr));
  mode->UseMicEQ.set(equalised);
  mode->compression.set(compression);
  chain(state, mode);
}
void ssbFlat(benchmark::State& state) { ssbChain(state, false, 1); }
void ssbEqualised(benchmark::State& state) { ssbChain(state, true, 1); }
void ssbInTheClipper(benchmark::State& state) { ssbChain(state, false, 20); }
void generator(benchmark::State& state) {
  const auto mode = keptByCore(std::make_shared<sigGenModDemod>(nullptr));
  mode->ampl2.set(0.5);
  chain(state, mode);
}

// What a change of the filter costs, which is when the equaliser is worked out.
void setFilter(benchmark::State& state, bool equalised) {
  static auto* pool = new sothreadpool(0);
  const auto wireless = Wireless::create(std::make_shared<syncTask>(pool));
  wireless->Init();
  const auto mode = keptByCore(std::make_shared<ssbModDemod>(nullptr));
  mode->UseMicEQ.set(equalised);
  for (auto _ : state) mode->setTxFilter(200, 2900);
  pool->getUpdates();
}
void setFilterFlat(benchmark::State& state) { setFilter(state, false); }
void setFilterEqualised(benchmark::State& state) { setFilter(state, true); }

// Samples to the words of one datagram.
void datagramWords(benchmark::State& state) {
  std::mt19937 random(1);
  std::uniform_real_distribution<double> level(-0.6, 0.6);
  std::array<std::complex<double>, 126> samples;
  for (auto& each : samples) each = {level(random), level(random)};
  std::array<uint8_t, 1032> datagram{};
  uint32_t ramp = 0;
  const protocol1::transmitForm form{false, 0.97, false, false};
  for (auto _ : state) {
    protocol1::writeTransmitSamples(datagram.data() + 16, samples.data(), 63, form, ramp);
    protocol1::writeTransmitSamples(datagram.data() + 528, samples.data() + 63, 63, form, ramp);
    benchmark::DoNotOptimize(datagram);
  }
  reportGroups(state, 1);
}

} // namespace

BENCHMARK(ssbFlat);
BENCHMARK(ssbEqualised);
BENCHMARK(ssbInTheClipper);
BENCHMARK(generator);
BENCHMARK(setFilterFlat);
BENCHMARK(setFilterEqualised);
BENCHMARK(datagramWords);
