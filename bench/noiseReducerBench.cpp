// Noise reduction on blocks of 512 at 48 kHz. items: samples.
#include "dsp/noiseReducer.h"
#include <array>
#include <benchmark/benchmark.h>
#include <random>

namespace larch {
namespace {

void reduce(benchmark::State& run) {
  constexpr int64_t audioRate = 48000;
  std::mt19937 random(1);
  std::normal_distribution<float> noise(0, 300);
  std::array<float, noiseReducer::blockLength> in, out;
  for (auto& x : in) x = noise(random);
  noiseReducer reducer;
  for (auto _ : run) {
    reducer.process(out.data(), in.data(), static_cast<float>(run.range(0)));
    benchmark::DoNotOptimize(out);
  }
  const auto samples = run.iterations() * static_cast<int64_t>(in.size());
  run.SetItemsProcessed(samples);
  run.counters["realTime"] = benchmark::Counter(static_cast<double>(samples) / audioRate, benchmark::Counter::kIsRate);
}
BENCHMARK(reduce)->Name("noiseReducer/strength_percent")->Arg(0)->Arg(80)->Arg(100);

} // namespace
} // namespace larch
