#include "sim/fmSource.h"
#include <gtest/gtest.h>
#include "sim/sceneReceiver.h"
#include "tests/sim/programmeTesting.h"

using namespace larch::sim;
using namespace larch::simtest;

namespace {
fmSource::sending sending(double deviation_Hz, double ctcss_Hz, double tone_Hz) {
  fmSource::sending what;
  what.deviation_Hz = deviation_Hz;
  what.ctcss_Hz = ctcss_Hz;
  what.testTone_Hz = tone_Hz;
  what.pause_s = 0;
  return what;
}

// positive frequencies above the receiver's centre
samples heard(std::shared_ptr<const signalSource> source, double centre_Hz, double rate_Hz, size_t count, double start_s = 0) {
  auto scene = std::make_shared<bandScene>();
  scene->add(std::move(source));
  sceneReceiver receiver(scene, 1);
  receiver.tune({centre_Hz, rate_Hz, 76800000});
  samples z(count);
  receiver.render(start_s, 1, z.data(), z.size());
  for (auto& v : z) v = std::conj(v);
  return z;
}

double amplitudeAt(const samples& z, double f, double rate_Hz) { return 2 * std::abs(dftAt(z, f, rate_Hz)); }
} // namespace

TEST(fmSourceTest, theLinesOfAToneAreBesselFunctions) {
  // deviation twice the tone: J0(2), J1(2), J2(2), J3(2) of the tables
  const auto z = heard(std::make_shared<fmSource>(29.6e6, -20, sending(2000, 0, 1000)), 29.6e6, 48000, 48000, 7.125);
  const double lines[] = {0.22389, 0.57672, 0.35283, 0.12894};
  for (int k = -3; k <= 3; ++k) EXPECT_NEAR(std::abs(dftAt(z, 1000.0 * k, 48000)), 0.1 * lines[std::abs(k)], 2e-6) << k;
  for (const auto& v : z) ASSERT_NEAR(std::abs(v), 0.1, 1e-9);
}

TEST(fmSourceTest, aDiscriminatorHearsAudioAndToneAtTheirShares) {
  fmSource::sending what = sending(2500, 88.5, 0);
  what.audio.emphasis_s = 0;
  const auto source = std::make_shared<fmSource>(29.6e6, -20, what, toneAudio({{500, 0.1}, {2000, 0.1}}, 16000, 4));
  const auto f = discriminate(heard(source, 29.61e6, 48000, 96000, 1), 48000);
  const double audio = 0.85 * 2500 / 1.9282;                                     // the peak of sin(x) + sin(4x)
  const double averaged = std::sin(M_PI * 2000 / 48000) / (M_PI * 2000 / 48000); // over a sample
  EXPECT_NEAR(amplitudeAt(f, 500, 48000), audio, 1e-3 * audio);
  EXPECT_NEAR(amplitudeAt(f, 2000, 48000), audio * averaged, 1e-3 * audio);
  EXPECT_NEAR(amplitudeAt(f, 88.5, 48000), 0.15 * 2500, 1);
  EXPECT_NEAR(dftAt(f, 0, 48000).real(), -10000, 1); // below the receiver's centre
}

TEST(fmSourceTest, emphasisRaisesByTheRatioOfTheTimeConstant) {
  fmSource::sending what = sending(2500, 0, 0);
  const auto ratio = [&] {
    const auto source = std::make_shared<fmSource>(29.6e6, -20, what, toneAudio({{500, 0.1}, {2000, 0.1}}, 16000, 4));
    const auto f = discriminate(heard(source, 29.6e6, 48000, 96000, 1), 48000);
    return amplitudeAt(f, 2000, 48000) / amplitudeAt(f, 500, 48000);
  };
  const double w = 2 * M_PI * 750e-6;
  EXPECT_NEAR(ratio(), std::sqrt((1 + w * w * 4e6) / (1 + w * w * 25e4)), 0.03); // 3.7
  what.audio.emphasis_s = 0;
  EXPECT_NEAR(ratio(), 1, 0.01);
}

TEST(fmSourceTest, theDeviationIsExactAndThePhaseWithoutAStep) {
  for (const double deviation : {2500.0, 75000.0}) {
    fmSource::sending what = sending(deviation, 0, 0);
    what.audio = deviation > 12000 ? fmSource::wideAudio : fmSource::narrowAudio;
    what.pause_s = 0.2;
    const fmSource source(29e6, 0, what, toneAudio({{400, 0.1}, {1100, 0.2}, {2700, 0.05}}, 16000, 0.7));
    samples z(1920000);
    ASSERT_EQ(source.envelope({0, 1e-6, z.size()}, source.occupied(), z.data()), envelopeShape::varying); // two rounds
    double peak = 0, sum = 0;
    const samples f = discriminate(z, 1e6);
    for (const auto& v : f) {
      peak = std::max(peak, std::fabs(v.real()));
      sum += v.real();
    }
    EXPECT_NEAR(peak, deviation, 0.002 * deviation);
    EXPECT_NEAR(sum / static_cast<double>(f.size()), 0, 1);
    for (size_t n = 1; n < f.size(); ++n) // the audio's slope is limited
      ASSERT_LT(std::abs(f[n] - f[n - 1]), 2 * M_PI * 3000 * 1e-6 * deviation) << n;
  }
}

TEST(fmSourceTest, aReceiverOf384kHzGetsAWideStationWhole) {
  fmSource::sending what = sending(75000, 0, 0);
  what.audio = fmSource::wideAudio;
  what.audio.emphasis_s = 0;
  const auto source = std::make_shared<fmSource>(29e6, -20, what, toneAudio({{400, 0.2}, {6000, 0.1}}, 24000, 2));
  EXPECT_EQ(source->occupied().high_Hz, 105000);
  const auto z = heard(source, 29e6, 384000, 192000, 0.5);
  for (const auto& v : z) ASSERT_NEAR(std::abs(v), 0.1, 1e-9);
  const auto f = discriminate(z, 384000);
  constexpr double peak = 0.29566; // of 0.2 sin(x) + 0.1 sin(15x)
  EXPECT_NEAR(amplitudeAt(f, 400, 384000), 75000 * 0.2 / peak, 100);
  EXPECT_NEAR(amplitudeAt(f, 6000, 384000), 75000 * 0.1 / peak, 50);
  for (const double other : {800.0, 1200.0, 5600.0, 6400.0, 12000.0, 18000.0})
    EXPECT_LT(amplitudeAt(f, other, 384000), 75000 * 1e-3) << other; // -60 dB
}

TEST(fmSourceTest, aNarrowerReceiverGetsItsSlice) {
  // lines every 5 kHz, deviation 75 kHz: J of 15
  const auto source = std::make_shared<fmSource>(29e6, 0, sending(75000, 0, 5000));
  const auto wide = heard(source, 29e6, 384000, 38400, 0.25);
  for (const double centre : {29e6, 29.03e6, 28.95e6}) {
    const auto z = heard(source, centre, 48000, 9600, 0.25);
    for (int k = -3; k <= 3; ++k) { // within the flat part
      const double f = 5000.0 * k;
      const auto got = dftAt(z, f, 48000), wanted = dftAt(wide, centre - 29e6 + f, 384000);
      EXPECT_LT(std::abs(std::abs(got) - std::abs(wanted)), 1e-3) << centre << " " << k;
    }
    double power = 0, lines = 0; // nothing folds: all power lies on the lines that are in view
    for (const auto& v : z) power += std::norm(v) / static_cast<double>(z.size());
    for (int k = -4; k <= 4; ++k) lines += std::norm(dftAt(z, 5000.0 * k, 48000));
    EXPECT_NEAR(lines / power, 1, 0.003) << centre;
  }
}

TEST(fmSourceTest, sliversAreSilentAndBlocksJoin) {
  const auto source = std::make_shared<fmSource>(29e6, 0, sending(75000, 100, 5000));
  std::complex<double> v[4];
  const double edge = source->occupied().high_Hz;
  EXPECT_EQ(source->envelope({0, 1e-5, 4}, {edge - 3900, edge + 40000}, v), envelopeShape::silent);
  EXPECT_EQ(source->envelope({0, 1e-5, 4}, {edge - 4100, edge + 40000}, v), envelopeShape::varying);
  samples whole(5000), parts(5000);
  const heardBand slice{-30000, 18000};
  source->envelope({3, 1 / 48000.0, whole.size()}, slice, whole.data());
  for (size_t at = 0; at < parts.size(); at += 625)
    source->envelope({3 + static_cast<double>(at) / 48000, 1 / 48000.0, 625}, slice, parts.data() + at);
  for (size_t n = 0; n < whole.size(); ++n) ASSERT_LT(std::abs(whole[n] - parts[n]), 1e-6) << n;
}

TEST(fmSourceTest, withoutAudioThereIsTheCarrierAndItsTone) {
  const auto plain = heard(std::make_shared<fmSource>(29.6e6, -20, sending(2500, 0, 0)), 29.6e6, 48000, 480);
  for (const auto& v : plain) ASSERT_NEAR(std::abs(v - 0.1), 0, 1e-9);
  const auto tone = heard(std::make_shared<fmSource>(29.6e6, -20, sending(2500, 88.5, 0)), 29.6e6, 48000, 48000);
  EXPECT_NEAR(amplitudeAt(discriminate(tone, 48000), 88.5, 48000), 375, 0.5);
}
