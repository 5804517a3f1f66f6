// Bounds on the error rate over channels, eight seeds a point; the curves are bench/pskChannelStudy's, of 500.
#include "tests/modes/pskChannel.h"
#include <gtest/gtest.h>
#include <ostream>

namespace larch::study {

void PrintTo(const pskVariant& v, std::ostream* out) { *out << v.name; }

namespace {

constexpr size_t characters = 25;

class pskChannelTest : public testing::TestWithParam<pskVariant> {
 protected:
  const pskVariant v = GetParam();
  bool fourPhases() const { return v.value & 1; }

  template <class Set> double errors_percent(double perSymbol_dB, Set set) const {
    sim::randomSource random(1);
    eightTexts texts;
    std::array<pskChannel, together> channels;
    for (size_t k = 0; k < together; k++) {
      texts[k] = randomWords(characters, random);
      channels[k].perSymbol_dB = perSymbol_dB;
      set(channels[k], k % 2 ? 1.0 : -1.0);
    }
    const auto read = readPsk(v, pskAudio(v, texts, channels, random));
    size_t wrong = 0;
    for (size_t k = 0; k < together; k++) wrong += editDistance(texts[k], read[k]);
    return 100.0 * static_cast<double>(wrong) / (characters * together);
  }
};

INSTANTIATE_TEST_SUITE_P(modes, pskChannelTest, testing::ValuesIn(pskVariants),
                         [](const auto& p) { return std::string(p.param.name); });

} // namespace

TEST_P(pskChannelTest, whiteNoiseIsEnduredAndTooMuchIsNot) {
  EXPECT_LT(errors_percent(fourPhases() ? 17 : 12, [](pskChannel&, double) {}), 2);
  EXPECT_GT(errors_percent(4, [](pskChannel&, double) {}), 30) << "there was noise";
}

TEST_P(pskChannelTest, offsetDriftAndClocksAreFollowed) {
  const double baud = v.baud;
  EXPECT_LT(errors_percent(18, [baud](pskChannel& c, double sign) { c.offset_Hz = sign * 0.2 * baud; }), 5);
  EXPECT_LT(errors_percent(18, [baud](pskChannel& c, double sign) { c.drift_Hz_s = sign * 0.2 * baud / 31.25; }), 2);
  EXPECT_LT(errors_percent(18, [](pskChannel& c, double sign) { c.clock_ppm = sign * 300; }), 2);
}

TEST_P(pskChannelTest, aSenderThatHasSlidNearlyToTheLimitIsRead) {
  EXPECT_LT(errors_percent(20, [this](pskChannel& c, double sign) { slideAway(c, v, sign); }), 3);
}

TEST_P(pskChannelTest, aSecondSignal60HertzAwayIsKeptApartAtTheSlowestSpeed) {
  const double errors = errors_percent(16, [](pskChannel& c, double sign) { c.neighbour_Hz = sign * 60; });
  if (v.baud < 60)
    EXPECT_LT(errors, 2);
  else
    EXPECT_GT(errors, 30) << "they overlap";
}

TEST_P(pskChannelTest, fadingLeavesMostOfTheText) {
  const double errors = errors_percent(26, [](pskChannel& c, double) { c.fading = moderateFading; });
  EXPECT_LT(errors, fourPhases() && v.baud > 100 ? 60 : 25);
}

TEST_P(pskChannelTest, theSquelchKeepsNoiseFromBeingText) {
  sim::randomSource random(1);
  std::vector<double> audio(static_cast<size_t>(20 * pskRate / pskBlock) * pskBlock);
  random.addNoise(audio.data(), audio.size(), pskAmplitude);
  size_t closed = 0, open = 0;
  for (const auto& text : readPsk(v, audio)) closed += text.size();
  for (const auto& text : readPsk(v, audio, false)) open += text.size();
  EXPECT_LE(closed, 4U);
  EXPECT_GT(open, 8U * 40);
}

} // namespace larch::study
