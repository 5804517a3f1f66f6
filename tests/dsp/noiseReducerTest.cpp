#include "dsp/noiseReducer.h"
#include <atomic>
#include <bit>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <rnnoise.h>
#include <thread>
#include <vector>

namespace larch {
namespace {

constexpr uint64_t block = noiseReducer::blockLength, networkFrame = 480;
constexpr uint64_t queued = 448; // 480 less the greatest common divisor of 480 and 512
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

// Noise with a tone that comes and goes, 16-bit scale.
std::vector<float> sound(uint64_t blocks, unsigned seed) {
  std::mt19937 random(seed);
  std::normal_distribution<float> noise(0, 300);
  std::vector<float> x(blocks * block);
  for (uint64_t i = 0; i < x.size(); i++) {
    const double t = static_cast<double>(i) / 48000;
    x[i] = noise(random) + static_cast<float>(4000 * std::sin(2 * M_PI * 440 * t) * (std::sin(2 * M_PI * 3 * t) > 0));
  }
  return x;
}

std::vector<float> reduced(const std::vector<float>& in, float strength) {
  noiseReducer reducer;
  std::vector<float> out(in.size());
  for (uint64_t i = 0; i < in.size(); i += block) reducer.process(&out[i], &in[i], strength);
  return out;
}

// The network on its own frames, its output behind the queue's silence.
std::vector<float> networkAlone(const std::vector<float>& in) {
  std::vector<float> out(queued, 0.0f), frame(networkFrame);
  DenoiseState* state = rnnoise_create(nullptr);
  for (uint64_t i = 0; i + networkFrame <= in.size(); i += networkFrame) {
    rnnoise_process_frame(state, frame.data(), &in[i]);
    out.insert(out.end(), frame.begin(), frame.end());
  }
  rnnoise_destroy(state);
  out.resize(in.size());
  return out;
}

void expectSameBits(const std::vector<float>& a, const std::vector<float>& b) {
  ASSERT_EQ(a.size(), b.size());
  for (uint64_t i = 0; i < a.size(); i++) ASSERT_EQ(std::bit_cast<uint32_t>(a[i]), std::bit_cast<uint32_t>(b[i])) << i;
}

std::vector<float> delayed(const std::vector<float>& in) {
  std::vector<float> out(noiseReducer::delay(), 0.0f);
  out.insert(out.end(), in.begin(), in.end());
  out.resize(in.size());
  return out;
}

TEST(noiseReducerTest, strengthZeroIsTheDelayedInputToTheBit) {
  auto in = sound(20, 1);
  in[1000] = 1e30f;
  in[1001] = -0.0f;
  expectSameBits(reduced(in, 0.0f), delayed(in));
}

TEST(noiseReducerTest, fullStrengthIsTheNetworkAloneToTheBit) {
  const auto in = sound(40, 2);
  expectSameBits(reduced(in, 100.0f), networkAlone(in));
}

TEST(noiseReducerTest, strengthBetweenBlendsBoth) {
  const auto in = sound(40, 3);
  const auto wet = networkAlone(in), dry = delayed(in);
  for (float strength : {25.0f, 80.0f}) {
    const auto out = reduced(in, strength);
    for (uint64_t i = 0; i < in.size(); i++) {
      const double s = strength / 100.0, expected = s * wet[i] + (1 - s) * dry[i];
      ASSERT_NEAR(out[i], expected, 1e-6 * (std::fabs(wet[i]) + std::fabs(dry[i])) + 1e-9) << i;
    }
  }
}

// A pulse too faint for the network to judge comes through it unchanged in place, wherever it stands in a frame.
TEST(noiseReducerTest, delayIsTheSameForNetworkAndInputAtEveryPlace) {
  for (uint64_t at : {0, 1, 31, 447, 479, 480, 511, 512, 513, 1000, 4095}) {
    std::vector<float> in(16 * block, 0.0f);
    in[at] = 1.0f;
    for (float strength : {0.0f, 50.0f, 100.0f}) {
      const auto out = reduced(in, strength);
      uint64_t peak = 0;
      for (uint64_t i = 0; i < out.size(); i++)
        if (std::fabs(out[i]) > std::fabs(out[peak])) peak = i;
      ASSERT_EQ(peak, at + noiseReducer::delay()) << at << " " << strength;
    }
  }
}

TEST(noiseReducerTest, changesOfStrengthKeepBothRoadsRunning) {
  const auto in = sound(60, 4);
  const auto wet = networkAlone(in), dry = delayed(in);
  noiseReducer reducer;
  std::vector<float> out(block);
  for (uint64_t i = 0, k = 0; i < in.size(); i += block, k++) {
    reducer.process(out.data(), &in[i], k % 3 == 0 ? 100.0f : 0.0f);
    const auto& from = k % 3 == 0 ? wet : dry;
    expectSameBits(out, std::vector<float>(from.begin() + i, from.begin() + i + block));
  }
}

TEST(noiseReducerTest, worksInPlace) {
  const auto in = sound(20, 5);
  auto io = in;
  noiseReducer reducer;
  for (uint64_t i = 0; i < io.size(); i += block) reducer.process(&io[i], &io[i], 60.0f);
  expectSameBits(io, reduced(in, 60.0f));
}

TEST(noiseReducerTest, samplesBeyondAudioAreForgotten) {
  const float infinite = std::numeric_limits<float>::infinity();
  for (float bad : {notANumber, infinite, -infinite, 3e38f}) {
    auto in = sound(40, 7);
    for (int i = 0; i < 50; i++) in[3000 + 7 * i] = bad;
    const auto out = reduced(in, 100.0f);
    for (uint64_t i = 0; i < out.size(); i++) ASSERT_TRUE(std::isfinite(out[i])) << bad << " " << i;
  }
}

TEST(noiseReducerTest, strengthThatIsNoNumberIsNone) {
  const auto in = sound(10, 8);
  expectSameBits(reduced(in, notANumber), delayed(in));
  expectSameBits(reduced(in, std::numeric_limits<float>::infinity()), delayed(in));
}

TEST(noiseReducerTest, CONCURRENTseveralAreMadeAtOnce) {
  constexpr int threads = 4;
  const auto in = sound(8, 9);
  std::vector<std::vector<float>> out(threads);
  std::atomic<int> ready = 0;
  std::vector<std::thread> all;
  for (int t = 0; t < threads; t++)
    all.emplace_back([&, t] {
      ready++;
      while (ready < threads) std::this_thread::yield();
      out[t] = reduced(in, 100.0f);
    });
  for (auto& t : all) t.join();
  const auto expected = networkAlone(in);
  for (const auto& o : out) expectSameBits(o, expected);
}

} // namespace
} // namespace larch
