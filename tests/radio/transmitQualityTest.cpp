// What goes out, measured in the words that a simulated radio gets: from the microphone's samples to the datagrams' bytes.
#include "dsp/filterDesign.h"
#include "modes/amModDemod.h"
#include "modes/cwModDemod.h"
#include "modes/fmModDemod.h"
#include "modes/sigGenModDemod.h"
#include "modes/ssbModDemod.h"
#include "tests/modes/ssbSpeech.h"
#include "tests/radio/transmitQualityGolden.h"
#include "tests/radio/transmitQualityMeasures.h"
#include "tests/radio/transmitQualitySounds.h"
#include "tests/radio/transmitQualityStation.h"
#include <gtest/gtest.h>
#include <limits>

namespace larch::test {
namespace {

constexpr std::size_t settled = 8000; // samples: silence, rise and all delays
constexpr double long_s = 2.0, batch_s = 8 * 126 / 48000.0;
constexpr double largestWord = 32766.7072; // full scale, both words rounded up

std::shared_ptr<ssbModDemod> flatSsb(double compression) {
  auto mode = keptByCore(std::make_shared<ssbModDemod>(nullptr));
  mode->UseMicEQ.set(false);
  mode->compression.set(compression);
  return mode;
}

// Of all that was sent the part between all delays and the fall.
std::vector<cdouble> settledPart(const std::vector<cdouble>& sent) {
  return {sent.begin() + settled, sent.begin() + settled + 65536 + 16384};
}

powerSpectrumOf spectrumOf(const std::vector<cdouble>& samples) { return {samples.data(), samples.size()}; }

powerSpectrumOf spectrumOf(transmittingStation& station, const sound& voice) {
  station.speak(voice);
  return spectrumOf(settledPart(station.send(long_s)));
}

std::vector<sim::txSample> keyedWords(const transmittingStation& station) {
  std::vector<sim::txSample> words;
  for (const sim::recordedSample& each : station.board->transmitted())
    if (each.mox) words.push_back(each.sample);
  return words;
}

// The gain at sample n of a transmission that begins to fall at `fall`.
double envelopeAt(std::size_t n, std::size_t fall) {
  constexpr double shortPi = 3.1415927;
  if (n >= fall) return n < fall + 512 ? 0.5 * std::cos(shortPi * static_cast<double>(n - fall) / 512) + 0.5 : 0;
  if (n < 768) return 0;
  return n <= 1280 ? 0.5 * std::cos(shortPi * static_cast<double>(1280 - n) / 512) + 0.5 : 1;
}

std::vector<cdouble> filtered(const std::vector<cdouble>& x, const cbuff& taps) {
  std::vector<cdouble> y(x.size());
  for (std::size_t n = 0; n < x.size(); n++) {
    double re = 0, im = 0;
    for (std::size_t k = 0; k < taps.count && k <= n; k++) {
      const cdouble h = taps.data[k], z = x[n - k];
      re += h.real() * z.real() - h.imag() * z.imag();
      im += h.real() * z.imag() + h.imag() * z.real();
    }
    y[n] = {re, im};
  }
  return y;
}

// What the modulator makes of its whole input, as one run.
std::vector<cdouble> modulatedInOneRun(std::vector<cdouble> x, int low, int high, double compression) {
  x = filtered(x, makeBandpass(low + 100, high - 100, 48000, 2048, 2048));
  for (cdouble& z : x) {
    z *= 2 * compression;
    if (std::abs(z) > 1) z /= std::abs(z);
  }
  x = filtered(x, makeBandpass(low + 100, high - 100, 48000, 1536, 1536));
  std::vector<cdouble> limited(x.size());
  for (std::size_t n = 3; n < x.size(); n++) {
    double peak = 0;
    for (std::size_t k = n >= 6 ? n - 6 : 0; k < n; k++) peak = std::max(peak, std::abs(x[k]));
    limited[n] = x[n - 3] / (peak > 1 ? 2 * (peak - 1) + 1 : 1) * 0.94;
  }
  return limited;
}

// Behind the transceiver's filter, which begins empty, and the envelope; the words must be these, rounded.
void expectWords(const std::vector<sim::txSample>& words, std::vector<cdouble> modulated, int low, int high, std::size_t fall) {
  ASSERT_GT(words.size(), fall + 1015);
  ASSERT_GE(modulated.size(), words.size());
  modulated = filtered(modulated, makeBandpass(low, high, 48000, 1536, 1536));
  for (std::size_t n = 0; n < words.size(); n++) {
    const cdouble z = 32766 * envelopeAt(n, fall) * modulated[n];
    ASSERT_LE(std::abs(words[n].i - z.imag()), 0.5 + 1e-6) << n;
    ASSERT_LE(std::abs(words[n].q + z.real()), 0.5 + 1e-6) << n;
  }
}

double energyOf(const std::vector<sim::txSample>& words) { // full scale: 1
  double sum = 0;
  for (const sim::txSample& w : words)
    sum += (static_cast<double>(w.i) * w.i + static_cast<double>(w.q) * w.q) / (32766.0 * 32766);
  return sum;
}

// Keeps the blocks that it is given.
class listeningSsb : public ssbModDemod {
 public:
  using ssbModDemod::ssbModDemod;
  void modulate(const cbuff& input, const cbuff& output) override {
    heard.insert(heard.end(), input.data, input.data + input.count);
    ssbModDemod::modulate(input, output);
  }
  std::vector<cdouble> heard;
};

} // namespace

TEST(transmitQualityTest, speechBecomesTheWordsThatTheFormulasGive) {
  int number = 0;
  for (const wordsCase& each : wordsCases) {
    transmittingStation station({each.frequency, each.drive != 255, each.drive});
    station.use(flatSsb(each.compression), each.low, each.high);
    station.speak([from = station.nextHeard()](int64_t n) { return speechAt(n - from); });
    station.send(goldenKeyedGroups / 8 * batch_s);
    const auto words = keyedWords(station);
    ASSERT_GE(words.size(), goldenGroups * 126u);
    for (const goldenWords& g : wordsGolden) {
      if (g.of != number) continue;
      EXPECT_EQ(words[static_cast<std::size_t>(g.index)].i, g.i) << g.of << " " << g.index;
      EXPECT_EQ(words[static_cast<std::size_t>(g.index)].q, g.q) << g.of << " " << g.index;
    }
    number++;
  }
}

// Blocks of 512 in groups of 126, seen as one run: no seam anywhere, nothing but the words' rounding.
TEST(transmitQualityTest, blocksAndGroupsLeaveNoSeam) {
  const sound voice = voiceLikeNoise(0.2);
  constexpr double compression = 6; // its loud half is clipped and limited
  transmittingStation station({});
  station.use(flatSsb(compression));
  station.speak(voice);
  const int64_t from = station.nextHeard();
  constexpr std::size_t batches = 14, fall = batches * 8 * 126;
  station.send(batches * batch_s);
  const auto words = keyedWords(station);
  std::vector<cdouble> microphone;
  for (std::size_t n = 0; n < words.size(); n++)
    microphone.emplace_back(0.707 * static_cast<float>(voice(from + static_cast<int64_t>(n))));
  expectWords(words, modulatedInOneRun(microphone, 200, 2900, compression), 200, 2900, fall);
  EXPECT_GT(energyOf(words), 500) << "the voice was heard";
}

// The speech that the modulator's filters hold when PTT falls begins the next transmission.
TEST(transmitQualityTest, nextTransmissionGoesOnWhereTheModulatorStood) {
  transmittingStation station({});
  const auto mode = keptByCore(std::make_shared<listeningSsb>(nullptr));
  mode->UseMicEQ.set(false);
  station.use(mode, -2900, -200);
  station.speak(sineOf(1000, 0.5));
  station.send(6 * batch_s);
  const std::size_t before = mode->heard.size();
  station.speak([](int64_t) { return 0.0; });
  station.send(4 * batch_s);
  const auto all = modulatedInOneRun(mode->heard, -2900, -200, 1);
  const auto words = keyedWords(station);
  expectWords(words, {all.begin() + static_cast<std::ptrdiff_t>(before), all.end()}, -2900, -200, 4 * 8 * 126);
  EXPECT_GT(energyOf(words), 50);
}

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
    const auto sent = settledPart(station.send(long_s));
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
          station.run(2 * batch_s);
        }
        station.key(false);
        station.run(0.05);
        for (const sim::txSample& w : keyedWords(station)) ASSERT_LE(std::hypot(w.i, w.q), largestWord) << compression;
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
      for (const sim::txSample& w : keyedWords(station)) largest = std::max(largest, std::hypot(w.i, w.q));
      EXPECT_LE(largest, largestWord) << level;
      EXPECT_GE(largest, 32765.5) << level;
    }
    const auto p = spectrumOf(settledPart(station.send(long_s)));
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

TEST(talkQualityTest, amIsACarrierWithTwoEqualSides) {
  constexpr double f = 1000.37;
  transmittingStation station({});
  station.use(keptByCore(std::make_shared<amModDemod>(nullptr)), -3000, 3000);
  for (const double level_dB : {-20.0, 0.0}) {
    const auto p = spectrumOf(station, sineOf(f, fromDecibels(level_dB)));
    const double side_dB = level_dB + 2 * decibels(0.707 * 0.97 * 0.48 / 2);
    EXPECT_NEAR(decibels(p.line(0)), 2 * decibels(0.5), 0.001);
    EXPECT_NEAR(decibels(p.line(f)), side_dB, 0.01);
    EXPECT_NEAR(decibels(p.line(-f)), side_dB, 0.01);
    EXPECT_LT(decibels(p.strongestBeside({0, f, -f})), -115) << "dBFS";
  }
}

TEST(talkQualityTest, amVoiceStaysWithinThreeKilohertz) {
  transmittingStation station({});
  const auto mode = keptByCore(std::make_shared<amModDemod>(nullptr));
  mode->compression.set(20);
  station.use(mode, -3000, 3000);
  station.speak(voiceLikeNoise(0.1));
  const auto sent = settledPart(station.send(long_s));
  EXPECT_LT(largestMagnitude(sent), 0.92) << "0.905 and what the filter adds";
  EXPECT_GT(largestMagnitude(sent), 0.8);
  const powerSpectrumOf p(sent.data(), sent.size(), 8192);
  EXPECT_LT(decibels((p.between(-24000, -3200) + p.between(3200, 23990)) / p.total()), -90);
}

TEST(talkQualityTest, fmDeviatesAsFarAsItIsTold) {
  constexpr double f = 1000.37;
  for (const double deviation : {2500.0, 5000.0}) {
    transmittingStation station({});
    const auto mode = keptByCore(std::make_shared<fmModDemod>(nullptr));
    mode->deviation.set(deviation);
    station.use(mode, -10'000, 10'000);
    for (const auto& [level_dB, share] : {std::pair{-20.0, 0.0707 * f / 300 * 0.97}, {0.0, 0.97}}) { // rising with f; clipped
      station.speak(sineOf(f, fromDecibels(level_dB)));
      const auto sent = settledPart(station.send(long_s));
      const auto frequencies = frequenciesOf(sent);
      const auto [least, most] = std::minmax_element(frequencies.begin(), frequencies.end());
      EXPECT_NEAR(*most, share * deviation, 0.003 * deviation);
      EXPECT_NEAR(*least, -share * deviation, 0.003 * deviation);
      EXPECT_NEAR(largestMagnitude(sent), 0.99, 0.002) << "steady but for what the filter cuts off";
      const powerSpectrumOf audio({frequencies.begin(), frequencies.end()});
      for (int h = 2; h <= 4; h++) EXPECT_LT(decibels(audio.line(h * f) / audio.line(f)), -80) << h;
    }
  }
}

TEST(talkQualityTest, fmVoiceKeepsItsWidth) {
  transmittingStation station({});
  const auto mode = keptByCore(std::make_shared<fmModDemod>(nullptr));
  mode->deviation.set(2500);
  mode->compression.set(4);
  mode->CTCSS.set(88.5);
  station.use(mode, -10'000, 10'000);
  station.speak(voiceLikeNoise(0.1));
  const auto sent = settledPart(station.send(long_s));
  const auto frequencies = frequenciesOf(sent);
  const powerSpectrumOf p(sent.data(), sent.size(), 8192), audio({frequencies.begin(), frequencies.end()});
  const auto [low, high] = p.occupied();
  EXPECT_LT(high - low, 6000);
  EXPECT_LT(decibels(p.between(7750, 8250) / p.total()), -65);
  EXPECT_LT(decibels(p.between(11'750, 12'250) / p.total()), -110);
  EXPECT_NEAR(2 * std::sqrt(audio.line(88.5)), 0.1 * 0.85 * 2500, 2) << "the tone's deviation, Hz";
}

class morseQualityTest : public testing::Test {
 protected:
  morseQualityTest() {
    mode->swHangTime.set(100'000);
    station.use(mode);
  }
  // Clicks, dB to the carrier with the key down, on either side; the edges of 5.33 ms allow -32.0, -67.2 and -83.4.
  static void expectSoftEdges(const std::vector<cdouble>& sent, double level) {
    EXPECT_NEAR(largestMagnitude(sent), level, 1 / 32766.0);
    for (const auto& [distance, bound_dB] : {std::pair{200.0, -31.0}, {500.0, -66.0}, {1000.0, -82.0}, {2000.0, -99.0}})
      for (const double f : {distance, -distance})
        EXPECT_LT(decibels(std::pow(largestThrough100Hz(sent, f) / level, 2)), bound_dB) << f;
    const powerSpectrumOf p(sent.data(), sent.size());
    const auto [low, high] = p.occupied();
    EXPECT_LT(high - low, 180);
    EXPECT_GT(decibels(p.total() / (level * level)), -6) << "it was keyed";
  }

  transmittingStation station{{}};
  std::shared_ptr<cwModDemod> mode = keptByCore(std::make_shared<cwModDemod>(nullptr));
};

TEST_F(morseQualityTest, textIsKeyedWithoutClicks) {
  for (const double wpm : {25.0, 40.0}) {
    mode->wpm.set(wpm);
    mode->queueText("paris test cq de paris 599 bk test paris", static_cast<uint32_t>(mode->sentCount()));
    expectSoftEdges(station.send(long_s), 0.95);
  }
}

TEST_F(morseQualityTest, straightKeyIsKeyedWithoutClicks) {
  station.board->clearRecords();
  for (int i = 0; i < 20; i++) {
    mode->keyDown(); // raises PTT
    station.run(3 * batch_s);
    mode->keyUp();
    station.run(2 * batch_s);
  }
  station.key(false);
  station.run(0.05);
  expectSoftEdges(station.onAir(), 0.99);
}

TEST_F(morseQualityTest, keyedCarrierHasOneSideOfTheWordsOnly) {
  mode->queueText("paris", 0);
  station.send(0.8);
  int marks = 0;
  for (const sim::txSample& w : keyedWords(station)) {
    ASSERT_EQ(w.i, 0);
    ASSERT_LE(w.q, 0) << "the carrier's phase never turns";
    marks += w.q == -31128; // 0.95 of full scale
  }
  EXPECT_GT(marks, 5000);
}

} // namespace larch::test
