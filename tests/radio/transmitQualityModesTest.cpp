// What goes out in AM, FM and Morse, measured in the words that a simulated radio gets.
#include "modes/amModDemod.h"
#include "modes/cwModDemod.h"
#include "modes/fmModDemod.h"
#include "tests/radio/transmitQualityTesting.h"
#include <gtest/gtest.h>

namespace larch::test {

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
  const auto sent = settledPart(station.send(enough_s));
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
      const auto sent = settledPart(station.send(enough_s));
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
  const auto sent = settledPart(station.send(enough_s));
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
    expectSoftEdges(station.send(enough_s), 0.95);
  }
}

TEST_F(morseQualityTest, straightKeyIsKeyedWithoutClicks) {
  station.board->clearRecords();
  for (int i = 0; i < 20; i++) {
    mode->keyDown(); // raises PTT
    station.run(3 * transmittingStation::batch_s);
    mode->keyUp();
    station.run(2 * transmittingStation::batch_s);
  }
  station.key(false);
  station.run(0.05);
  expectSoftEdges(station.onAir(), 0.99);
}

TEST_F(morseQualityTest, keyedCarrierHasOneSideOfTheWordsOnly) {
  mode->queueText("paris", 0);
  station.send(0.8);
  int marks = 0;
  for (const sim::txSample& w : station.words()) {
    ASSERT_EQ(w.i, 0);
    ASSERT_LE(w.q, 0) << "the carrier's phase never turns";
    marks += w.q == -31128; // 0.95 of full scale
  }
  EXPECT_GT(marks, 5000);
}

} // namespace larch::test
