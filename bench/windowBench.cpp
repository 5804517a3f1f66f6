// The window of a spectrum frame: 2048 complex samples, each variant and the plain loop.
#include "dsp/windowKernel.h"
#include "bench/kernelBenching.h"

using namespace larch;
using namespace larch::benching;

namespace {

constexpr std::size_t points = 2048;
constexpr double rate = 1536000;

void ours(benchmark::State& state, cpuVariant variant) {
  const auto in = noise(points);
  const std::vector<double> window(points, 0.5);
  std::vector<cdouble> out(points);
  for (auto _ : state) {
    multiplyWindow(in.data(), window.data(), out.data(), points, variant);
    benchmark::ClobberMemory();
  }
  reportSamples(state, points, rate);
}

void plain(benchmark::State& state) {
  const auto in = noise(points);
  const std::vector<double> window(points, 0.5);
  std::vector<cdouble> out(points);
  for (auto _ : state) {
    for (std::size_t i = 0; i < points; i++) out[i] = {in[i].real() * window[i], in[i].imag() * window[i]};
    benchmark::ClobberMemory();
  }
  reportSamples(state, points, rate);
}

const bool registered = [] {
  registerVariants("window", ours);
  benchmark::RegisterBenchmark("window/plain", plain);
  return true;
}();

} // namespace
