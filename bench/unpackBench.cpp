// 24-bit samples to complex doubles: 238 contiguous samples (a Protocol 2 datagram) and whole frames of 1 to 8 receivers
// (Protocol 1), each variant and the plain loop. Samples are counted for every receiver; real time is 1536 kHz. No peer library
// has this.
#include "bench/kernelBenching.h"
#include "dsp/sampleUnpack.h"
#include <algorithm>

using namespace larch;
using namespace larch::benching;

namespace {

constexpr double rate = 1536000, scale = 4.656612875245797e-10;
constexpr std::size_t blocks = 64; // as many datagrams in turn

std::vector<uint8_t> bytesOf(std::size_t count) {
  std::mt19937 generator(1);
  std::vector<uint8_t> bytes(count);
  for (uint8_t& b : bytes) b = static_cast<uint8_t>(generator());
  return bytes;
}

__attribute__((noinline)) void plainLoop(const uint8_t* from, std::size_t step, double factor, double* to, std::size_t count) {
  for (std::size_t i = 0; i < count; i++, from += step, to += 2) {
    to[0] = static_cast<int32_t>(uint32_t{from[0]} << 24 | uint32_t{from[1]} << 16 | uint32_t{from[2]} << 8) * factor;
    to[1] = static_cast<int32_t>(uint32_t{from[3]} << 24 | uint32_t{from[4]} << 16 | uint32_t{from[5]} << 8) * factor;
  }
}

// run(slot, step, targets, receivers, count) unpacks one block.
template <class Run> void measure(benchmark::State& state, std::size_t receivers, std::size_t step, std::size_t count, Run run) {
  constexpr std::size_t blockBytes = 1444;
  const auto bytes = bytesOf(blocks * blockBytes);
  std::vector<cdouble> out(receivers * count * blocks / 2);
  std::vector<iqTarget> targets(receivers);
  std::size_t block = 0;
  for (auto _ : state) {
    for (std::size_t r = 0; r < receivers; r++) targets[r] = {out.data() + (block % (blocks / 2) * receivers + r) * count, false};
    run(bytes.data() + block * blockBytes + 16, step, targets.data(), receivers, count);
    block = (block + 1) % blocks;
    benchmark::ClobberMemory();
  }
  reportSamples(state, receivers * count, rate);
}

void registerShape(const std::string& name, std::size_t receivers, std::size_t step, std::size_t count) {
  registerVariants(name, [=](benchmark::State& state, cpuVariant variant) {
    measure(state, receivers, step, count, [variant](auto* from, auto stride, auto* targets, auto n, auto samples) {
      unpackFrame(from, stride, scale, targets, n, samples, variant);
    });
  });
  benchmark::RegisterBenchmark((name + "/plain").c_str(), [=](benchmark::State& state) {
    measure(state, receivers, step, count, [](auto* from, auto stride, auto* targets, auto n, auto samples) {
      for (std::size_t r = 0; r < n; r++)
        plainLoop(from + 6 * r, stride, scale, reinterpret_cast<double*>(targets[r].to), samples);
    });
  });
}

// Eight samples by a variant and 32 by code of the baseline behind it: dear when the variant leaves the vector registers' upper
// halves in use.
void thenPlainCode(benchmark::State& state, cpuVariant variant) {
  const auto bytes = bytesOf(1024);
  std::vector<cdouble> out(64);
  for (auto _ : state) {
    unpackIq(bytes.data(), 6, scale, false, out.data(), 8, variant);
    plainLoop(bytes.data(), 6, scale, reinterpret_cast<double*>(out.data()), 32);
    benchmark::ClobberMemory();
  }
  reportSamples(state, 40, rate);
}

const bool registered = [] {
  registerVariants("unpack/thenPlainCode", thenPlainCode);
  registerShape("unpack/contiguous238", 1, 6, 238);
  for (std::size_t receivers : {1u, 2u, 4u, 8u}) {
    const std::size_t step = 6 * receivers + 2;
    registerShape("unpack/frameOf" + std::to_string(receivers), receivers, step, 504 / step);
  }
  return true;
}();

} // namespace
