// AM and FM over the simulated radio: what is heard of a station, from the datagrams to the audio, and what the own transmitter
// sends. bench/voiceStudy has the whole tables.
#include "tests/radio/transmitQualityTesting.h"
#include "tests/radio/voiceReceiver.h"
#include <gtest/gtest.h>

namespace larch::test {
namespace {

constexpr double noiseless = -400, noise_dBFS = -150, strong_dBFS = -50; // noise: in 1 Hz
constexpr double f = 1000.37, tenth = 0.1;                               // Hz; the gain
constexpr uint32_t fine = 32768;                                         // bins

using amReceiver = voiceReceiver<amModDemod>;
using fmReceiver = voiceReceiver<fmModDemod>;

std::shared_ptr<sim::signalSource> am(double level_dBFS, double depth) {
  return std::make_shared<toneAmSource>(amReceiver::vfo, level_dBFS, depth, f);
}
std::function<void(fmModDemod&)> deviating(double deviation) {
  return [=](fmModDemod& m) { m.deviation.set(deviation); };
}

TEST(voiceReceptionTest, amIsHeardCleanAtAnyDepth) {
  amReceiver receiver(48000, 4500);
  double last = 0;
  for (const double depth : {0.1, 0.5, 1.0}) {
    const auto q = qualityOf(receiver.listenTo(am(strong_dBFS, depth), noiseless, 0.5), f);
    EXPECT_LT(q.thd_dB, -110) << depth;
    EXPECT_GT(q.sinad_dB, 100) << depth;
    if (last > 0) {
      EXPECT_NEAR(q.amplitude / last, depth == 0.5 ? 5 : 2, 1e-3);
    }
    last = q.amplitude;
  }
}

TEST(voiceReceptionTest, amNoiseIsThatOfTheFormula) {
  amReceiver receiver(48000, 4500);
  for (const auto& [cn_dB, depth] : {std::pair{40.0, 1.0}, {30.0, 0.3}, {10.0, 0.8}}) {
    const double level = noise_dBFS + decibels(9000) + cn_dB; // as a product detector has it: depth^2 * C/N
    const auto q = qualityOf(receiver.listenTo(am(level, depth), noise_dBFS, 1.5), f, fine);
    EXPECT_NEAR(q.snr_dB, cn_dB + decibels(depth * depth), 0.5) << cn_dB << " dB, " << depth;
  }
}

TEST(voiceReceptionTest, fmIsHeardAsCleanAsItsFilterIsWide) {
  for (const auto& [deviation, filter, worst_dB] :
       {std::tuple{2500.0, 5500, -53.0}, {2500.0, 7500, -100.0}, {5000.0, 8000, -48.0}}) {
    fmReceiver receiver(48000, filter, deviating(deviation));
    for (const double share : {0.1, 1.0}) {
      const auto q = qualityOf(receiver.listenTo(toneFm(fmReceiver::vfo, strong_dBFS, share * deviation, f), noiseless, 0.5), f);
      EXPECT_LT(q.thd_dB, share < 1 ? -110 : worst_dB) << deviation << " " << filter;
      EXPECT_GT(q.snr_dB, 100);
      // radians a sample; half of it on the side that the filter passes
      const double expected = tenth * share * deviation * 2 * M_PI / 48000 * 0.5 * 300 / f;
      EXPECT_NEAR(q.amplitude, expected, 0.01 * expected);
    }
  }
}

TEST(voiceReceptionTest, fmNoiseIsThatOfTheFormulaAboveTheThreshold) {
  const double band = fmNoiseBand(f);
  for (const auto& [deviation, filter] : {std::pair{2500.0, 5500}, {5000.0, 8000}}) {
    fmReceiver receiver(48000, filter, deviating(deviation));
    for (const double cn_dB : {30.0, 12.0, 3.0}) {
      const double density_dB = cn_dB + decibels(2.0 * filter),
                   formula_dB = density_dB + decibels(deviation * deviation / 2 / band);
      const auto q =
          qualityOf(receiver.listenTo(toneFm(fmReceiver::vfo, noise_dBFS + density_dB, deviation, f), noise_dBFS, 1.5), f, fine);
      if (cn_dB > 10)
        EXPECT_NEAR(q.snr_dB, formula_dB, 1.0) << deviation << " Hz, " << cn_dB << " dB";
      else
        EXPECT_LT(q.snr_dB, formula_dB - 6) << "below the threshold";
    }
  }
}

// Each block of 64 meets the middle of the audio filter alone: its products, at 750 Hz from each other, are loud, the noise
// isn't.
TEST(voiceReceptionTest, wideFmIsHeardThroughItsBlocks) {
  constexpr double tone = 750, deviation = 75000;
  fmReceiver receiver(384000, 100'000, deviating(deviation));
  const auto q = qualityOf(receiver.listenTo(toneFm(fmReceiver::vfo, strong_dBFS, deviation, tone), noiseless, 0.4), tone);
  EXPECT_NEAR(q.thd_dB, -20, 1);
  EXPECT_GT(q.snr_dB, 110) << "nothing but the products";
  const double whole = tenth * deviation * 2 * M_PI / 48000 * 0.5 * 300 / tone;
  EXPECT_NEAR(q.amplitude, whole, 0.15 * whole);
}

TEST(voiceReceptionTest, radioThatIsTooSlowForWideFmSaysSoUntilItIsFastEnough) {
  constexpr double tone = 750;
  fmReceiver receiver(192000, 90'000, deviating(75000));
  std::vector<bool> told;
  static std::vector<bool>* telling;
  telling = &told;
  receiver.transceiver->bandwidthSufficient.bind(receiver.transceiver.get(), [](bool enough) { telling->push_back(enough); });
  const auto station = toneFm(fmReceiver::vfo, strong_dBFS, 75000, tone);
  const auto setRate = [&](int32_t rate) {
    receiver.radio->SampleRate.set(rate);
    receiver.settle();
  };
  for (int round = 0; round < 2; round++) {
    EXPECT_TRUE(receiver.listenTo(station, noiseless, 0.1).empty()) << "no audio";
    EXPECT_FALSE(receiver.transceiver->bandwidthSufficient.value);
    setRate(384000);
    EXPECT_NEAR(qualityOf(receiver.listenTo(station, noiseless, 0.4), tone).thd_dB, -20, 1) << "all of it";
    EXPECT_TRUE(receiver.transceiver->bandwidthSufficient.value);
    setRate(192000);
  }
  receiver.hear(0.1);
  EXPECT_FALSE(receiver.transceiver->bandwidthSufficient.value);
  receiver.mode->deviation.set(5000.0);
  EXPECT_FALSE(receiver.hear(0.1).empty()) << "narrow fits";
  EXPECT_TRUE(receiver.transceiver->bandwidthSufficient.value);
  receiver.settle();
  EXPECT_EQ(std::vector<bool>(told.end() - 5, told.end()), (std::vector<bool>{true, false, true, false, true}))
      << "the host, too";
}

TEST(voiceTransmissionTest, toneUnderTheSpeechHasItsFrequencyAndATenthOfTheSpeechsRoom) {
  for (const auto& [tone, deviation] : {std::pair{88.5, 2500.0}, {254.1, 5000.0}}) {
    transmittingStation station({});
    const auto mode = keptByCore(std::make_shared<fmModDemod>(nullptr));
    mode->deviation.set(deviation);
    mode->CTCSS.set(tone);
    station.use(mode, -12'000, 12'000);
    station.speak(sineOf(f, fromDecibels(-20)));
    const auto hertz = frequenciesOf(settledPart(station.send(enough_s)));
    const powerSpectrumOf p({hertz.begin(), hertz.end()});
    EXPECT_NEAR(2 * std::sqrt(p.line(tone)), 0.1 * 0.85 * deviation, 0.002 * deviation) << tone;
    EXPECT_NEAR(2 * std::sqrt(p.line(f)), 0.85 * 0.0707 * f / 300 * 0.97 * deviation, 0.003 * deviation)
        << "the speech beside it";
    // the turn of its phase from the first half to the second
    const auto half = static_cast<std::ptrdiff_t>(hertz.size() / 2);
    const auto phaseOf = [&](std::ptrdiff_t from) {
      const auto window = blackmanHarris7(static_cast<int32_t>(half));
      cdouble sum = 0;
      for (std::ptrdiff_t n = 0; n < half; n++)
        sum += hertz[from + n] * window.data[n] * std::polar(1.0, -2 * M_PI * tone / 48000 * static_cast<double>(from + n));
      return sum;
    };
    const double off_Hz = std::arg(phaseOf(half) * std::conj(phaseOf(0))) / (2 * M_PI) * 48000 / static_cast<double>(half);
    EXPECT_NEAR(off_Hz, 0, 0.002) << tone;
  }
}

// What goes out in one direction and comes in by the other.
std::vector<cdouble> sent(const std::shared_ptr<modDemod>& mode, double tone, double level_dB, int32_t filter) {
  transmittingStation station({});
  station.use(mode, -filter, filter);
  station.speak(sineOf(tone, fromDecibels(level_dB)));
  auto samples = settledPart(station.send(0.5));
  samples.resize(samples.size() / 480 * 480); // whole periods of 100 Hz
  return samples;
}

TEST(voiceTransmissionTest, amSpokenIsHeardWithTheOvertonesOfItsCarriersPhase) {
  constexpr double tone = 1000;
  for (const double level_dB : {-20.0, -6.0}) {
    const auto samples = sent(keptByCore(std::make_shared<amModDemod>(nullptr)), tone, level_dB, 4000);
    amReceiver receiver(48000, 4500);
    const auto q = qualityOf(receiver.listenTo(sentBefore(amReceiver::vfo, -40, samples), noiseless, 0.5), tone);
    // by the formula: the envelope of a carrier at 45 degrees with the speech on one axis
    const double speech = fromDecibels(level_dB) * 0.707 * 0.97 * 0.48, carrier = 0.5 / std::sqrt(2.0);
    std::vector<double> envelope;
    for (int n = 0; n < 48000; n++)
      envelope.push_back(std::hypot(carrier + speech * std::sin(2 * M_PI * tone / 48000 * n), carrier));
    EXPECT_NEAR(q.thd_dB, qualityOf(envelope, tone).thd_dB, 0.3) << level_dB;
    EXPECT_GT(q.snr_dB, 80) << "and nothing else";
  }
}

TEST(voiceTransmissionTest, fmSpokenIsHeard) {
  constexpr double tone = 1000;
  for (const auto& [deviation, worst_dB] : {std::pair{2500.0, -54.0}, {5000.0, -50.0}}) {
    const auto mode = keptByCore(std::make_shared<fmModDemod>(nullptr));
    mode->deviation.set(deviation);
    const auto samples = sent(mode, tone, -6, static_cast<int32_t>(deviation) + 9000);
    fmReceiver receiver(48000, static_cast<int32_t>(deviation) + 3000, deviating(deviation));
    const auto q = qualityOf(receiver.listenTo(sentBefore(fmReceiver::vfo, -40, samples), noiseless, 0.5), tone);
    EXPECT_LT(q.thd_dB, worst_dB);
    EXPECT_GT(q.snr_dB, 80);
    const double expected = tenth * 0.97 * deviation * 2 * M_PI / 48000 * 0.5 * 300 / tone;
    EXPECT_NEAR(q.amplitude, expected, 0.02 * expected);
  }
}

// Narrow enough to cut the outer sidebands, the filter makes the envelope uneven; 9 kHz beside the deviation leave it even.
TEST(voiceTransmissionTest, fmEnvelopeStaysEvenBehindAFilterThatIsWideEnough) {
  for (const double deviation : {2500.0, 5000.0}) {
    double unevenness[2];
    for (const bool enough : {false, true}) {
      const auto mode = keptByCore(std::make_shared<fmModDemod>(nullptr));
      mode->deviation.set(deviation);
      const auto samples = sent(mode, 2900, 0, static_cast<int32_t>(deviation) + (enough ? 9000 : 3000));
      double least = 1;
      for (const cdouble& z : samples) least = std::min(least, std::abs(z));
      unevenness[enough] = largestMagnitude(samples) - least;
    }
    EXPECT_LT(unevenness[true], 0.015);
    EXPECT_GT(unevenness[false], 0.08);
  }
}

} // namespace
} // namespace larch::test
