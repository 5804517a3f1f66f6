#include "audio/sidetone.h"
#include <cmath>
#include <gtest/gtest.h>
#include <numbers>
#include <vector>

using namespace larch;

namespace {

constexpr double pi = std::numbers::pi;

// The raised cosine from 0 to 1 over 255 samples.
double rise(int sample) { return sample >= 255 ? 1.0 : 0.5 - 0.5 * std::cos(sample * pi / 255); }

// The tone alone: `frames` frames on ground `level`, left channel.
std::vector<float> run(sidetone& tone, unsigned long frames, bool key, int frequency, float volume, float level = 0.25f) {
  std::vector<float> stereo(2 * frames, level), left;
  tone.apply(stereo.data(), frames, key, frequency, volume);
  for (unsigned long i = 0; i < frames; i++) {
    EXPECT_EQ(stereo[2 * i], stereo[2 * i + 1]);
    left.push_back(stereo[2 * i]);
  }
  return left;
}

double toneAt(int sample, int frequency) { return std::sin(2 * pi * frequency / 48000 * sample); }

} // namespace

TEST(sidetoneTest, keyUpLeavesTheAudioAlone) {
  sidetone tone;
  for (const float s : run(tone, 64, false, 650, 1.0f)) EXPECT_EQ(s, 0.25f);
}

TEST(sidetoneTest, levelRisesAlongARaisedCosineOver255Samples) {
  sidetone tone;
  const auto out = run(tone, 600, true, 650, 0.5f);
  for (int i = 0; i < 600; i++) ASSERT_NEAR(out[static_cast<size_t>(i)], 0.5 * 0.99 * rise(i) * toneAt(i, 650), 2e-4) << i;
}

TEST(sidetoneTest, levelFallsAlongTheMirroredCurveAndThenIsSilence) {
  sidetone tone;
  run(tone, 512, true, 650, 1.0f);
  const auto out = run(tone, 400, false, 650, 1.0f);
  for (int i = 0; i < 400; i++) {
    const double e = i < 255 ? 1 - rise(i) : 0;
    ASSERT_NEAR(out[static_cast<size_t>(i)], 0.99 * e * toneAt(512 + i, 650), 1e-3) << i;
  }
  for (const float s : run(tone, 64, false, 650, 1.0f)) EXPECT_EQ(s, 0.25f); // the receiver is back
}

TEST(sidetoneTest, shapingGoesOnInTheNextBlocks) {
  sidetone whole, pieces;
  const auto expected = run(whole, 1026, true, 700, 1.0f);
  std::vector<float> out;
  for (const unsigned long n : {1ul, 7ul, 0ul, 505ul, 513ul}) {
    const auto part = run(pieces, n, true, 700, 1.0f);
    out.insert(out.end(), part.begin(), part.end());
  }
  EXPECT_EQ(out, expected);
}

TEST(sidetoneTest, keyChangeRestartsTheShaping) {
  sidetone tone;
  run(tone, 100, true, 650, 1.0f);
  const auto out = run(tone, 1, false, 650, 1.0f);
  EXPECT_NEAR(out[0], 0.99 * toneAt(100, 650), 1e-4); // the release starts at full level, wherever the rise was
}

TEST(sidetoneTest, volumeZeroLeavesTheAudioAndThePhaseRuns) {
  sidetone tone;
  for (const float s : run(tone, 512, true, 650, 0.0f)) EXPECT_EQ(s, 0.25f);
  const auto out = run(tone, 8, true, 650, 1.0f);
  for (int i = 0; i < 8; i++) EXPECT_NEAR(out[static_cast<size_t>(i)], 0.99 * toneAt(512 + i, 650), 1e-3);
}

TEST(sidetoneTest, phaseStaysInOneTurnForHours) {
  sidetone tone;
  std::vector<float> stereo(2 * 48000);
  for (int second = 0; second < 60; second++) tone.apply(stereo.data(), 48000, true, 650, 1.0f);
  int crossings = 0;
  for (size_t i = 1; i < 48000; i++) crossings += stereo[2 * i - 2] < 0 && stereo[2 * i] >= 0;
  EXPECT_NEAR(crossings, 650, 1);
}
