#include <gtest/gtest.h>
#include "sim/morseSource.h"
#include "sim/sceneReceiver.h"
#include "tests/sim/simHost.h"

using namespace larch::sim;
using larch::simtest::dB;
using larch::simtest::dftAt;
using larch::simtest::samples;

namespace {
samples render(const std::shared_ptr<bandScene>& scene, const receiverTuning& tuning, size_t count, double start_s = 0) {
  sceneReceiver receiver(scene, 1);
  receiver.tune(tuning);
  samples z(count);
  receiver.render(start_s, 1, z.data(), count);
  return z;
}
} // namespace

TEST(sceneReceiverTest, carriersFollowTheFormula) {
  auto scene = std::make_shared<bandScene>();
  scene->addCarrier(7101234, -20, 0.5);
  for (const size_t count : {0u, 1u, 7u, 511u, 512u, 513u}) {
    constexpr double start = 12.25;
    const samples z = render(scene, {7100000, 192000, 76800000}, count, start);
    for (size_t n = 0; n < count; ++n) {
      const double t = start + static_cast<double>(n) / 192000;
      const auto wanted = 0.1 * std::polar(1.0, -2 * M_PI * 1234 * t - 0.5); // the conjugate of the analytic signal
      EXPECT_LT(std::abs(z[n] - wanted), 1e-10) << n;
    }
  }
}

TEST(sceneReceiverTest, blocksJoinWithoutASeam) {
  auto scene = std::make_shared<bandScene>();
  scene->addCarrier(7101234.5, -20);
  scene->add(std::make_shared<morseSource>(7099000, -10, morseSource::sending{"E", 30, 0, 0.1, 5}));
  const receiverTuning tuning{7100000, 48000, 76800000};
  const samples whole = render(scene, tuning, 20000);
  sceneReceiver receiver(scene, 1);
  receiver.tune(tuning);
  samples parts(20000);
  for (size_t at = 0; at < parts.size(); at += 625) receiver.render(static_cast<double>(at) / 48000, 1, parts.data() + at, 625);
  for (size_t n = 0; n < whole.size(); ++n) ASSERT_LT(std::abs(whole[n] - parts[n]), 1e-9) << n;
}

TEST(sceneReceiverTest, hearsNothingBeyondHalfItsRate) {
  auto scene = std::make_shared<bandScene>();
  const receiverTuning tuning{7100000, 48000, 76800000};
  for (const double offset : {-24001.0, 24001.0, 100000.0, 76800000.0 * 3 + 30000}) {
    scene->clear();
    scene->addCarrier(7100000 + offset, 0);
    for (const auto& v : render(scene, tuning, 64)) EXPECT_EQ(std::abs(v), 0) << offset;
  }
  scene->clear();
  scene->addCarrier(7100000 + 23990, 0);
  EXPECT_NEAR(std::abs(render(scene, tuning, 64)[10]), 1, 1e-9);
}

TEST(sceneReceiverTest, hearsTheMirrorAcrossZeroAndHalfTheClock) {
  auto scene = std::make_shared<bandScene>();
  scene->addCarrier(5000, -20);
  samples z = render(scene, {10000, 48000, 76800000}, 4800);
  EXPECT_NEAR(dB(dftAt(z, 5000, 48000)), -20, 0.01);  // 5 kHz below the centre
  EXPECT_NEAR(dB(dftAt(z, 15000, 48000)), -20, 0.01); // its mirror at -5 kHz
  scene->clear();
  scene->addCarrier(38395000, -20);
  z = render(scene, {38390000, 48000, 76800000}, 4800);
  EXPECT_NEAR(dB(dftAt(z, -5000, 48000)), -20, 0.01);
  EXPECT_NEAR(dB(dftAt(z, -15000, 48000)), -20, 0.01); // at 38.405 MHz
}

TEST(sceneReceiverTest, hearsSignalsThatComeAndGo) {
  auto scene = std::make_shared<bandScene>();
  sceneReceiver receiver(scene, 1);
  receiver.tune({7100000, 48000, 76800000});
  samples z(16);
  receiver.render(0, 1, z.data(), z.size());
  EXPECT_EQ(std::abs(z[0]), 0);
  const auto carrier = scene->addCarrier(7100000, -20);
  receiver.render(0, 1, z.data(), z.size());
  EXPECT_NEAR(std::abs(z[0]), 0.1, 1e-12);
  scene->remove(carrier);
  receiver.render(0, 1, z.data(), z.size());
  EXPECT_EQ(std::abs(z[0]), 0);
}

TEST(sceneReceiverTest, rotatingSumsEqualThePlainLoop) {
  const std::complex<double> start(0.3, -0.4), step = std::polar(1.0, 1.234);
  for (const size_t count : {0u, 1u, 7u, 511u, 512u, 513u})
    for (const bool conjugate : {false, true}) {
      samples envelope(count), fast(count, 1), plainEnvelope(count, 1), plain(count, 1), carrier(count, 1);
      for (size_t n = 0; n < count; ++n) envelope[n] = std::polar(1.0 / static_cast<double>(n + 1), 0.1 * static_cast<double>(n));
      addRotating(fast.data(), count, start, step, envelope.data(), conjugate);
      addRotating(carrier.data(), count, start, step);
      for (size_t n = 0; n < count; ++n) {
        const auto turned = start * std::polar(1.0, 1.234 * static_cast<double>(n));
        plain[n] += turned;
        plainEnvelope[n] += turned * (conjugate ? std::conj(envelope[n]) : envelope[n]);
        EXPECT_LT(std::abs(carrier[n] - plain[n]), 1e-11);
        EXPECT_LT(std::abs(fast[n] - plainEnvelope[n]), 1e-11);
      }
    }
}

TEST(bandSceneTest, converterSamplesFollowTheFormula) {
  bandScene scene;
  scene.addCarrier(60000000, -6, 0.25);
  randomSource random;
  std::vector<double> x(2048);
  scene.renderConverter(0.5, 76800000, 2, x.data(), x.size(), random);
  for (size_t n = 0; n < x.size(); ++n) {
    const double cycles = 60000000 * 0.5 + 60000000.0 / 76800000.0 * static_cast<double>(n);
    EXPECT_NEAR(x[n], 2 * std::pow(10, -0.3) * std::cos(2 * M_PI * std::fmod(cycles, 1.0) + 0.25), 1e-8);
  }
}

TEST(bandSceneTest, converterNoiseHasTheDensityOfTheReceivers) {
  bandScene scene;
  scene.setNoise(-100);
  randomSource random;
  std::vector<double> x(200000);
  scene.renderConverter(0, 76800000, 1, x.data(), x.size(), random);
  double power = 0;
  for (const double v : x) power += v * v;
  // against the power of a full-scale sine, which is 1/2, in half the clock
  const double density = 10 * std::log10(power / static_cast<double>(x.size()) / 0.5 / 38400000);
  EXPECT_NEAR(density, -100, 0.05);
}
