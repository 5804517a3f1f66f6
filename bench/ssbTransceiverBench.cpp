// A whole single-sideband transceiver without sockets and sound card, at each rate: one chunk an iteration, 10.67 ms of signal.
#include "modes/ssbModDemod.h"
#include "runtime/sothreadpool.h"
#include "transceiver/vtrx.h"
#include <benchmark/benchmark.h>
#include <random>

using namespace larch;

namespace {

constexpr double chunkTime_s = 512.0 / 48000;

cbuff noise(uint64_t count) {
  std::mt19937 random(1);
  std::normal_distribution<double> level(0, 1e-4);
  cbuff samples(count);
  for (uint64_t i = 0; i < count; i++) samples.data[i] = {level(random), level(random)};
  return samples;
}

void receive(benchmark::State& state, bool foreground) {
  const auto rate = static_cast<int32_t>(state.range(0));
  static auto* pool = new sothreadpool(0);
  const auto transceiver = keptByCore(std::make_shared<vtrx>(std::make_shared<syncTask>(pool)));
  transceiver->init();
  transceiver->audioOutput.set(-1);
  transceiver->setModulation(keptByCore(std::make_shared<ssbModDemod>(nullptr)));
  transceiver->setRxFilter(200, 2900);
  transceiver->foregroundDisplay.set(foreground);
  transceiver->vfo.set(14100000);
  transceiver->newSpectrum = [](buff<float>* frame, double, double, int32_t) { delete frame; };
  transceiver->start();
  const cbuff chunk = noise(static_cast<uint64_t>(rate / 48000) * 512);
  for (auto _ : state) {
    transceiver->processRxChunk(chunk, 14090000, rate, {}, 0, 0);
    pool->getRenderUpdates();
  }
  pool->getUpdates();
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(chunk.count));
  state.counters["times_real_time"] = benchmark::Counter(chunkTime_s * static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
  state.counters["percent_of_core"] =
      benchmark::Counter(chunkTime_s * static_cast<double>(state.iterations()) / 100, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void ssbReceive(benchmark::State& state) { receive(state, false); }
void ssbReceiveForegroundSpectrum(benchmark::State& state) { receive(state, true); }

} // namespace

BENCHMARK(ssbReceive)->Arg(48000)->Arg(96000)->Arg(192000)->Arg(384000)->Arg(768000)->Arg(1536000);
BENCHMARK(ssbReceiveForegroundSpectrum)->Arg(48000)->Arg(192000)->Arg(384000)->Arg(1536000);
