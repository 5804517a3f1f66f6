// Gain control on blocks of 512 samples beside the loop of all decisions. items: samples.
#include "tests/dsp/plainGainLoop.h"
#include <benchmark/benchmark.h>
#include <cstring>
#include <random>
#include <vector>

namespace larch {
namespace {

constexpr uint64_t blockLength = 512;
constexpr int64_t audioRate = 48000;
constexpr float silent_dB = -180.0f;

// What the block does to the gain. The state goes back before each block, so that each does the same.
enum course { falling, holding, rising, limited };

struct setting {
  gainParameters parameters;
  gainState state;
};

setting settingOf(course c) {
  setting s;
  if (c == falling) s.state.gain = 200;
  if (c == holding) s.state = {.hangCount = 96000, .gain = 0.5};
  if (c == rising) s.state.gain = 0.5;
  if (c == limited) {
    s.parameters.maxGain_dB = 0;
    s.state.gain = 1;
  }
  return s;
}

buff<float> audio(float level) {
  std::mt19937 random(1);
  std::uniform_real_distribution<float> value(-level, level);
  buff<float> b(blockLength);
  for (uint64_t i = 0; i < blockLength; i++) b.data[i] = value(random);
  return b;
}

void report(benchmark::State& run, int64_t samplesARound) {
  const auto samples = run.iterations() * samplesARound;
  run.SetItemsProcessed(samples);
  run.counters["realTime"] = benchmark::Counter(static_cast<double>(samples) / audioRate, benchmark::Counter::kIsRate);
}

template <bool plain> void oneCourse(benchmark::State& run) {
  setting s = settingOf(static_cast<course>(run.range(0)));
  const auto source = audio(0.5f);
  const buff<float> block(blockLength);
  for (auto _ : run) {
    gainState state = s.state;
    std::memcpy(block.data, source.data, blockLength * sizeof(float));
    if constexpr (plain)
      plainFollow(s.parameters, state, block.data, blockLength, 1.0f);
    else
      processGain(s.parameters, state, block, false, true, silent_dB);
    benchmark::DoNotOptimize(state.gain);
    benchmark::ClobberMemory();
  }
  report(run, blockLength);
}

// Ten seconds of syllables: bursts of 200 ms at levels that differ by up to 20 dB, pauses of noise between them.
template <bool plain> void syllables(benchmark::State& run) {
  constexpr int blocks = 940, burst = 19;
  std::mt19937 random(2);
  std::vector<buff<float>> source;
  float level = 0;
  for (int i = 0; i < blocks; i++) {
    if (i % burst == 0) level = (i / burst) % 2 ? 0.001f : 0.05f + 0.45f * static_cast<float>(random() % 100) / 100;
    source.push_back(audio(level));
  }
  const buff<float> block(blockLength);
  gainParameters p;
  p.hang_s = static_cast<float>(run.range(0)) / 1000;
  for (auto _ : run) {
    gainState state;
    for (const auto& b : source) {
      std::memcpy(block.data, b.data, blockLength * sizeof(float));
      if constexpr (plain)
        plainFollow(p, state, block.data, blockLength, 1.0f);
      else
        processGain(p, state, block, false, true, silent_dB);
      benchmark::ClobberMemory();
    }
    benchmark::DoNotOptimize(state.gain);
  }
  report(run, blocks * static_cast<int64_t>(blockLength));
}

BENCHMARK(oneCourse<true>)->Name("plain/course")->DenseRange(falling, limited);
BENCHMARK(oneCourse<false>)->Name("fast/course")->DenseRange(falling, limited);
BENCHMARK(syllables<true>)->Name("plain/syllables/hang_ms")->Arg(0)->Arg(100)->Arg(2000)->Unit(benchmark::kMicrosecond);
BENCHMARK(syllables<false>)->Name("fast/syllables/hang_ms")->Arg(0)->Arg(100)->Arg(2000)->Unit(benchmark::kMicrosecond);

} // namespace
} // namespace larch
