// The discriminator of wide FM: 4096 samples, one chunk at 384 kHz; each variant and the library's arc tangent.
#include "dsp/turnKernel.h"
#include "bench/kernelBenching.h"
#include <cmath>

using namespace larch;
using namespace larch::benching;

namespace {

constexpr std::size_t points = 4096;
constexpr double rate = 384000;

void ours(benchmark::State& state, cpuVariant variant) {
  const auto in = noise(points);
  std::vector<double> out(points);
  for (auto _ : state) {
    sampleTurns(1.0, in.data(), out.data(), points, variant);
    benchmark::ClobberMemory();
  }
  reportSamples(state, points, rate);
}

void plain(benchmark::State& state) {
  const auto in = noise(points);
  std::vector<double> out(points);
  for (auto _ : state) {
    cdouble p = 1.0;
    for (std::size_t i = 0; i < points; p = in[i++]) {
      const double re = p.real() * in[i].real() + p.imag() * in[i].imag(), im = p.real() * in[i].imag() - p.imag() * in[i].real();
      out[i] = std::atan2(im, re);
    }
    benchmark::ClobberMemory();
  }
  reportSamples(state, points, rate);
}

const bool registered = [] {
  registerVariants("turns", ours);
  benchmark::RegisterBenchmark("turns/plain", plain);
  return true;
}();

} // namespace
