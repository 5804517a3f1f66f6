// What the benchmarks of the kernels share.
#pragma once
#include "dsp/cpuVariant.h"
#include <benchmark/benchmark.h>
#include <complex>
#include <random>
#include <string>
#include <vector>

namespace larch::benching {

using cdouble = std::complex<double>;

inline std::vector<cdouble> noise(std::size_t count) {
  std::mt19937 generator(1);
  std::uniform_real_distribution<double> uniform(-1, 1);
  std::vector<cdouble> result(count);
  for (cdouble& x : result) {
    const double re = uniform(generator);
    x = {re, uniform(generator)};
  }
  return result;
}

// `body(state, variant)` under "name/variant" for each variant that this processor has.
template <class Body> void registerVariants(const std::string& name, Body body) {
  for (cpuVariant variant : compiledVariants())
    if (variantAvailable(variant))
      benchmark::RegisterBenchmark((name + "/" + variantName(variant)).c_str(),
                                   [=](benchmark::State& state) { body(state, variant); });
}

// Samples per second, and how many times faster than a stream of `rate` samples per second that is.
inline void reportSamples(benchmark::State& state, std::size_t samplesPerIteration, double rate) {
  const double samples = static_cast<double>(state.iterations()) * static_cast<double>(samplesPerIteration);
  state.counters["samples/s"] = benchmark::Counter(samples, benchmark::Counter::kIsRate);
  state.counters["x real time"] = benchmark::Counter(samples / rate, benchmark::Counter::kIsRate);
}

} // namespace larch::benching
