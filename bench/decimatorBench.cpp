// Mixer and halfband chain on blocks of 16384 samples (one chunk at 1536 kHz): each variant, a plain loop that takes sample by
// sample through the chain, and liquid-dsp's oscillator and half-band resampler in single precision (its own filters, 60 dB).
// samples/s are input samples; real time is 1536 kHz.
#include "bench/kernelBenching.h"
#include "dsp/halfbandDecimator.h"
#include <liquid/liquid.h>
#include <algorithm>
#include <cmath>
#include <span>

using namespace larch;
using namespace larch::benching;

namespace {

constexpr std::size_t count = 16384;
constexpr double rate = 1536000, step = 0.3;

void ours(benchmark::State& state, cpuVariant variant, int32_t ratio, double phaseStep) {
  halfbandDecimator decimator(variant);
  const auto x = noise(count);
  const cbuff in(count), out(count / ratio);
  std::copy(x.begin(), x.end(), in.data);
  for (auto _ : state) {
    decimator.process(phaseStep, ratio, out, in);
    benchmark::ClobberMemory();
  }
  reportSamples(state, count, rate);
}

// What a retune of each block costs: the rotations are worked out anew.
void oursRetuned(benchmark::State& state, cpuVariant variant, int32_t ratio) {
  halfbandDecimator decimator(variant);
  const auto x = noise(count);
  const cbuff in(count), out(count / ratio);
  std::copy(x.begin(), x.end(), in.data);
  double phaseStep = step;
  for (auto _ : state) {
    decimator.process(phaseStep, ratio, out, in);
    phaseStep = -phaseStep;
    benchmark::ClobberMemory();
  }
  reportSamples(state, count, rate);
}

constexpr double taps39[] = {-3.62907885576887e-6, 4.02466442580786e-5, -0.000235834343041218, 0.000963902327396773,
                             -0.003076553710626,   0.00818383132692986, -0.0190660145353977,   0.0410960724707912,
                             -0.0907564864768072,  0.312854461452131};
constexpr double taps19[] = {0.000333811843036611, -0.00353395473118229, 0.0185252451861531, -0.0689599668906186,
                             0.303634864592664};
constexpr double taps11[] = {0.00622556206707906, -0.0499000904333449, 0.293674528365953};

// One stage as first written: a line that is copied back to its start when it is full.
struct plainStage {
  static constexpr std::size_t block = 1024;
  explicit plainStage(std::span<const double> halfTaps)
      : half(halfTaps), line(2 * (4 * half.size() - 1 + block)), at(4 * half.size() - 1) {}

  bool push(double& re, double& im) {
    line[2 * at] = re;
    line[2 * at + 1] = im;
    at++;
    second = !second;
    if (!second) {
      const double *newest = &line[2 * (at - 2)], *oldest = newest - 2 * (4 * half.size() - 2);
      re = 0.5 * newest[-4 * static_cast<long>(half.size()) + 2];
      im = 0.5 * newest[-4 * static_cast<long>(half.size()) + 3];
      for (std::size_t k = 0; k < half.size(); k++) {
        re += half[k] * (oldest[4 * k] + newest[-4 * static_cast<long>(k)]);
        im += half[k] * (oldest[4 * k + 1] + newest[-4 * static_cast<long>(k) + 1]);
      }
    }
    if (2 * at == line.size()) {
      at = 4 * half.size() - 1;
      std::copy(line.end() - 2 * static_cast<long>(at), line.end(), line.begin());
    }
    return !second;
  }

  std::span<const double> half;
  std::vector<double> line;
  std::size_t at;
  bool second = false;
};

void plain(benchmark::State& state, int32_t ratio) {
  std::vector<plainStage> stages;
  for (int v = ratio / 4; v > 1; v /= 2) stages.emplace_back(taps11);
  if (ratio > 2) stages.emplace_back(taps19);
  if (ratio > 1) stages.emplace_back(taps39);
  const auto in = noise(count);
  std::vector<cdouble> out(count / ratio);
  const double c = std::cos(step), s = -std::sin(step);
  double phaseRe = 1, phaseIm = 0;
  for (auto _ : state) {
    const double magnitude = std::hypot(phaseRe, phaseIm);
    phaseRe /= magnitude;
    phaseIm /= magnitude;
    std::size_t done = 0;
    for (const cdouble& x : in) {
      const double turned = phaseRe * c - phaseIm * s;
      phaseIm = phaseRe * s + phaseIm * c;
      phaseRe = turned;
      double re = x.real() * phaseRe - x.imag() * phaseIm, im = x.real() * phaseIm + x.imag() * phaseRe;
      bool through = true;
      for (plainStage& stage : stages) {
        through = stage.push(re, im);
        if (!through) break;
      }
      if (through) out[done++] = {re, im};
    }
    benchmark::ClobberMemory();
  }
  reportSamples(state, count, rate);
}

void liquid(benchmark::State& state, int32_t ratio) {
  std::vector<liquid_float_complex> in(count), mixed(count), out(count / ratio);
  for (std::size_t i = 0; i < count; i++) in[i] = {0.1f * static_cast<float>(i % 7), 0.2f};
  nco_crcf oscillator = nco_crcf_create(LIQUID_NCO);
  nco_crcf_set_frequency(oscillator, static_cast<float>(step));
  unsigned stages = 0;
  while (1 << stages < ratio) stages++;
  msresamp2_crcf resampler = stages > 0 ? msresamp2_crcf_create(LIQUID_RESAMP_DECIM, stages, 0.4f, 0.0f, 60.0f) : nullptr;
  for (auto _ : state) {
    nco_crcf_mix_block_down(oscillator, in.data(), mixed.data(), count);
    if (resampler)
      for (std::size_t i = 0; i < out.size(); i++) msresamp2_crcf_execute(resampler, &mixed[i * ratio], &out[i]);
    benchmark::ClobberMemory();
  }
  reportSamples(state, count, rate);
  if (resampler) msresamp2_crcf_destroy(resampler);
  nco_crcf_destroy(oscillator);
}

const bool registered = [] {
  for (int32_t ratio : {1, 2, 4, 8, 32, 1024}) {
    const std::string name = "decimator/" + std::to_string(ratio);
    registerVariants(name, [ratio](benchmark::State& state, cpuVariant variant) { ours(state, variant, ratio, step); });
    benchmark::RegisterBenchmark((name + "/plain").c_str(), plain, ratio);
    benchmark::RegisterBenchmark((name + "/liquidFloat").c_str(), liquid, ratio);
  }
  registerVariants("decimator/32/unmixed", [](benchmark::State& state, cpuVariant variant) { ours(state, variant, 32, 0.0); });
  registerVariants("decimator/32/retuned", [](benchmark::State& state, cpuVariant variant) { oursRetuned(state, variant, 32); });
  return true;
}();

} // namespace
