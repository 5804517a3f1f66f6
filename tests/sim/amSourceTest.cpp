#include "sim/amSource.h"
#include <gtest/gtest.h>
#include "sim/sceneReceiver.h"
#include "tests/sim/programmeTesting.h"

using namespace larch::sim;
using namespace larch::simtest;

TEST(amSourceTest, aToneHasTwoSidebandsAndTheCarrierItsLevel) {
  // 2000 waves of 1 kHz, no pause: the middle is steady
  for (const double depth : {0.3, 1.0}) {
    const amSource source(7.21e6, -30, toneAudio({{1000, 0.2}}, 16000, 2), depth, 0);
    samples z(48000);
    ASSERT_EQ(source.envelope({0.5, 1 / 48000.0, z.size()}, {}, z.data()), envelopeShape::varying);
    EXPECT_NEAR(dB(dftAt(z, 0, 48000)), 0, 0.001);
    for (const double f : {-1000.0, 1000.0}) EXPECT_NEAR(dB(dftAt(z, f, 48000)), 20 * std::log10(depth / 2), 0.1) << f;
    for (const double f : {-3000.0, -2000.0, 500.0, 2000.0, 3000.0}) EXPECT_LT(dB(dftAt(z, f, 48000)), -90) << f;
    for (const auto& v : z) ASSERT_EQ(v.imag(), 0);
  }
}

TEST(amSourceTest, anEnvelopeDetectorHearsTheAudio) {
  auto scene = std::make_shared<bandScene>();
  scene->add(std::make_shared<amSource>(7.21e6, -40, toneAudio({{400, 0.2}, {3000, 0.1}}, 22050, 3), 0.6, 0));
  sceneReceiver receiver(scene, 1);
  receiver.tune({7.2e6, 48000, 76800000});
  samples z(48000), audio;
  receiver.render(1, 1, z.data(), z.size());
  for (const auto& v : z) audio.emplace_back(std::abs(v) / 0.01 - 1);
  const double low = 2 * std::abs(dftAt(audio, 400, 48000)), high = 2 * std::abs(dftAt(audio, 3000, 48000));
  EXPECT_NEAR(low, 0.4, 0.01); // two thirds of the depth
  EXPECT_NEAR(high, 0.2, 0.01);
  EXPECT_NEAR(std::abs(dftAt(audio, 0, 48000)), 0, 0.001);
}

TEST(amSourceTest, audioEndsAt4500Hz) {
  const amSource source(7.21e6, -30, toneAudio({{1000, 0.2}, {4300, 0.2}, {4800, 0.2}, {7000, 0.2}}, 48000, 2), 0.8, 0);
  samples z(48000);
  source.envelope({0.5, 1 / 48000.0, z.size()}, {}, z.data());
  EXPECT_NEAR(dB(dftAt(z, 4300, 48000)) - dB(dftAt(z, 1000, 48000)), 0, 0.1);
  EXPECT_LT(dB(dftAt(z, 4800, 48000)), -80);
  EXPECT_LT(dB(dftAt(z, 7000, 48000)), -80);
  EXPECT_EQ(source.occupied().low_Hz, -4600);
  EXPECT_EQ(source.occupied().high_Hz, 4600);
}

TEST(amSourceTest, theCarrierGoesOnInThePause) {
  const amSource source(7.21e6, -30, toneAudio({{1000, 0.2}}, 16000, 1), 0.8, 1);
  samples z(100);
  source.envelope({1.5, 1e-4, z.size()}, {}, z.data());
  for (const auto& v : z) EXPECT_NEAR(std::abs(v - 1.0), 0, 1e-9);
}

TEST(amSourceTest, theEnvelopesPeakIsTheDepth) {
  const amSource source(7.21e6, -30, toneAudio({{500, 0.2}, {777, 0.1}}, 16000, 1), 0.8, 1);
  samples z(32000);
  source.envelope({0, 1 / 16000.0, z.size()}, {}, z.data()); // the programme's own samples
  double farthest = 0;
  for (const auto& v : z) farthest = std::max(farthest, std::abs(v - 1.0));
  EXPECT_NEAR(farthest, 0.8, 1e-3);
}
