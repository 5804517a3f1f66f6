// Complex and real transforms: each variant, FFTW in and out of place (planned by measurement), and the plain radix-2 loop.
// Real time is a stream of 1536 kHz transformed once without overlap.
#include "bench/kernelBenching.h"
#include "dsp/fftPlan.h"
#include "dsp/transform.h"
#include <fftw3.h>
#include <algorithm>
#include <cmath>

using namespace larch;
using namespace larch::benching;

namespace {

constexpr double rate = 1536000;

void ours(benchmark::State& state, cpuVariant variant, uint32_t n) {
  fftPlan plan(n, variant);
  const auto in = noise(n);
  std::vector<cdouble> out(n);
  for (auto _ : state) {
    plan.forward(in.data(), out.data());
    benchmark::ClobberMemory();
  }
  reportSamples(state, n, rate);
}

void oursThroughTheCache(benchmark::State& state, uint32_t n) {
  const auto in = noise(n);
  std::vector<cdouble> out(n);
  for (auto _ : state) {
    fftForward(in.data(), out.data(), n);
    benchmark::ClobberMemory();
  }
  reportSamples(state, n, rate);
}

void oursReal(benchmark::State& state, uint32_t n) {
  std::vector<double> in(n);
  for (uint32_t i = 0; i < n; i++) in[i] = std::sin(0.1 * i * i);
  std::vector<cdouble> out(n);
  for (auto _ : state) {
    fftForwardReal(in.data(), out.data(), n);
    benchmark::ClobberMemory();
  }
  reportSamples(state, n, rate);
}

void peer(benchmark::State& state, uint32_t n, bool inPlace) {
  auto* in = fftw_alloc_complex(n);
  auto* out = inPlace ? in : fftw_alloc_complex(n);
  fftw_plan plan = fftw_plan_dft_1d(static_cast<int>(n), in, out, FFTW_FORWARD, FFTW_MEASURE);
  std::fill_n(&in[0][0], 2 * n, 0.0); // in place the values would grow without end
  for (auto _ : state) {
    fftw_execute(plan);
    benchmark::ClobberMemory();
  }
  reportSamples(state, n, rate);
  fftw_destroy_plan(plan);
  fftw_free(in);
  if (!inPlace) fftw_free(out);
}

void peerReal(benchmark::State& state, uint32_t n) {
  auto* in = fftw_alloc_real(n);
  auto* out = fftw_alloc_complex(n);
  fftw_plan plan = fftw_plan_dft_r2c_1d(static_cast<int>(n), in, out, FFTW_MEASURE);
  std::fill_n(in, n, 0.5);
  for (auto _ : state) {
    fftw_execute(plan);
    benchmark::ClobberMemory();
  }
  reportSamples(state, n, rate);
  fftw_destroy_plan(plan);
  fftw_free(in);
  fftw_free(out);
}

// One radix-2 pass, written by parts (g++ 12 takes std::complex temporaries through the stack).
void plainPass(const double* x, double* y, const cdouble* turns, uint32_t length, uint32_t stride) {
  for (uint32_t p = 0; p < length / 2; p++) {
    const double c = turns[p * stride].real(), s = turns[p * stride].imag();
    for (uint32_t q = 0; q < stride; q++) {
      const double *a = x + 2 * (q + stride * p), *b = a + stride * length;
      double *sum = y + 2 * (q + stride * 2 * p), *turned = sum + 2 * stride;
      const double re = a[0] - b[0], im = a[1] - b[1];
      sum[0] = a[0] + b[0];
      sum[1] = a[1] + b[1];
      turned[0] = re * c - im * s;
      turned[1] = re * s + im * c;
    }
  }
}

void plain(benchmark::State& state, uint32_t n) {
  const auto in = noise(n);
  std::vector<cdouble> turns(n / 2), a(n), b(n);
  for (uint32_t k = 0; k < n / 2; k++) turns[k] = turnOf(k, n);
  for (auto _ : state) {
    std::copy(in.begin(), in.end(), a.begin());
    for (uint32_t length = n, stride = 1; length > 1; length /= 2, stride *= 2, std::swap(a, b))
      plainPass(reinterpret_cast<double*>(a.data()), reinterpret_cast<double*>(b.data()), turns.data(), length, stride);
    benchmark::ClobberMemory();
  }
  reportSamples(state, n, rate);
}

const bool registered = [] {
  for (uint32_t n : {64u, 128u, 256u, 512u, 1024u, 2048u, 4096u, 8192u, 32768u}) {
    const std::string name = "transform/" + std::to_string(n);
    registerVariants(name, [n](benchmark::State& state, cpuVariant variant) { ours(state, variant, n); });
    benchmark::RegisterBenchmark((name + "/perThreadCache").c_str(), oursThroughTheCache, n);
    benchmark::RegisterBenchmark((name + "/fftw").c_str(), peer, n, false);
    benchmark::RegisterBenchmark((name + "/fftwInPlace").c_str(), peer, n, true);
    benchmark::RegisterBenchmark((name + "/plain").c_str(), plain, n);
    benchmark::RegisterBenchmark(("realTransform/" + std::to_string(n)).c_str(), oursReal, n);
    benchmark::RegisterBenchmark(("realTransform/" + std::to_string(n) + "/fftw").c_str(), peerReal, n);
  }
  return true;
}();

} // namespace
