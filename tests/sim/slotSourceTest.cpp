#include "sim/slotSource.h"
#include <gtest/gtest.h>
#include <cstring>
#include "sim/sceneReceiver.h"
#include "tests/sim/programmeTesting.h"

using namespace larch::sim;
using namespace larch::simtest;

namespace {
constexpr double fileRate = 12000;

wavData sines(const std::vector<std::pair<double, double>>& tones, double seconds) { return toneAudio(tones, fileRate, seconds); }

// What a receiver at 48 kHz hears of the source, from start_s on.
samples hear(const signalSource& source, double start_s, size_t count, double utcAtZero_s = 0) {
  samples z(count, std::complex<double>(7, 7));
  if (source.envelope({start_s, 1 / 48000.0, count, utcAtZero_s}, {}, z.data()) == envelopeShape::silent)
    std::fill(z.begin(), z.end(), 0.0);
  return z;
}

double power(const samples& z) {
  double sum = 0;
  for (const auto& v : z) sum += std::norm(v);
  return sum / static_cast<double>(z.size());
}

std::vector<uint8_t> c2File(const std::vector<float>& values) {
  std::vector<uint8_t> file(26 + 4 * values.size());
  std::memcpy(&file[26], values.data(), 4 * values.size());
  return file;
}
} // namespace

TEST(slotSourceTest, audioLiesOnTheUpperSidebandAtItsLevel) {
  const slotSource source(14.074e6, -40, slotFromWav(sines({{200, 0.1}, {1500, 0.2}, {5700, 0.05}}, 2), 15), 15);
  EXPECT_EQ(source.frequency_Hz() + source.occupied().low_Hz, 14.074e6);
  EXPECT_EQ(source.frequency_Hz() + source.occupied().high_Hz, 14.080e6);
  const samples z = hear(source, 0.5, 48000);
  const double middle = source.frequency_Hz() - 14.074e6;
  for (const auto& [f, amplitude] : {std::pair{200.0, 0.1}, {1500.0, 0.2}, {5700.0, 0.05}}) {
    EXPECT_NEAR(dB(dftAt(z, f - middle, 48000)), 20 * std::log10(amplitude), 0.02) << f;
    EXPECT_LT(dB(dftAt(z, -f - middle, 48000)), -90) << f; // the lower sideband
  }
  // nothing of the interpolation beside it
  for (const double f : {-5000.0, 3500.0, 6500.0, 13500.0}) EXPECT_LT(dB(dftAt(z, f - middle, 48000)), -85) << f;
}

TEST(slotSourceTest, aReceiverHearsItAboveItsDial) {
  auto scene = std::make_shared<bandScene>();
  scene->add(std::make_shared<slotSource>(14.074e6, -20, slotFromWav(sines({{1500, 0.5}}, 2), 15), 15));
  sceneReceiver receiver(scene, 1);
  receiver.tune({14.070e6, 48000, 76800000});
  receiver.setUtc(1800);
  samples z(48000);
  receiver.render(0.5, 1, z.data(), z.size());
  EXPECT_NEAR(dB(dftAt(z, -5500, 48000)), -20 - 6.02, 0.02); // conjugated, as everything on the wire
  EXPECT_NEAR(10 * std::log10(power(z)), -20 - 6.02, 0.02);
}

TEST(slotSourceTest, itBeginsWithEachSlotOfTheClock) {
  const slotSource source(7e6, 0, slotFromWav(sines({{1000, 0.5}}, 3), 15), 15);
  for (const double slot : {0.0, 15.0, 45.0, 3600.0, 3645.0}) {
    EXPECT_EQ(power(hear(source, slot - 0.1, 4000)), 0) << slot; // silence before it
    EXPECT_NEAR(power(hear(source, slot + 1, 48000)), 0.25, 1e-3) << slot;
    EXPECT_EQ(power(hear(source, slot + 3.01, 48000)), 0) << slot; // and behind it
  }
  // the clock may be anywhere in its hour when time begins
  EXPECT_EQ(power(hear(source, 10, 4800, 1234.9)), 0);
  EXPECT_NEAR(power(hear(source, 11.1, 4800, 1234.9)), 0.25, 0.01);
  EXPECT_NEAR(power(hear(source, 0.2, 4800, 1229.8 + 16)), 0.25, 0.01);
}

TEST(slotSourceTest, whatIsReadDoesntDependOnTheBlocks) {
  const slotSource source(7e6, 0, slotFromWav(sines({{1000, 0.5}, {2300, 0.2}}, 1), 2), 2, 0.25);
  const samples whole = hear(source, 1.9, 96000, 100);
  for (const size_t part : {1u, 63u, 511u, 30000u}) {
    for (size_t n = 0; n + part <= 20000; n += part) {
      const samples z = hear(source, 1.9 + static_cast<double>(n) / 48000, part, 100);
      for (size_t k = 0; k < part; ++k) ASSERT_NEAR(std::abs(z[k] - whole[n + k]), 0, 1e-5) << part << " " << n + k;
    }
  }
  EXPECT_EQ(power({whole.begin(), whole.begin() + 4800 + 11990}), 0); // the slot at 2 s, the start a quarter later
  EXPECT_GT(power({whole.begin() + 4800 + 12010, whole.begin() + 4800 + 20000}), 0.01);
}

TEST(slotSourceTest, theNextSlotAndTheHourCutIt) {
  const slotSource cut(7e6, 0, slotFromWav(sines({{1000, 0.5}}, 3), 2), 2);
  EXPECT_NEAR(power(hear(cut, 1.5, 20000)), 0.25, 1e-2);
  EXPECT_LT(std::abs(hear(cut, 1.9, 4801)[4800]), 0.01); // its beginning, which fades in
  // 7 s don't divide the hour: the last slot begins at 3598 s and the next at the top
  const slotSource uneven(7e6, 0, slotFromWav(sines({{1000, 0.5}}, 3), 7), 7);
  EXPECT_NEAR(power(hear(uneven, 3598.5, 48000)), 0.25, 1e-2);
  EXPECT_LT(std::abs(hear(uneven, 3599.9, 4801)[4800]), 0.01);
  EXPECT_NEAR(power(hear(uneven, 3601, 48000)), 0.25, 1e-2);
}

TEST(slotSourceTest, c2FilesLieAround1500Hz) {
  std::vector<float> values;
  for (int n = 0; n < 3 * 375; ++n) { // 10 Hz above the middle; the second of a pair has the other sign
    const double turn = 2 * M_PI * 10 * n / 375;
    values.push_back(static_cast<float>(2.5 * std::cos(turn)));
    values.push_back(static_cast<float>(-2.5 * std::sin(turn)));
  }
  const slotSource source(10.1387e6, 0, slotFromC2(c2File(values)), 120);
  EXPECT_EQ(source.frequency_Hz(), 10.1402e6);
  const samples z = hear(source, 1, 48000);
  EXPECT_NEAR(dB(dftAt(z, 10, 48000)), 0, 0.01);
  EXPECT_LT(dB(dftAt(z, -10, 48000)), -70);
}

TEST(slotSourceTest, brokenC2FilesAreRefused) {
  EXPECT_THROW(slotFromC2({}), std::runtime_error);
  EXPECT_THROW(slotFromC2(c2File({1})), std::runtime_error);
  EXPECT_THROW(slotFromC2(c2File({1, NAN})), std::runtime_error);
  EXPECT_THROW(slotFromC2(c2File({3e38F, 3e38F})), std::runtime_error);
  EXPECT_EQ(slotFromC2(c2File({0, 0, 1})).samples.size(), 1u);
}

TEST(slotSourceTest, theBeginningHearsNothingOfTheEnd) {
  slotAudio audio{fileRate, 3000, std::vector<std::complex<float>>(1200, 1.0F)};
  std::fill_n(audio.samples.begin(), 600, 0.0F);
  const slotSource source(7e6, 0, audio, 15);
  for (const auto& z : hear(source, 0, 100)) EXPECT_EQ(std::abs(z), 0);
  EXPECT_NEAR(std::abs(hear(source, 0.075, 1)[0]), 1, 1e-3);
}

TEST(slotSourceTest, emptyAudioIsSilence) {
  const slotSource source(7e6, 0, slotFromWav({fileRate, 1, {}}, 15), 15);
  EXPECT_EQ(power(hear(source, 0, 1000)), 0);
}
