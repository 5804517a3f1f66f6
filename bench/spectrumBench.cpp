// A spectrum frame of 2048 points from the finished transform: powers, mirrored order and logarithms, each variant and the plain
// loop with libm's log10f; the logarithms alone; the whole frame with its transform and window. Real time is 1536 kHz at 750
// frames a second.
#include "bench/kernelBenching.h"
#include "dsp/fftPlan.h"
#include "dsp/powerSpectrum.h"
#include <cmath>

using namespace larch;
using namespace larch::benching;

namespace {

constexpr double rate = 1536000;
constexpr int points = powerSpectrum::points;
constexpr powerSpectrum::band wholeBand{7100000 - rate / 2, 7100000 + rate / 2, 7100000 - 768000, 7100000 + 768000, 1536000};

void ours(benchmark::State& state, cpuVariant variant, powerSpectrum::band band) {
  powerSpectrum spectrum(variant);
  const auto bins = noise(points);
  std::vector<float> frame(points);
  for (auto _ : state) {
    spectrum.setBand(band);
    spectrum.paint(bins.data(), frame.data());
    benchmark::ClobberMemory();
  }
  reportSamples(state, points, rate);
}

void plain(benchmark::State& state) {
  const auto bins = noise(points);
  std::vector<float> frame(points);
  const double inLow = static_cast<double>(wholeBand.inLow), inHigh = static_cast<double>(wholeBand.inHigh);
  for (auto _ : state) {
    for (int i = 0; i < points; i++) {
      const double f = i * (wholeBand.high - wholeBand.low) * 0.00048828125 + wholeBand.low;
      if (f < inLow || f >= inHigh) continue;
      const int k = static_cast<int>((f - inLow) * 2048.0 / wholeBand.rate);
      const cdouble& x = bins[1023 - k + (k >= 1024 ? 2048 : 0)];
      const double power = x.real() * x.real() + x.imag() * x.imag();
      frame[i] = log10f(static_cast<float>(power * (1.0 / 2048) * (1.0 / 2048) * 10 + 1e-38));
    }
    benchmark::ClobberMemory();
  }
  reportSamples(state, points, rate);
}

void logarithms(benchmark::State& state, cpuVariant variant) {
  std::vector<double> powers(points);
  for (int i = 0; i < points; i++) powers[i] = std::pow(10.0, 0.01 * i - 15);
  std::vector<float> out(points);
  for (auto _ : state) {
    logPowers(powers.data(), points, 0.1, out.data(), variant);
    benchmark::ClobberMemory();
  }
  reportSamples(state, points, rate);
}

void logarithmsOfLibm(benchmark::State& state) {
  std::vector<double> powers(points);
  for (int i = 0; i < points; i++) powers[i] = std::pow(10.0, 0.01 * i - 15);
  std::vector<float> out(points);
  for (auto _ : state) {
    for (int i = 0; i < points; i++) out[i] = log10f(static_cast<float>(powers[i] * 0.1 + 1e-38));
    benchmark::ClobberMemory();
  }
  reportSamples(state, points, rate);
}

void withTransform(benchmark::State& state, cpuVariant variant) {
  powerSpectrum spectrum(variant);
  fftPlan plan(points, variant);
  const auto x = noise(points);
  std::vector<cdouble> bins(points);
  std::vector<float> frame(points);
  spectrum.setBand(wholeBand);
  for (auto _ : state) {
    plan.forward(x.data(), bins.data());
    spectrum.paint(bins.data(), frame.data());
    benchmark::ClobberMemory();
  }
  reportSamples(state, points, rate);
}

const bool registered = [] {
  powerSpectrum::band halfZoom = wholeBand;
  halfZoom.low -= rate / 2;
  halfZoom.high += rate / 2;
  registerVariants("spectrum/wholeBand", [](benchmark::State& s, cpuVariant variant) { ours(s, variant, wholeBand); });
  registerVariants("spectrum/halfZoom", [=](benchmark::State& s, cpuVariant variant) { ours(s, variant, halfZoom); });
  benchmark::RegisterBenchmark("spectrum/wholeBand/plain", plain);
  registerVariants("spectrum/logarithms", logarithms);
  benchmark::RegisterBenchmark("spectrum/logarithms/libm", logarithmsOfLibm);
  registerVariants("spectrum/withTransform", withTransform);
  return true;
}();

} // namespace
