#include <cstdlib>
#include <random>
#include <string>
#include <gtest/gtest.h>
#include "sim/recordingSource.h"
#include "sim/sampledEnvelope.h"
#include "sim/sceneReceiver.h"
#include "sim/speechSource.h"
#include "sim/speechSynth.h"
#include "tests/sim/simHost.h"

using namespace larch::sim;
using larch::simtest::dB;
using larch::simtest::dftAt;
using larch::simtest::samples;

namespace {
std::vector<std::complex<float>> tone(double frequency_Hz, double rate_Hz, size_t count) {
  std::vector<std::complex<float>> z(count);
  for (size_t n = 0; n < count; ++n)
    z[n] = std::complex<float>(std::polar(1.0, 2 * M_PI * frequency_Hz * static_cast<double>(n) / rate_Hz));
  return z;
}

wavData stereo(const std::vector<std::complex<float>>& z, double rate_Hz) {
  wavData wav{rate_Hz, 2, {}};
  for (const auto& v : z) wav.samples.insert(wav.samples.end(), {v.real(), v.imag()});
  return wav;
}
} // namespace

TEST(sampledEnvelopeTest, givesTheSamplesThemselvesAtTheirInstantsAndRepeats) {
  std::mt19937 random(3);
  for (const size_t size : {1u, 7u, 20u, 511u, 513u}) {
    std::vector<std::complex<float>> z(size);
    for (auto& v : z) v = {static_cast<float>(random() % 1000) / 1000, static_cast<float>(random() % 1000) / 1000};
    const sampledEnvelope envelope(z, 8000);
    samples out(3 * size);
    for (const double start : {0.0, -5.0 * static_cast<double>(size), 1e6 * static_cast<double>(size)}) {
      envelope.read({start / 8000, 1 / 8000.0, out.size()}, out.data());
      for (size_t n = 0; n < out.size(); ++n)
        EXPECT_LT(std::abs(out[n] - std::complex<double>(z[n % size])), 1e-3) << size << " " << n;
    }
  }
}

TEST(sampledEnvelopeTest, interpolatesToneWithoutImages) {
  const sampledEnvelope envelope(tone(2000, 8000, 8000), 8000);
  samples out(38400);
  envelope.read({0.1, 1 / 192000.0, out.size()}, out.data());
  EXPECT_NEAR(dB(dftAt(out, 2000, 192000)), 0, 0.01);
  EXPECT_LT(dB(dftAt(out, 2000 - 8000, 192000)), -70);
  EXPECT_LT(dB(dftAt(out, 2000 + 8000, 192000)), -70);
}

TEST(sampledEnvelopeTest, allReadersGiveTheSameBits) {
  std::mt19937 random(4);
  std::vector<std::complex<float>> z(100);
  for (auto& v : z) v = {static_cast<float>(random() % 1000) / 1000, static_cast<float>(random() % 1000) / 1000};
  z.insert(z.end(), z.begin(), z.begin() + 16);
  for (const size_t count : {0u, 1u, 7u, 511u, 512u, 513u}) {
    samples first(count);
    envelopeReaders().front()(z.data(), 100, 3.7, 0.3137, count, first.data());
    for (size_t n = 1; n < count; ++n) EXPECT_NE(first[n], first[n - 1]);
    for (envelopeReader* read : envelopeReaders()) {
      samples out(count);
      read(z.data(), 100, 3.7, 0.3137, count, out.data());
      EXPECT_EQ(out, first) << count;
    }
  }
}

TEST(sampledEnvelopeTest, readsAcrossTheSeamWithoutAStep) {
  const sampledEnvelope envelope(tone(100, 8000, 800), 8000); // ten whole waves
  samples out(4800);
  envelope.read({0.05, 1 / 48000.0, out.size()}, out.data());
  for (size_t n = 0; n < out.size(); ++n)
    EXPECT_LT(std::abs(out[n] - std::polar(1.0, 2 * M_PI * 100 * (0.05 + static_cast<double>(n) / 48000))), 1e-3) << n;
}

TEST(recordingSourceTest, aReceiverOfItsRateGetsItsSamples) {
  auto scene = std::make_shared<bandScene>();
  const auto z = tone(12345, 96000, 9600);
  scene->add(std::make_shared<recordingSource>(7100000, 0, stereo(z, 96000)));
  sceneReceiver receiver(scene, 1);
  receiver.tune({7100000, 96000, 76800000});
  samples out(9600);
  receiver.render(0, 1, out.data(), out.size());
  for (size_t n = 0; n < out.size(); ++n) EXPECT_LT(std::abs(out[n] - std::conj(std::complex<double>(z[n]))), 1e-3);
}

TEST(recordingSourceTest, aSlowReceiverGetsItsPartWithoutFolding) {
  auto scene = std::make_shared<bandScene>();
  auto z = tone(50000, 384000, 38400);
  const auto other = tone(120000, 384000, 38400); // would fold to 50 kHz + 22 kHz at 48 kHz
  for (size_t n = 0; n < z.size(); ++n) z[n] = 0.25F * (z[n] + other[n]);
  scene->add(std::make_shared<recordingSource>(7000000, 0, stereo(z, 384000)));
  sceneReceiver receiver(scene, 1);
  receiver.tune({7045000, 48000, 76800000});
  samples out(9600);
  receiver.render(0.01, 1, out.data(), out.size());
  EXPECT_NEAR(dB(dftAt(out, -5000, 48000)), -12.04, 0.1);
  double power = 0;
  for (const auto& v : out) power += std::norm(v);
  EXPECT_NEAR(10 * std::log10(power / static_cast<double>(out.size())), -12.04, 0.1); // and nothing else
}

TEST(recordingSourceTest, aMirroredFileIsTurnedRound) {
  auto scene = std::make_shared<bandScene>();
  scene->add(std::make_shared<recordingSource>(7000000, 0, stereo(tone(5000, 48000, 4800), 48000), true));
  sceneReceiver receiver(scene, 1);
  receiver.tune({7000000, 48000, 76800000});
  samples out(4800);
  receiver.render(0, 1, out.data(), out.size());
  EXPECT_NEAR(dB(dftAt(out, 5000, 48000)), 0, 0.01); // below the centre: positive on the wire
  wavData mono{48000, 1, {0.0F}};
  EXPECT_THROW(recordingSource(7e6, 0, mono), std::runtime_error);
}

TEST(speechSourceTest, aToneComesOutOnItsSidebandAlone) {
  for (const sideband side : {sideband::upper, sideband::lower}) {
    wavData audio{16000, 1, {}};
    for (int n = 0; n < 32000; ++n)
      audio.samples.push_back(
          static_cast<float>(0.3 * std::sin(2 * M_PI * 1000 * n / 16000) + 0.3 * std::sin(2 * M_PI * 5000 * n / 16000)));
    auto scene = std::make_shared<bandScene>();
    scene->add(std::make_shared<speechSource>(7100000, -30, side, audio));
    sceneReceiver receiver(scene, 1);
    receiver.tune({7100000, 48000, 76800000});
    samples out(48000);
    receiver.render(0.5, 1, out.data(), out.size());
    const double above = side == sideband::upper ? 1000 : -1000;
    // scaled to its peak; the edges of the recording overshoot it a little
    EXPECT_NEAR(dB(dftAt(out, -above, 48000)), -30, 1.5);
    EXPECT_LT(dB(dftAt(out, above, 48000)), -100);
    EXPECT_LT(dB(dftAt(out, -5 * above, 48000)), -95);
    EXPECT_LT(dB(dftAt(out, 0, 48000)), -100);
  }
}

TEST(speechSourceTest, anOddZoneTurnsTheSidebandRound) {
  wavData audio{16000, 1, {}};
  for (int n = 0; n < 32000; ++n) audio.samples.push_back(static_cast<float>(std::sin(2 * M_PI * 1000 * n / 16000)));
  auto scene = std::make_shared<bandScene>();
  scene->add(std::make_shared<speechSource>(69700000, -30, sideband::upper, audio)); // 76.8 - 69.7 = 7.1
  sceneReceiver receiver(scene, 1);
  receiver.tune({7100000, 48000, 76800000});
  samples out(48000);
  receiver.render(0.5, 1, out.data(), out.size());
  EXPECT_NEAR(dB(dftAt(out, 1000, 48000)), -30, 1.5); // the tone lies at 7.099 MHz: positive on the wire
  EXPECT_LT(dB(dftAt(out, -1000, 48000)), -100);
}

TEST(speechSourceTest, pausesAndRepeats) {
  wavData audio{8000, 1, std::vector<float>(8000)};
  for (size_t n = 0; n < 8000; ++n)
    audio.samples[n] = static_cast<float>(std::sin(2 * M_PI * 1000 * static_cast<double>(n) / 8000));
  const speechSource source(7e6, 0, sideband::upper, audio, 1);
  EXPECT_NEAR(source.period_s(), 2, 1e-9);
  samples out(100);
  const auto level = [&](double t) {
    source.envelope({t, 1e-3 / 8, out.size()}, {}, out.data());
    double power = 0;
    for (const auto& v : out) power += std::norm(v);
    return power;
  };
  EXPECT_GT(level(0.5), 10);
  EXPECT_LT(level(1.5), 1e-6);
  EXPECT_GT(level(2.5), 10);
}

TEST(speechSynthTest, theBuiltInVoiceSoundsLikeSpeech) {
  const wavData voice = syntheticSpeech(5, 3);
  ASSERT_EQ(voice.samples.size(), 80000u);
  EXPECT_EQ(voice.channels, 1);
  float peak = 0;
  size_t quiet = 0;
  for (size_t block = 0; block < 250; ++block) {
    double power = 0;
    for (size_t n = 0; n < 320; ++n) {
      const float v = voice.samples[block * 320 + n];
      peak = std::max(peak, std::fabs(v));
      power += v * v;
    }
    quiet += power / 320 < 1e-5 ? 1 : 0;
  }
  EXPECT_FLOAT_EQ(peak, 0.8F);
  EXPECT_GT(quiet, 10u); // pauses between words
  EXPECT_LT(quiet, 200u);
  EXPECT_EQ(syntheticSpeech(5, 3).samples, voice.samples);
  EXPECT_NE(syntheticSpeech(5, 4).samples, voice.samples);
}

TEST(speechSynthTest, thereIsAlwaysAVoice) {
  EXPECT_GT(speech("one two three").frames(), 4000u);
  const std::string path = getenv("PATH") == nullptr ? "" : getenv("PATH");
  setenv("PATH", "/nonexistent", 1);
  EXPECT_FALSE(espeakSpeech("one").has_value());
  EXPECT_GT(speech("one two three").frames(), 4000u);
  setenv("PATH", path.c_str(), 1);
}
