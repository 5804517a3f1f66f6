// The TCP link: what a block of 512 samples costs the signal with and without a client, and the network thread's share.
#include "link/MultiPskModDemod.h"
#include "runtime/log.h"
#include "runtime/sothreadpool.h"
#include "tests/link/linkClient.h"
#include <atomic>
#include <benchmark/benchmark.h>
#include <ctime>
#include <random>

using namespace larch;

namespace {

constexpr uint64_t points = 512;
constexpr double blockTime_s = points / 48000.0;

const bool quiet = (openLog("/dev/null", 0), true); // each client's end is a line

cbuff noise() {
  std::mt19937 random(1);
  std::normal_distribution<double> level(0, 1e-4);
  cbuff samples(points);
  for (uint64_t i = 0; i < points; i++) samples.data[i] = {level(random), level(random)};
  return samples;
}

double cpu_s(clockid_t clock) {
  timespec t{};
  clock_gettime(clock, &t);
  return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

std::shared_ptr<MultiPskModDemod> makeLink(sothreadpool* pool) {
  auto link = keptByCore(std::make_shared<MultiPskModDemod>(std::make_shared<syncTask>(pool)));
  link->port.set(0);
  link->attached();
  return link;
}

void report(benchmark::State& state) {
  state.counters["percent_of_core"] = benchmark::Counter(blockTime_s * static_cast<double>(state.iterations()) / 100,
                                                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void withoutAClient(benchmark::State& state) {
  static auto* pool = new sothreadpool(0);
  const auto link = makeLink(pool);
  const cbuff block = noise();
  for (auto _ : state) benchmark::DoNotOptimize(link->demodulate(block).data);
  report(state);
}

// Each block waits until the last one has gone; only the signal's part is timed. The network thread's CPU is what the process
// used beyond this thread and the client's.
void withAClient(benchmark::State& state) {
  static auto* pool = new sothreadpool(0);
  const auto link = makeLink(pool);
  std::atomic<double> clientCpu_s{0};
  std::atomic<bool> stop{false};
  std::jthread client([&, port = link->port.value] {
    test::linkClient reader(port);
    reader.send(test::beginAt(7'000'000));
    while (!stop) {
      if (!reader.silent()) reader.message();
      clientCpu_s = cpu_s(CLOCK_THREAD_CPUTIME_ID);
    }
  });
  while (!link->sending.value) pool->turn();
  const cbuff block = noise();
  const auto others = [&] { return cpu_s(CLOCK_PROCESS_CPUTIME_ID) - cpu_s(CLOCK_THREAD_CPUTIME_ID) - clientCpu_s; };
  const double before = others();
  for (auto _ : state) {
    while (!link->takesSamples()) std::this_thread::yield();
    const double start = cpu_s(CLOCK_THREAD_CPUTIME_ID);
    benchmark::DoNotOptimize(link->demodulate(block).data);
    state.SetIterationTime(cpu_s(CLOCK_THREAD_CPUTIME_ID) - start);
  }
  state.counters["network_us_a_block"] = (others() - before) * 1e6 / static_cast<double>(state.iterations());
  report(state);
  stop = true;
}

} // namespace

BENCHMARK(withoutAClient);
BENCHMARK(withAClient)->UseManualTime()->MinTime(0.1);
