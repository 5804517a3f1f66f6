// What goes out in single sideband, by the generator and in tune, measured in the words that a simulated radio gets.
#include "modes/sigGenModDemod.h"
#include "tests/radio/transmitQualityTesting.h"
#include <gtest/gtest.h>
#include <limits>

namespace larch::test {
namespace {

constexpr double largestWord = 32766.7072; // full scale, both words rounded up

} // namespace

TEST(transmitQualityTest, blockLengthsLeaveNoLines) {
  constexpr double f = 1234.567;
  transmittingStation station({});
  station.use(flatSsb(4));
  const auto p = spectrumOf(station, sineOf(f, 0.9));
  const double tone = p.line(f);
  for (const double step : {48000 / 126.0, 48000 / 512.0})
    for (int k = -static_cast<int>(23900 / step); k * step < 23900; k++)
      for (const double line : {k * step, f + k * step}) {
        if (std::abs(line - f) < 20 || std::abs(line) > 23900) continue;
        ASSERT_LT(decibels(p.line(line) / tone), -115) << line;
      }
  EXPECT_LT(decibels((p.total() - tone) / tone), -96) << "16-bit words allow -97.6 dB under this tone";
}

TEST(transmitQualityTest, tonesBelowTheClipperMakeNoProducts) {
  transmittingStation station({});
  const auto mode = flatSsb(1);
  station.use(mode);
  for (const auto& [level_dB, compression] : {std::pair{-6.0, 1.0}, std::pair{-20.0, 1.0}, std::pair{-14.0, 2.0}}) {
    mode->compression.set(compression);
    const auto p = spectrumOf(station, twoTones(700, 1900, fromDecibels(level_dB)));
    const double expected_dB = level_dB + decibels(std::pow(0.707 / 2 * 2 * compression * 0.94, 2));
    EXPECT_NEAR(decibels(p.line(700)), expected_dB, 0.01);
    EXPECT_NEAR(decibels(p.line(1900)), expected_dB, 0.01);
    for (const double product : {-500.0, 3100.0, -1700.0, 4300.0})
      EXPECT_LT(decibels(p.line(product)), -105) << level_dB << " " << product << "; dBFS";
    EXPECT_LT(decibels(p.strongestBeside({700, 1900})), -105) << "dBFS";
  }
}

// What the clipper makes of these tones lies outside the filter behind it.
TEST(transmitQualityTest, productsOfTheClipperBeyondTheFilterAreGone) {
  transmittingStation station({});
  station.use(flatSsb(4));
  for (const double level_dB : {-14.0, -10.0, -6.0}) {
    const auto p = spectrumOf(station, twoTones(700, 1900, fromDecibels(level_dB)));
    EXPECT_GT(decibels(p.line(700)), -7.5);
    for (const double product : {-500.0, 3100.0, -1700.0, 4300.0})
      EXPECT_LT(decibels(p.line(product) / p.line(1900)), -95) << level_dB << " " << product;
  }
}

TEST(transmitQualityTest, theOtherSidebandAndTheCarrierAreSilent) {
  for (const bool odd : {false, true})
    for (const bool upper : {true, false}) {
      transmittingStation station({odd ? 50'100'000 : 14'100'000});
      const auto mode = flatSsb(1);
      if (upper)
        station.use(mode);
      else
        station.use(mode, -2900, -200);
      for (const double pitch : {400.37, 1000.37, 2500.37}) {
        const double f = upper ? pitch : -pitch;
        for (const double compression : {0.25, 4.0}) {
          mode->compression.set(compression);
          const auto sine = sineOf(pitch, 0.5);
          const auto p = spectrumOf(station, [sine](int64_t n) { return sine(n) + 0.25; });
          SCOPED_TRACE(testing::Message() << "odd zone " << odd << ", " << f << " Hz, compression " << compression);
          EXPECT_GT(decibels(p.line(f)), -22);
          EXPECT_LT(decibels(p.line(-f) / p.line(f)), -100);
          EXPECT_LT(decibels(p.line(0) / p.line(f)), -100) << "with a constant of half the sine in the microphone";
          const double side = upper ? p.between(-24000, -20) : p.between(20, 23990);
          EXPECT_LT(decibels(side), -99) << "all of the other side, dBFS: the words' own noise";
        }
      }
    }
}

TEST(transmitQualityTest, speechStaysWithinTheFilter) {
  for (const double compression : {1.0, 4.0, 20.0}) {
    transmittingStation station({});
    station.use(flatSsb(compression));
    station.speak(voiceLikeNoise(0.1));
    const auto sent = settledPart(station.send(enough_s));
    const powerSpectrumOf p(sent.data(), sent.size(), 8192);
    const auto [low, high] = p.occupied();
    EXPECT_GE(low, 280);
    EXPECT_LE(high, 2820);
    EXPECT_GT(high - low, 1000);
    for (const double f : {-10e3, -6e3, -4e3, 4e3, 6e3, 10e3})
      EXPECT_LT(decibels(p.between(f - 250, f + 250)), -112) << compression << " " << f << "; dBFS in 500 Hz";
    EXPECT_LT(decibels(p.between(-24000, 50) / p.total()), -72) << compression;
    EXPECT_LT(decibels(p.between(3000, 23990) / p.total()), -72) << compression;
  }
}

TEST(transmitQualityTest, nothingGoesBeyondFullScale) {
  constexpr double largest = std::numeric_limits<float>::max();
  const sound sounds[] = {voiceLikeNoise(1), [](int64_t n) { return n * n % 7919 / 3959.5 - 1; },
                          [](int64_t n) { return n / 29 % 2 ? largest : -largest; },
                          [](int64_t n) { return n / 2400 % 2 ? largest : 1e-30; }};
  for (const bool coarse : {false, true}) {
    transmittingStation station({14'100'000, coarse, 255});
    const auto mode = flatSsb(1);
    station.use(mode);
    for (const double compression : {0.0, 1.0, 4.0, 1e6, 1e300, -3.0})
      for (const sound& voice : sounds) {
        mode->compression.set(compression);
        station.speak(voice);
        station.board->clearRecords();
        station.key(true);
        for (const int drive : {255, 254, 180, 0, 77, 255}) {
          station.transceiver->drive.set(drive);
          station.run(2 * transmittingStation::batch_s);
        }
        station.key(false);
        station.run(0.05);
        for (const sim::txSample& w : station.words()) ASSERT_LE(std::hypot(w.i, w.q), largestWord) << compression;
      }
    mode->compression.set(1);
    station.transceiver->drive.set(255);
    const auto p = spectrumOf(station, sineOf(1000.37, 0.5));
    EXPECT_NEAR(decibels(p.line(1000.37)), decibels(std::pow(0.707 * 0.5 * 0.94, 2)), 0.01) << "and nothing of it stays";
    EXPECT_LT(decibels(p.strongestBeside({1000.37})), -105);
  }
}

TEST(transmitQualityTest, whatIsTooLoudIsCutToFullScaleWithItsPhase) {
  for (const bool coarse : {false, true}) {
    transmittingStation station({14'100'000, coarse, 255});
    const auto mode = keptByCore(std::make_shared<sigGenModDemod>(nullptr));
    mode->ampl1.set(0);
    mode->freq2.set(1000);
    station.use(mode, -3000, 3000);
    for (const double level : {1.0, 1.5, 7.0, 1e6, 1e100}) {
      mode->ampl2.set(level);
      station.send(0.1);
      double largest = 0;
      for (const sim::txSample& w : station.words()) largest = std::max(largest, std::hypot(w.i, w.q));
      EXPECT_LE(largest, largestWord) << level;
      EXPECT_GE(largest, 32765.5) << level;
    }
    const auto p = powerSpectrumOf(settledPart(station.send(enough_s)));
    EXPECT_NEAR(decibels(p.line(1000)), 0, 0.001) << "one tone's envelope is steady: cut down it stays clean";
    EXPECT_LT(decibels(p.strongestBeside({1000})), -100);
  }
}

TEST(transmitQualityTest, theGeneratorsTwoTonesAreCleanAtEveryDrive) {
  constexpr double f = 1000.37;
  for (const auto& [drive, step_dB] :
       {std::pair{255, 0.0}, {254, -0.1}, {251, -0.4}, {250, 0.0}, {180, 0.0}, {100, -8.0}, {1, -17.9}}) {
    transmittingStation station({14'100'000, true, drive});
    const auto mode = keptByCore(std::make_shared<sigGenModDemod>(nullptr));
    mode->ampl1.set(0.5);
    mode->ampl2.set(0.5);
    mode->freq2.set(f);
    station.use(mode, -3000, 3000);
    const auto p = spectrumOf(station, sineOf(700, 1)); // which nobody hears
    SCOPED_TRACE(drive);
    EXPECT_NEAR(decibels(p.line(0)), -6.02 + step_dB, 0.01);
    EXPECT_NEAR(decibels(p.line(f)), -6.02 + step_dB, 0.01);
    EXPECT_LT(decibels(p.line(-f)), -118) << "dBFS";
    EXPECT_LT(decibels(p.line(2 * f)), -118);
    EXPECT_LT(decibels(p.strongestBeside({0, f})), -118);
    EXPECT_NEAR(decibels(p.total() - p.line(0) - p.line(f)), -98.1, 0.5) << "the rounding of two words: 1/6 of a step squared";
  }
}

TEST(transmitQualityTest, carrierRisesAndFallsWithoutAClick) {
  transmittingStation station({});
  station.use(flatSsb(1));
  station.transceiver->tune.set(true);
  const auto sent = station.send(0.2);
  EXPECT_NEAR(largestMagnitude(sent), 0.99, 1e-4);
  const burstSpectrum p(sent);
  EXPECT_LT(p.occupied(0), 60) << "99 % of the energy, Hz";
  EXPECT_LT(p.worstFrom(0, 200), -60) << "dB to the line's top, either side";
  EXPECT_LT(p.worstFrom(0, 500), -85);
  EXPECT_LT(p.worstFrom(0, 1000), -100);
}

} // namespace larch::test
