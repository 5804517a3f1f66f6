// How far above real time a simulated radio can play: samples/s over all receivers, and "realtime" in multiples of the stream.
#include <benchmark/benchmark.h>
#include "sim/protocol1Stream.h"
#include "sim/sceneReader.h"

using namespace larch::sim;

namespace {
std::shared_ptr<bandScene> demo() {
  static const std::shared_ptr<bandScene> scene = makeScene("demo");
  return scene;
}

void report(benchmark::State& state, double samples, double realtime_samples) {
  state.counters["samples"] = benchmark::Counter(samples, benchmark::Counter::kIsRate);
  state.counters["realtime"] = benchmark::Counter(samples / realtime_samples, benchmark::Counter::kIsRate);
}
} // namespace

// datagrams of the demo scene at 384 kHz, wideband blocks with them; argument: receivers
static void protocol1StreamMake(benchmark::State& state) {
  const auto receivers = static_cast<int>(state.range(0));
  radioOptions options;
  options.receivers = receivers;
  protocol1Stream stream(options, demo());
  hostSettings settings;
  settings.sampleRate_Hz = 384000;
  settings.receivers = receivers;
  settings.rxFrequency_Hz.fill(7100000);
  stream.configure(settings, false);
  stream.start(true, true);
  std::vector<outgoingDatagram> out;
  double samples = 0;
  for (auto _ : state) {
    out.clear();
    stream.make(protocol1Stream::maxBatch, out);
    benchmark::DoNotOptimize(out.data());
    samples += static_cast<double>(protocol1Stream::maxBatch * stream.samplesPerDatagram()) * receivers;
  }
  report(state, samples, 384000.0 * receivers);
}
BENCHMARK(protocol1StreamMake)->Arg(1)->Arg(4)->Arg(8);

// one receiver over the demo scene; argument: rate in kHz
static void sceneReceiverRender(benchmark::State& state) {
  const double rate = static_cast<double>(state.range(0)) * 1000;
  sceneReceiver receiver(demo(), 1);
  receiver.tune({7100000, rate, 122880000});
  std::vector<std::complex<double>> out(1024);
  double samples = 0;
  for (auto _ : state) {
    receiver.render(samples / rate, 1, out.data(), out.size());
    benchmark::DoNotOptimize(out.data());
    samples += static_cast<double>(out.size());
  }
  report(state, samples, rate);
}
BENCHMARK(sceneReceiverRender)->Arg(48)->Arg(192)->Arg(384)->Arg(1536);
