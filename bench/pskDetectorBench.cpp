// The detectors of the PSK mode on one block of 64 ms. items: samples of the block, so that items/s is 8000 times real time.
#include "bench/kernelBenching.h"
#include "modes/PskModDemod.h"
#include "runtime/sothreadpool.h"

namespace larch {
namespace {

constexpr int32_t blockLength = pskScanner::blockLength;
constexpr double rate = 8000;

// A carrier in noise, 20 seconds of it.
std::vector<double> band() {
  std::mt19937 random(1);
  std::normal_distribution<double> noise(0, 3000);
  std::vector<double> samples;
  for (int n = 0; n < 20 * 8000; n++) samples.push_back(10000 * std::cos(1.178 * n) + noise(random));
  return samples;
}

void oneDetector(benchmark::State& run) {
  const auto samples = band();
  CPSKDet d;
  d.setMode(static_cast<int32_t>(run.range(0)));
  char out[CPSKDet::maxCharacters];
  size_t at = 0;
  for (auto _ : run) {
    benchmark::DoNotOptimize(d.processBlock(samples.data() + at, blockLength, out));
    at = at + 2 * blockLength > samples.size() ? 0 : at + blockLength;
  }
  benching::reportSamples(run, blockLength, rate);
}
BENCHMARK(oneDetector)->Arg(0)->Arg(8)->Arg(16)->Arg(1);

// All 66, in a block, as the mode calls them with another primary detector than the first.
void allDetectors(benchmark::State& run, cpuVariant variant) {
  const auto samples = band();
  std::vector<CPSKDet> detectors(66);
  std::vector<CPSKDet*> pointers;
  constexpr int32_t last[] = {0, 8, 16, 1, 9, 17};
  for (size_t i = 0; i < detectors.size(); i++) {
    detectors[i].setMode(i < 30 ? 0 : i < 60 ? 8 : last[i - 60]);
    detectors[i].setRxFrequency(100 + 100 * static_cast<int32_t>(i % 30));
    pointers.push_back(&detectors[i]);
  }
  std::vector<pskText> text(detectors.size());
  size_t at = 0;
  for (auto _ : run) {
    processDetectors(pointers, samples.data() + at, blockLength, text, variant);
    at = at + 2 * blockLength > samples.size() ? 0 : at + blockLength;
  }
  benching::reportSamples(run, blockLength, rate);
}
const bool registered = [] {
  benching::registerVariants("allDetectors", allDetectors);
  return true;
}();

void wholeMode(benchmark::State& run) {
  const auto samples = band();
  sothreadpool pool(0);
  const auto mode = keptByCore(std::make_shared<PskModDemod>(std::make_shared<syncTask>(&pool)));
  std::vector<cbuff> blocks;
  for (size_t at = 0; at + 512 <= samples.size() * 6; at += 512) {
    cbuff b(512);
    for (size_t i = 0; i < 512; i++) b.data[i] = samples[(at + i) / 6];
    blocks.push_back(b);
  }
  size_t at = 0;
  for (auto _ : run) {
    benchmark::DoNotOptimize(mode->demodulate(blocks[at]));
    at = (at + 1) % blocks.size();
  }
  pool.getUpdates();
  benching::reportSamples(run, 512, 48000);
}
BENCHMARK(wholeMode);

} // namespace
} // namespace larch
