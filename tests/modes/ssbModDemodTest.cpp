#include "modes/ssbModDemod.h"
#include "audio/Wireless.h"
#include "dsp/filterDesign.h"
#include "dsp/vectorOps.h"
#include "tests/modes/ssbModDemodGolden.h"
#include "tests/modes/ssbSpeech.h"
#include "tests/runtime/testGroup.h"
#include <gtest/gtest.h>
#include <random>

namespace larch::test {
namespace {

using cdouble = std::complex<double>;
constexpr double pi = 3.141592653589793;

class ssbModDemodTest : public testing::Test {
 protected:
  // `blocks` of 512 from a microphone sine; the last block as it goes out.
  std::vector<cdouble> speak(double f, float level, int blocks) {
    std::vector<cdouble> last(512);
    const cbuff out(512, 0.0);
    for (int b = 0; b < blocks; b++) {
      buff<float> mic(512);
      for (int i = 0; i < 512; i++, at++)
        mic.data[i] = level * static_cast<float>(std::sin(2 * pi * f / 48000 * static_cast<double>(at)));
      ssb->modulate(complexFromAudio(mic), out);
      for (int i = 0; i < 512; i++) largest = std::max(largest, std::abs(out.data[i]));
    }
    return {out.data, out.data + 512};
  }
  // Magnitude of the part of a block at baseband frequency f; whole periods in the block.
  static double partAt(const std::vector<cdouble>& block, double f) {
    cdouble sum = 0;
    for (size_t i = 0; i < 512; i++) sum += block[i] * std::polar(1.0, -2 * pi * f / 48000 * static_cast<double>(i));
    return std::abs(sum) / 512;
  }

  testGroup env;
  std::shared_ptr<ssbModDemod> ssb = keptByCore(std::make_shared<ssbModDemod>(env.group));
  uint64_t at = 0;
  double largest = 0;
};

TEST_F(ssbModDemodTest, demodulateTakesTheRealPart) {
  for (uint64_t n : {0, 1, 7, 511, 512, 513}) {
    cbuff block(n);
    for (uint64_t i = 0; i < n; i++) block.data[i] = {0.001 * static_cast<double>(i), -5.0};
    const auto audio = ssb->demodulate(block);
    ASSERT_EQ(audio.count, n);
    for (uint64_t i = 0; i < n; i++) EXPECT_EQ(audio.data[i], static_cast<float>(0.001 * static_cast<double>(i)));
  }
}

TEST_F(ssbModDemodTest, fullScaleSineLeavesAtMost094) {
  ssb->setTxFilter(200, 2900);
  speak(937.5, 1.0f, 40);
  EXPECT_LE(largest, 0.94 + 1e-12);
  EXPECT_GT(largest, 0.5);
  std::mt19937 random(5); // the same holds for what overshoots the second filter
  std::uniform_real_distribution<float> value(-1.0f, 1.0f);
  ssb->compression.set(50.0);
  const cbuff out(512, 0.0);
  for (int b = 0; b < 200; b++) {
    buff<float> mic(512);
    for (int i = 0; i < 512; i++) mic.data[i] = value(random);
    ssb->modulate(complexFromAudio(mic), out);
    EXPECT_LE(peakMagnitude(out), 0.94 + 1e-12);
  }
}

TEST_F(ssbModDemodTest, compressionOfZeroIsSilence) {
  ssb->setTxFilter(200, 2900);
  ssb->compression.set(0.0);
  for (const cdouble& z : speak(937.5, 1.0f, 10)) EXPECT_EQ(std::abs(z), 0.0);
}

TEST_F(ssbModDemodTest, levelBelowTheClipperIsLinear) {
  ssb->setTxFilter(200, 2900);
  ssb->compression.set(0.75);
  // half of the sine's power is the wanted side: 0.707 * 0.1 / 2, times 1.5, times 0.94
  const auto out = speak(937.5, 0.1f, 20);
  EXPECT_NEAR(partAt(out, -937.5), 0.707 * 0.1f / 2 * 1.5 * 0.94, 1e-6);
  EXPECT_LT(partAt(out, 937.5), 1e-9) << "the other side";
}

TEST_F(ssbModDemodTest, filterEdgesAreNarrowedBy100Hz) {
  const auto levelAt = [this](double f) { return std::abs(partAt(speak(f, 0.1f, 20), -f)) / (0.707 * 0.1f / 2 * 2 * 0.94); };
  const auto lowerLevelAt = [this](double f) { return std::abs(partAt(speak(f, 0.1f, 20), f)) / (0.707 * 0.1f / 2 * 2 * 0.94); };
  ssb->setTxFilter(200, 2900);
  EXPECT_NEAR(levelAt(468.75), 1.0, 0.01);
  EXPECT_NEAR(levelAt(2625), 1.0, 0.01);
  EXPECT_LT(levelAt(93.75), 0.01) << "beyond 300 Hz";
  EXPECT_LT(levelAt(3000), 0.01) << "beyond 2800 Hz";
  EXPECT_LT(lowerLevelAt(1500), 1e-6);
  ssb->setTxFilter(-2900, -200);
  EXPECT_NEAR(lowerLevelAt(468.75), 1.0, 0.01) << "-2800 to -300 Hz: lower sideband";
  EXPECT_NEAR(lowerLevelAt(2625), 1.0, 0.01);
  EXPECT_LT(lowerLevelAt(93.75), 0.01);
  EXPECT_LT(levelAt(1500), 1e-6);
}

TEST_F(ssbModDemodTest, edgeLiesExactly100HzInside) {
  // two cascaded filters have half the level each at their edge
  ssb->setTxFilter(-20000, 1400);
  EXPECT_NEAR(partAt(speak(1500, 0.1f, 20), -1500), 0.0, 0.25 * 0.707 * 0.1f * 0.94 / 2) << "already stopped";
  ssb->setTxFilter(-20000, 1600); // edge at 1500
  EXPECT_NEAR(partAt(speak(1500, 0.1f, 20), -1500), 0.25 * 0.707 * 0.1f * 0.94, 1e-5);
}

TEST_F(ssbModDemodTest, firstFiltersPassSpeechUpsideDownInSign) {
  const auto first = speak(937.5, 0.1f, 20);
  EXPECT_GT(partAt(first, -937.5), 0.9 * 0.707 * 0.1f * 0.94) << "50 to 3100 Hz until the host sets a filter";
  EXPECT_FALSE(std::any_of(first.begin(), first.end(), [](cdouble z) { return std::isnan(z.real()); }));
  // both filters are negative, so the product isn't: the same sine has the same phase behind a proper pair
  const auto other = keptByCore(std::make_shared<ssbModDemod>(env.group));
  ssb = other;
  ssb->setTxFilter(-50, 3200);
  at = 0;
  const auto proper = speak(937.5, 0.1f, 20);
  for (size_t i = 0; i < 512; i++) EXPECT_LT(std::abs(first[i] - proper[i]), 1e-9);
}

TEST_F(ssbModDemodTest, clippingKeepsThePhaseOfTheEnvelope) {
  ssb->setTxFilter(200, 2900);
  ssb->compression.set(20.0);
  const auto out = speak(937.5, 1.0f, 40);
  // one sideband of one sine has a steady envelope: hard clipping makes no harmonics
  EXPECT_NEAR(partAt(out, -937.5), 0.94, 0.01);
  EXPECT_LT(partAt(out, -2 * 937.5), 1e-3);
  EXPECT_LT(partAt(out, 937.5), 1e-3);
}

TEST_F(ssbModDemodTest, newCurveTakesEffectWithTheNextFilterOnly) {
  const auto wireless = keptByCore(Wireless::create(env.group));
  wireless->Init();
  for (const auto& row : wireless->DefaultMicEQ.items) keptByCore(row);
  ssb->setTxFilter(200, 2900);
  ssb->compression.set(0.5);
  const double flat = partAt(speak(937.5, 0.1f, 20), -937.5);
  for (const auto& row : wireless->DefaultMicEQ.items) row->outp.set(0.25);
  EXPECT_NEAR(partAt(speak(937.5, 0.1f, 20), -937.5), flat, 1e-9);
  ssb->setTxFilter(200, 2900);
  EXPECT_NEAR(partAt(speak(937.5, 0.1f, 20), -937.5), 0.25 * flat, 1e-4 * flat);
  ssb->UseMicEQ.set(false);
  ssb->setTxFilter(200, 2900);
  EXPECT_NEAR(partAt(speak(937.5, 0.1f, 20), -937.5), flat, 1e-4 * flat);
}

TEST_F(ssbModDemodTest, speechLeavesAsTheFormulasSay) {
  const auto wireless = keptByCore(Wireless::create(env.group));
  wireless->Init();
  for (std::size_t row = 0; row < 9; row++) {
    keptByCore(wireless->DefaultMicEQ.items[row]);
    wireless->DefaultMicEQ.items[row]->inp.set(speechCurve[row].frequency_Hz);
    wireless->DefaultMicEQ.items[row]->outp.set(speechCurve[row].gain);
  }
  std::vector<float> voice;
  for (int n = 0; n < speechSamples; n++) voice.push_back(static_cast<float>(speechAt(n)));
  long sum = 0;
  for (int n = 0; n < speechSamples; n++) sum += std::lround(4096 * voice[static_cast<std::size_t>(n)]) * (n % 17 + 1);
  ASSERT_EQ(sum, speechSum) << "not the voice that the expected values belong to";
  std::vector<std::vector<cdouble>> sent;
  for (const speechCase& each : speechCases) {
    const auto mode = keptByCore(std::make_shared<ssbModDemod>(env.group));
    mode->UseMicEQ.set(each.equalised);
    mode->compression.set(each.compression);
    mode->setTxFilter(each.low, each.high);
    sent.emplace_back();
    const cbuff out(512, 0.0);
    for (std::size_t begin = 0; begin < voice.size(); begin += 512) {
      buff<float> mic(512);
      std::copy_n(voice.begin() + static_cast<std::ptrdiff_t>(begin), 512, mic.data);
      mode->modulate(complexFromAudio(mic), out);
      sent.back().insert(sent.back().end(), out.data, out.data + 512);
    }
  }
  for (const goldenSample& g : speechGolden) {
    const cdouble z = sent[static_cast<std::size_t>(g.of)][static_cast<std::size_t>(g.index)];
    EXPECT_NEAR(z.real(), g.re, 1e-9) << g.of << " " << g.index;
    EXPECT_NEAR(z.imag(), g.im, 1e-9) << g.of << " " << g.index;
  }
}

TEST(ssbFilterTest, clipFilterIsTheWindowedBandOf1536Taps) {
  for (const goldenClipTap& g : clipTaps) {
    const cbuff taps = makeBandpass(g.low, g.high, 48000, 1536, 1536);
    EXPECT_NEAR(taps.data[g.index].real(), g.re, 1e-15) << g.low << " " << g.index;
    EXPECT_NEAR(taps.data[g.index].imag(), g.im, 1e-15) << g.low << " " << g.index;
  }
}

} // namespace
} // namespace larch::test
