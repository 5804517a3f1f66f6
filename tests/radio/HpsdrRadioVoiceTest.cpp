// Voice keying from the microphone to the wire.
#include "tests/radio/transmitQualityTesting.h"
#include <gtest/gtest.h>

namespace larch::test {

TEST(HpsdrRadioVoiceTest, theMicrophoneKeysAndUnkeysTheBoard) {
  constexpr double f = 1000, hold_s = 0.05;
  transmittingStation station({});
  station.use(flatSsb(1.0), 200, 2900);
  vtrx& v = *station.transceiver;
  v.foregroundDisplay.set(true);
  v.useVox.set(true);
  v.VoxHold.set(hold_s);
  station.board->clearRecords();
  station.speak(sineOf(f, 0.35)); // below the threshold of 0.4
  station.run(0.5);
  EXPECT_TRUE(station.words().empty()) << "quiet";
  EXPECT_FALSE(v.ptt.value);
  station.speak(sineOf(f, 0.8));
  station.run(0.5);
  EXPECT_TRUE(v.ptt.value);
  EXPECT_TRUE(station.radio->ptt.value);
  station.speak(sineOf(f, 0.25)); // above half of it: the key stays
  station.run(0.5);
  EXPECT_TRUE(v.ptt.value);
  station.speak(sineOf(f, 0.15));
  station.run(hold_s - 0.02);
  EXPECT_TRUE(v.ptt.value) << "for as long as the hold";
  station.run(0.2);
  EXPECT_FALSE(v.ptt.value);
  EXPECT_FALSE(station.radio->ptt.value);

  const auto report = station.board->report();
  EXPECT_EQ(report.transmit.withoutMox, 0u);
  EXPECT_EQ(report.problems, 0u) << station.board->problems().summary();
  const auto sent = station.onAir();
  ASSERT_GT(sent.size(), 48'000u) << "a second of keying";
  EXPECT_LT(sent.size(), 1.2 * 48'000);
  // of the loud half the tone of the voice alone is on the air, as loud as it was spoken
  const std::vector<cdouble> loud(sent.begin() + 7000, sent.begin() + 7000 + 16384);
  const powerSpectrumOf p(loud.data(), loud.size(), 16384);
  EXPECT_NEAR(decibels(p.line(f)), 2 * decibels(0.8 * 0.707 * 0.94), 0.1);
  EXPECT_LT(decibels((p.total() - p.line(f)) / p.line(f)), -60);
}

} // namespace larch::test
