#include "dsp/audioInterpolator.h"
#include <atomic>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <thread>
#include <vector>

namespace larch {
namespace {

const double notANumber = std::numeric_limits<double>::quiet_NaN(), infinite = std::numeric_limits<double>::infinity();

float streamAt(uint64_t i) { return std::sin(0.01f * static_cast<float>(i)) + 0.3f * std::cos(0.7f * static_cast<float>(i)); }

// The stream's value between samples: output m stands at m / ratio.
double between(double position) {
  const double whole = std::floor(position);
  const auto i = static_cast<uint64_t>(whole);
  return (1 - (position - whole)) * streamAt(i) + (position - whole) * streamAt(i + 1);
}

TEST(interpolateToStereoRingTest, blocksOfEveryLengthJoinToOneStream) {
  constexpr uint64_t ringFrames = 1024;
  for (double ratio : {1.0, 0.997, 1.003, 0.4, 1.9})
    for (const auto& lengths : {std::vector<uint64_t>{512}, {1}, {7}, {0, 1, 7, 511, 512, 513}}) {
      const buff<float> ring(2 * ringFrames, 0.0f);
      interpolatorState state;
      uint64_t sent = 0, frame = 1000, total = 0;
      for (int block = 0; block < 60; block++) {
        const buff<float> audio(lengths[block % lengths.size()]);
        for (uint64_t i = 0; i < audio.count; i++) audio.data[i] = streamAt(sent + i);
        sent += audio.count;
        const uint64_t written = interpolateToStereoRing(state, audio, ring, frame, ratio);
        for (uint64_t k = 0; k < written; k++, total++) {
          const float* f = ring.data + 2 * ((frame + k) % ringFrames);
          ASSERT_EQ(f[0], f[1]);
          ASSERT_NEAR(f[0], between(static_cast<double>(total) / ratio), 1e-5) << ratio << " block " << block << " " << k;
        }
        frame = (frame + written) % ringFrames;
      }
      // as many as there are places before the last sample
      EXPECT_NEAR(static_cast<double>(total), static_cast<double>(sent - 1) * ratio, 1.0);
    }
}

TEST(interpolateToStereoRingTest, ratioOneIsTheInputOneSampleLateAcrossBlocks) {
  const buff<float> ring(64, -9.0f), audio(8);
  for (int i = 0; i < 8; i++) audio.data[i] = static_cast<float>(i + 1);
  interpolatorState state;
  EXPECT_EQ(interpolateToStereoRing(state, audio, ring, 0, 1.0), 7u);
  EXPECT_EQ(state.position, -1.0);
  EXPECT_EQ(state.lastSample, 8.0);
  EXPECT_EQ(interpolateToStereoRing(state, audio, ring, 7, 1.0), 8u);
  EXPECT_EQ(ring.data[14], 8.0f) << "the last block's end";
  EXPECT_EQ(ring.data[16], 1.0f);
  EXPECT_EQ(ring.data[28], 7.0f);
  EXPECT_EQ(ring.data[30], -9.0f) << "not written";
}

TEST(interpolateToStereoRingTest, wrapsAtTheEndOfTheRing) {
  const buff<float> ring(2 * 16, 0.0f), audio(9);
  for (int i = 0; i < 9; i++) audio.data[i] = static_cast<float>(i + 1);
  interpolatorState state;
  EXPECT_EQ(interpolateToStereoRing(state, audio, ring, 13, 1.0), 8u);
  const float expected[16] = {4, 5, 6, 7, 8, 0, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3};
  for (int i = 0; i < 16; i++) {
    EXPECT_EQ(ring.data[2 * i], expected[i]) << i;
    EXPECT_EQ(ring.data[2 * i + 1], expected[i]) << i;
  }
}

TEST(interpolateToStereoRingTest, ratioWithoutAStepForwardWritesNothing) {
  const buff<float> ring(32, 5.0f), audio(16, 1.0f);
  for (double ratio : {notANumber, 0.0, -0.0, -1.0, infinite, -infinite, 1e-320}) {
    interpolatorState state{-0.5, 3.0};
    EXPECT_EQ(interpolateToStereoRing(state, audio, ring, 0, ratio), 0u) << ratio;
    EXPECT_EQ(state.position, -0.5);
    EXPECT_EQ(state.lastSample, 3.0);
  }
  for (int i = 0; i < 32; i++) EXPECT_EQ(ring.data[i], 5.0f);
}

TEST(interpolateToStereoRingTest, neverWritesMoreThanARing) {
  const buff<float> ring(32, 0.0f), audio(512, 1.0f);
  for (double ratio : {1.0, 3.0, 1e6, 1e300}) {
    interpolatorState state;
    EXPECT_EQ(interpolateToStereoRing(state, audio, ring, 5, ratio), 16u) << ratio;
    EXPECT_EQ(interpolateToStereoRing(state, audio, ring, 5, ratio), 16u) << ratio;
  }
  interpolatorState state;
  EXPECT_EQ(interpolateToStereoRing(state, audio, buff<float>(), 0, 1.0), 0u);
  EXPECT_EQ(interpolateToStereoRing(state, audio, ring, 1000, 0.01), 6u) << "a frame beyond the ring is brought in";
}

TEST(interpolateToStereoRingTest, anyStateStaysWithinTheBlock) {
  const buff<float> ring(64, 0.0f), audio(7, 1.0f); // 4 bytes of poisoned slack behind audio in sanitizer builds
  for (double position : {notANumber, infinite, -infinite, 1e300, -1e300, -1.5, 6.0, 5.999999999, -1e-300}) {
    interpolatorState state{position, 1.0};
    interpolateToStereoRing(state, audio, ring, 0, 1.003);
    for (int i = 0; i < 64; i++) ASSERT_TRUE(ring.data[i] == 0.0f || std::fabs(ring.data[i] - 1.0f) < 1e-6f) << position;
  }
}

// A callback that takes frames while they are written sees both halves of one store.
TEST(interpolateToStereoRingTest, CONCURRENTframesAreNeverTorn) {
  constexpr uint64_t frames = 64;
  const buff<float> ring(2 * frames, 0.0f);
  std::atomic<bool> stop = false;
  std::atomic<uint64_t> taken = 0;
  uint64_t torn = 0;
  std::thread callback([&] {
    using word [[gnu::may_alias]] = uint64_t;
    for (uint64_t f = 0; !stop; f = (f + 1) % frames) {
      const uint64_t both = __atomic_exchange_n(reinterpret_cast<word*>(ring.data) + f, 0, __ATOMIC_RELAXED);
      torn += both >> 32 != (both & UINT32_MAX);
      taken += both != 0;
    }
  });
  const buff<float> audio(32);
  for (int i = 0; i < 32; i++) audio.data[i] = static_cast<float>(i + 1);
  interpolatorState state;
  for (uint64_t at = 0; taken < 5000;) at += interpolateToStereoRing(state, audio, ring, at, 1.001);
  stop = true;
  callback.join();
  EXPECT_EQ(torn, 0u);
}

TEST(interpolateFromRingTest, readsBetweenNeighboursAndWraps) {
  constexpr uint64_t length = 16;
  const buff<float> ring(length);
  for (uint64_t i = 0; i < length; i++) ring.data[i] = static_cast<float>(i * i);
  auto value = [](double p) { // from the values' formula
    const double i = std::floor(p), a = i * i, b = i == 15 ? 0.0 : (i + 1) * (i + 1);
    return a + (p - i) * (b - a);
  };
  for (uint64_t n : {0, 1, 7, 511, 512, 513})
    for (double ratio : {1.0, 48000.0 / 44100, 0.25, 0.01, 3.0, -1.5})
      for (double start : {0.0, 3.25, 15.5, 16.0, -1.0, -0.25, -40.5, 1000.75}) {
        const buff<float> out(n);
        double position = start;
        interpolateFromRing(position, ring, out, ratio);
        for (uint64_t k = 0; k <= n; k++) {
          double p = std::fmod(start + static_cast<double>(k) / ratio, length);
          if (p < 0) p += length;
          if (k == n) {
            const double apart = std::fabs(position - p);
            ASSERT_LT(std::min(apart, length - apart), 1e-8) << "position behind the last step";
          } else if (p > 1e-6 && p < length - 1e-6) { // at the seam a hair decides between 225 and 0
            ASSERT_NEAR(out.data[k], value(p), 1e-3) << n << " " << ratio << " " << start << " " << k;
          }
        }
        ASSERT_GE(position, 0.0);
        ASSERT_LT(position, 16.0);
      }
}

TEST(interpolateFromRingTest, hairBelowZeroIsTheStart) {
  const buff<float> ring(16, 2.0f), out(4);
  double position = -1e-18; // plus 16 rounds to 16
  interpolateFromRing(position, ring, out, 1.0);
  for (int i = 0; i < 4; i++) EXPECT_EQ(out.data[i], 2.0f);
  EXPECT_EQ(position, 4.0);
}

TEST(interpolateFromRingTest, noPositionOrNoStepIsSilence) {
  const buff<float> ring(16, 2.0f);
  for (auto [start, ratio] : {std::pair{notANumber, 1.0}, {infinite, 1.0}, {3.0, 0.0}, {3.0, notANumber}, {3.0, 1e-320}}) {
    const buff<float> out(7, 9.0f);
    double position = start;
    interpolateFromRing(position, ring, out, ratio);
    for (int i = 0; i < 7; i++) EXPECT_EQ(out.data[i], 0.0f) << start << " " << ratio;
    EXPECT_TRUE(position == start || std::isnan(start));
  }
  const buff<float> out(7, 9.0f);
  double position = 3.0;
  interpolateFromRing(position, buff<float>(), out, 1.0);
  EXPECT_EQ(out.data[6], 0.0f);
}

TEST(interpolateFromRingTest, hugeStepsAndPositionsStayInTheRing) {
  const buff<float> ring(7, 2.0f); // slack behind it is poisoned in sanitizer builds
  for (auto [start, ratio] : {std::pair{1e300, 1.0}, {-1e300, 1.0}, {0.0, 1e-300}, {0.0, -1e-300}, {6.9999999, infinite}}) {
    const buff<float> out(100);
    double position = start;
    interpolateFromRing(position, ring, out, ratio);
    for (int i = 0; i < 100; i++) ASSERT_EQ(out.data[i], 2.0f) << start << " " << ratio;
  }
}

} // namespace
} // namespace larch
