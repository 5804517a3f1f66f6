// A whole transceiver in timed slots without sockets and sound card: one chunk an iteration, 10.67 ms of signal, or one group to
// the radio, 2.625 ms. Single sideband for comparison. A slot begins every 15 s of that time; its file is another thread's.
#include "audio/writeWav.h"
#include "modes/JTModDemod.h"
#include "modes/ssbModDemod.h"
#include "platform/clock.h"
#include "runtime/sothreadpool.h"
#include "transceiver/vtrx.h"
#include <benchmark/benchmark.h>
#include <random>

using namespace larch;

namespace {

constexpr double chunkTime_s = 512.0 / 48000, groupTime_s = 126.0 / 48000;

int64_t now_ns = 0; // of the simulated stream

cbuff noise(uint64_t count) {
  std::mt19937 random(1);
  std::normal_distribution<double> level(0, 1e-4);
  cbuff samples(count);
  for (uint64_t i = 0; i < count; i++) samples.data[i] = {level(random), level(random)};
  return samples;
}

std::shared_ptr<vtrx> transceiverFor(std::shared_ptr<modDemod> mode) {
  static auto* pool = new sothreadpool(0);
  static const clockSource source{[] { return now_ns; }, [] { return now_ns; }, [](int64_t) {}};
  setClockSource(&source);
  auto transceiver = keptByCore(std::make_shared<vtrx>(std::make_shared<syncTask>(pool)));
  transceiver->init();
  transceiver->audioOutput.set(-1);
  transceiver->setModulation(keptByCore(std::move(mode)));
  transceiver->setRxFilter(100, 5000);
  transceiver->setTxFilter(100, 5000);
  transceiver->vfo.set(14074000);
  transceiver->start();
  return transceiver;
}

void report(benchmark::State& state, double time_s) {
  const double time = time_s * static_cast<double>(state.iterations());
  state.counters["times_real_time"] = benchmark::Counter(time, benchmark::Counter::kIsRate);
  state.counters["percent_of_core"] = benchmark::Counter(time / 100, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void receive(benchmark::State& state, std::shared_ptr<modDemod> mode) {
  const auto rate = static_cast<int32_t>(state.range(0));
  const auto transceiver = transceiverFor(std::move(mode));
  const cbuff chunk = noise(static_cast<uint64_t>(rate / 48000) * 512);
  for (auto _ : state) {
    transceiver->processRxChunk(chunk, 14074000 - 10000, rate, {}, 0, 0);
    now_ns += 10'666'667;
  }
  report(state, chunkTime_s);
}

void transmit(benchmark::State& state, std::shared_ptr<modDemod> mode) {
  const auto transceiver = transceiverFor(std::move(mode));
  transceiver->ptt.set(true);
  for (auto _ : state) transceiver->modulateTask();
  report(state, groupTime_s);
}

std::shared_ptr<JTModDemod> jt(int32_t saveMode = 0) {
  auto mode = std::make_shared<JTModDemod>(nullptr);
  mode->saveDirectory.set("/dev/null/"); // no file can be there
  mode->SaveMode.set(saveMode);
  return mode;
}

void ssbReceive(benchmark::State& state) { receive(state, std::make_shared<ssbModDemod>(nullptr)); }
void jtReceive(benchmark::State& state) { receive(state, jt()); }
void jtReceiveC2(benchmark::State& state) {
  const auto mode = jt(1);
  mode->period.set(120000);
  mode->Decimation.set(128);
  mode->samplesPerBlock.set(90000);
  receive(state, mode);
}

void ssbTransmit(benchmark::State& state) { transmit(state, std::make_shared<ssbModDemod>(nullptr)); }
void jtTransmit(benchmark::State& state) {
  const auto mode = jt();
  const buff<float> tones(1'000'000, 3.0f);
  mode->queueMsg(tones, 0);
  now_ns = 0;
  {
    const auto starter = transceiverFor(mode); // a slot takes the message
    starter->processRxChunk(noise(512), 14074000, 48000, {}, 0, 0);
  }
  transmit(state, mode);
}

// The file of a slot of 12.6 s, without a disk.
void wavFile(benchmark::State& state) {
  const buff<float> samples(151'200);
  for (uint64_t i = 0; i < samples.count; i++) samples.data[i] = static_cast<float>(i % 1000) / 1000;
  for (auto _ : state) writeWav("/dev/null", samples, 32000);
}

} // namespace

BENCHMARK(ssbReceive)->Arg(48000)->Arg(192000);
BENCHMARK(jtReceive)->Arg(48000)->Arg(192000);
BENCHMARK(jtReceiveC2)->Arg(48000);
BENCHMARK(ssbTransmit);
BENCHMARK(jtTransmit);
BENCHMARK(wavFile);
