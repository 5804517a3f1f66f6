// The channel convolver, 1536 and 2048 taps, in blocks of 512: each variant, the plain form on FFTW (a loop for each step), and
// liquid-dsp's overlap-save filter in single precision, whose blocks can't be shorter than the taps. Real time is 48 kHz.
#include "bench/kernelBenching.h"
#include "dsp/fftConvolver.h"
#include <fftw3.h>
#include <liquid/liquid.h>
#include <algorithm>

using namespace larch;
using namespace larch::benching;

namespace {

constexpr double rate = 48000;
constexpr std::size_t block = fftConvolver::block;

cbuff tapsOf(uint64_t count) {
  const auto x = noise(count);
  cbuff taps(count);
  std::copy(x.begin(), x.end(), taps.data);
  return taps;
}

void ours(benchmark::State& state, cpuVariant variant, uint64_t taps) {
  fftConvolver convolver(tapsOf(taps), variant);
  const auto x = noise(block);
  for (auto _ : state) {
    std::copy(x.begin(), x.end(), convolver.input.data);
    convolver.process();
    benchmark::ClobberMemory();
  }
  reportSamples(state, block, rate);
}

// What a first implementation does with any transform.
void plainOnFftw(benchmark::State& state, uint64_t taps) {
  constexpr int n = 2 * block;
  const std::size_t count = taps / block;
  auto *time = fftw_alloc_complex(n), *sum = fftw_alloc_complex(n), *out = fftw_alloc_complex(n);
  std::vector<fftw_complex*> history, partitions;
  for (std::size_t i = 0; i < count; i++) {
    history.push_back(fftw_alloc_complex(n));
    partitions.push_back(fftw_alloc_complex(n));
    std::fill_n(&history[i][0][0], 2 * n, 0.5);
    std::fill_n(&partitions[i][0][0], 2 * n, 0.25);
  }
  fftw_plan forward = fftw_plan_dft_1d(n, time, history[0], FFTW_FORWARD, FFTW_MEASURE);
  fftw_plan inverse = fftw_plan_dft_1d(n, sum, out, FFTW_BACKWARD, FFTW_MEASURE);
  const auto x = noise(block);
  std::size_t head = 0;
  for (auto _ : state) {
    std::copy_n(&x[0], block, reinterpret_cast<cdouble*>(time) + block);
    fftw_execute_dft(forward, time, history[head]);
    std::fill_n(&sum[0][0], 2 * n, 0.0);
    for (std::size_t k = 0; k < count; k++) {
      const auto *a = history[(head + count - k) % count], *b = partitions[k];
      for (int i = 0; i < n; i++) {
        sum[i][0] += a[i][0] * b[i][0] - a[i][1] * b[i][1];
        sum[i][1] += a[i][0] * b[i][1] + a[i][1] * b[i][0];
      }
    }
    fftw_execute(inverse);
    head = (head + 1) % count;
    std::copy_n(&time[block][0], 2 * block, &time[0][0]);
    benchmark::ClobberMemory();
  }
  reportSamples(state, block, rate);
  fftw_destroy_plan(forward);
  fftw_destroy_plan(inverse);
  for (auto* p : history) fftw_free(p);
  for (auto* p : partitions) fftw_free(p);
  for (auto* p : {time, sum, out}) fftw_free(p);
}

// One iteration is one block of 512; the filter runs every taps / 512 of them.
void liquid(benchmark::State& state, uint64_t taps) {
  std::vector<liquid_float_complex> h(taps), x(taps), y(taps);
  for (std::size_t i = 0; i < taps; i++) h[i] = x[i] = {0.1f * static_cast<float>(i % 7), 0.2f};
  fftfilt_cccf filter = fftfilt_cccf_create(h.data(), static_cast<unsigned>(taps), static_cast<unsigned>(taps));
  std::size_t fill = 0;
  for (auto _ : state) {
    fill += block;
    if (fill == taps) {
      fftfilt_cccf_execute(filter, x.data(), y.data());
      fill = 0;
    }
    benchmark::ClobberMemory();
  }
  reportSamples(state, block, rate);
  fftfilt_cccf_destroy(filter);
}

const bool registered = [] {
  for (uint64_t taps : {1536u, 2048u}) {
    const std::string name = "convolver/" + std::to_string(taps);
    registerVariants(name, [taps](benchmark::State& state, cpuVariant variant) { ours(state, variant, taps); });
    benchmark::RegisterBenchmark((name + "/plainOnFftw").c_str(), plainOnFftw, taps);
    benchmark::RegisterBenchmark((name + "/liquidFloat").c_str(), liquid, taps);
  }
  return true;
}();

} // namespace
