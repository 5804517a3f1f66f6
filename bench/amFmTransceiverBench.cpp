// Whole AM and FM transceivers without sockets and sound card: one chunk an iteration, 10.67 ms of signal, or one group to the
// radio, 2.625 ms. Single sideband for comparison.
#include "modes/amModDemod.h"
#include "modes/fmModDemod.h"
#include "modes/ssbModDemod.h"
#include "runtime/sothreadpool.h"
#include "transceiver/vtrx.h"
#include <benchmark/benchmark.h>
#include <random>

using namespace larch;

namespace {

constexpr double chunkTime_s = 512.0 / 48000, groupTime_s = 126.0 / 48000;
constexpr double narrow_Hz = 5000, wide_Hz = 75000;

cbuff noise(uint64_t count) {
  std::mt19937 random(1);
  std::normal_distribution<double> level(0, 1e-4);
  cbuff samples(count);
  for (uint64_t i = 0; i < count; i++) samples.data[i] = {level(random), level(random)};
  return samples;
}

std::shared_ptr<vtrx> transceiverFor(std::shared_ptr<modDemod> mode, int32_t filter) {
  static auto* pool = new sothreadpool(0);
  auto transceiver = keptByCore(std::make_shared<vtrx>(std::make_shared<syncTask>(pool)));
  transceiver->init();
  transceiver->audioOutput.set(-1);
  transceiver->setModulation(keptByCore(std::move(mode)));
  transceiver->setRxFilter(-filter, filter);
  transceiver->setTxFilter(-filter, filter);
  transceiver->vfo.set(14100000);
  transceiver->start();
  return transceiver;
}

void report(benchmark::State& state, double time_s) {
  const double time = time_s * static_cast<double>(state.iterations());
  state.counters["times_real_time"] = benchmark::Counter(time, benchmark::Counter::kIsRate);
  state.counters["percent_of_core"] = benchmark::Counter(time / 100, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void receive(benchmark::State& state, std::shared_ptr<modDemod> mode, int32_t filter) {
  const auto rate = static_cast<int32_t>(state.range(0));
  const auto transceiver = transceiverFor(std::move(mode), filter);
  const cbuff chunk = noise(static_cast<uint64_t>(rate / 48000) * 512);
  for (auto _ : state) transceiver->processRxChunk(chunk, 14090000, rate, {}, 0, 0);
  report(state, chunkTime_s);
}

void transmit(benchmark::State& state, std::shared_ptr<modDemod> mode, int32_t filter) {
  const auto transceiver = transceiverFor(std::move(mode), filter);
  transceiver->ptt.set(true);
  for (auto _ : state) transceiver->modulateTask();
  report(state, groupTime_s);
}

std::shared_ptr<modDemod> am() { return std::make_shared<amModDemod>(nullptr); }
std::shared_ptr<modDemod> ssb() { return std::make_shared<ssbModDemod>(nullptr); }
std::shared_ptr<modDemod> fm(double deviation, double tone = 0) {
  auto mode = std::make_shared<fmModDemod>(nullptr);
  mode->deviation.set(deviation);
  mode->CTCSS.set(tone);
  return mode;
}

void ssbReceive(benchmark::State& state) { receive(state, ssb(), 3000); }
void amReceive(benchmark::State& state) { receive(state, am(), 4000); }
void fmReceiveNarrow(benchmark::State& state) { receive(state, fm(narrow_Hz), 8000); }
void fmReceiveWide(benchmark::State& state) { receive(state, fm(wide_Hz), 90000); }
void ssbTransmit(benchmark::State& state) { transmit(state, ssb(), 3000); }
void amTransmit(benchmark::State& state) { transmit(state, am(), 4000); }
void fmTransmit(benchmark::State& state) { transmit(state, fm(narrow_Hz), 8000); }
void fmTransmitWithTone(benchmark::State& state) { transmit(state, fm(narrow_Hz, 88.5), 8000); }

} // namespace

BENCHMARK(ssbReceive)->Arg(48000)->Arg(384000);
BENCHMARK(amReceive)->Arg(48000)->Arg(384000);
BENCHMARK(fmReceiveNarrow)->Arg(48000)->Arg(384000);
BENCHMARK(fmReceiveWide)->Arg(384000)->Arg(1536000);
BENCHMARK(ssbTransmit);
BENCHMARK(amTransmit);
BENCHMARK(fmTransmit);
BENCHMARK(fmTransmitWithTone);
