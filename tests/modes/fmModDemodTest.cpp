#include "modes/fmModDemod.h"
#include "modes/fmFilters.h"
#include "tests/modes/amFmGolden.h"
#include "tests/modes/speechTesting.h"
#include "tests/support/allocationCounter.h"
#include <gtest/gtest.h>

namespace larch::test {
namespace {

class fmModDemodTest : public testing::Test {
 protected:
  std::vector<double> hear(const cbuff& block) {
    const buff<float> audio = fm->demodulate(block);
    return {audio.data, audio.data + audio.count};
  }
  void hearGolden(int blocks, std::vector<double>& heard) {
    for (int b = 0; b < blocks; b++) {
      cbuff block(512);
      for (int i = 0; i < 512; i++) block.data[i] = received(next++);
      const auto audio = hear(block);
      heard.insert(heard.end(), audio.begin(), audio.end());
    }
  }

  testGroup env;
  std::shared_ptr<fmModDemod> fm = keptByCore(std::make_shared<fmModDemod>(env.group));
  speaker operatorsVoice;
  int next = 0;
};

TEST_F(fmModDemodTest, narrowReceiverEqualsTheFormulas) {
  fm->deviation.set(5000.0);
  std::vector<double> heard;
  hearGolden(4, heard);
  ASSERT_EQ(heard.size(), 2048u);
  for (const goldenSample& g : fmReceivedNarrow) EXPECT_NEAR(heard[static_cast<size_t>(g.index)], g.re, 1e-7) << g.index;
}

TEST_F(fmModDemodTest, wideBlocksOf64GoThroughTheFilterOf512AmongWhatIsOld) {
  fm->deviation.set(5000.0);
  std::vector<double> heard;
  hearGolden(2, heard); // the old samples
  fm->deviation.set(75000.0);
  hearGolden(12, heard);
  ASSERT_EQ(heard.size(), 1024u + 12 * 64);
  for (const goldenSample& g : fmReceivedAfterWide) EXPECT_NEAR(heard[static_cast<size_t>(g.index)], g.re, 1e-7) << g.index;
}

TEST_F(fmModDemodTest, blockLengthFollowsTheDeviation) {
  EXPECT_EQ(fm->sampleRate(), 384000) << "as it is made";
  fm->deviation.set(11999.0);
  EXPECT_EQ(fm->sampleRate(), 48000);
  EXPECT_EQ(hear(cbuff(512, 1.0)).size(), 512u);
  fm->deviation.set(12000.0);
  EXPECT_EQ(fm->sampleRate(), 384000);
  EXPECT_EQ(hear(cbuff(512, 1.0)).size(), 64u);
  EXPECT_EQ(hear({}).size(), 0u);
}

TEST_F(fmModDemodTest, carrierOnFrequencyIsSilent) {
  for (double deviation : {5000.0, 75000.0}) {
    fm->deviation.set(deviation);
    hear(cbuff(512, std::polar(0.2, 2.0))); // the step from nothing to the carrier is no turn, either
    for (int b = 0; b < 5; b++)
      for (double x : hear(cbuff(512, std::polar(1e-9 + b, 2.0)))) EXPECT_NEAR(x, 0.0, 1e-12) << "the level doesn't matter";
  }
}

TEST_F(fmModDemodTest, sampleOfZeroIsNoTurn) {
  fm->deviation.set(5000.0);
  for (const cdouble& carrier : {cdouble(1, 1), cdouble(-1, 1), cdouble(-1, -1), cdouble(1, -1), cdouble(-1, 0)}) {
    cbuff block(512, carrier);
    for (uint64_t i = 3; i < 512; i += 7) block.data[i] = 0.0;
    for (uint64_t i = 5; i < 512; i += 14) block.data[i] = -0.0;
    block.data[0] = 0.0; // nor does a new carrier begin with one
    for (int b = 0; b < 4; b++)
      for (double x : hear(block)) ASSERT_EQ(x, 0.0) << carrier;
  }
}

TEST_F(fmModDemodTest, transmitterEqualsTheFormulas) {
  fm->compression.set(0.75);
  fm->deviation.set(5000.0);
  fm->CTCSS.set(88.5);
  const auto sent = operatorsVoice.say(*fm, 10, microphone);
  for (const goldenSample& g : fmSent) {
    EXPECT_NEAR(sent[static_cast<size_t>(g.index)].real(), g.re, 1e-8) << g.index;
    EXPECT_NEAR(sent[static_cast<size_t>(g.index)].imag(), g.im, 1e-8) << g.index;
  }
}

TEST_F(fmModDemodTest, deviationAloneSetsTheSwing) {
  fm->compression.set(20.0);
  for (double deviation : {1000.0, 2500.0, 5000.0, 12000.0}) { // at 48 kHz whatever the receiver's rate is
    fm->deviation.set(deviation);
    fm->CTCSS.set(0.0);
    const double plain = toneIn(deviationOf(operatorsVoice.sine(*fm, 937.5, 1.0, 30)), 937.5, 2048);
    EXPECT_NEAR(plain, 0.97 * deviation, 0.01 * deviation) << "the limiter's level";
    fm->CTCSS.set(88.5);
    const double beside = toneIn(deviationOf(operatorsVoice.sine(*fm, 937.5, 1.0, 200)), 937.5, 51200);
    EXPECT_NEAR(beside, 0.85 * plain, 0.001 * deviation) << "room for the tone";
  }
}

TEST_F(fmModDemodTest, toneIsATenthOfTheSwing) {
  fm->deviation.set(5000.0);
  for (double tone : {67.0, 88.5, 254.1}) {
    fm->CTCSS.set(tone);
    const auto hertz = deviationOf(operatorsVoice.silence(*fm, 94));
    const auto periods = static_cast<size_t>(tone / 2); // of 24,000 samples
    const auto count = static_cast<size_t>(std::lround(static_cast<double>(periods) * 48000 / tone));
    EXPECT_NEAR(toneIn(hertz, tone, count), 0.1 * 0.85 * 5000, 0.5) << tone;
    EXPECT_LT(toneIn(hertz, tone * (static_cast<double>(periods) + 2) / static_cast<double>(periods), count), 2.0) << tone;
  }
}

TEST_F(fmModDemodTest, toneStopsAtOnceAndItsPhaseWaits) {
  fm->deviation.set(5000.0);
  fm->CTCSS.set(88.5);
  const auto tone = operatorsVoice.silence(*fm, 3);
  fm->CTCSS.set(0.0);
  auto still = operatorsVoice.silence(*fm, 2);
  for (const cdouble& z : still) ASSERT_LT(std::abs(z - tone.back()), 1e-9) << "no ramp";
  fm->CTCSS.set(88.5);
  still.erase(still.begin(), still.end() - 1);
  for (const cdouble& z : operatorsVoice.silence(*fm, 1)) still.push_back(z);
  const auto hertz = deviationOf(still);
  for (size_t i = 0; i < 512; i++) {
    const double phase = 2 * pi * 88.5 / 48000 * static_cast<double>(3 * 512 + i + 1);
    ASSERT_NEAR(hertz[i], 0.1 * 0.85 * 5000 * std::cos(phase), 1e-6) << i;
  }
}

TEST_F(fmModDemodTest, magnitudeIsAlways099) {
  fm->deviation.set(75000.0);
  fm->compression.set(30.0);
  for (double f : {10.0, 300.0, 1000.0, 3000.0, 9000.0})
    for (const cdouble& z : operatorsVoice.sine(*fm, f, 1.0, 10)) ASSERT_NEAR(std::abs(z), 0.99, 1e-14) << f;
  for (const cdouble& z : operatorsVoice.silence(*fm, 10)) ASSERT_NEAR(std::abs(z), 0.99, 1e-14);
}

TEST_F(fmModDemodTest, phaseOfManyTurnsInABlockIsTheSameSignal) {
  // 9 kHz of swing at 469 Hz: 19 radians up and down; one turn a block comes off at the most
  fm->deviation.set(9000.0);
  fm->compression.set(30.0);
  const double level = toneIn(deviationOf(operatorsVoice.sine(*fm, 468.75, 1.0, 60)), 468.75, 2048);
  EXPECT_NEAR(level, 0.97 * 9000, 0.01 * 9000);
}

TEST_F(fmModDemodTest, wildValuesKeepTheCarrierAndAreForgotten) {
  const double wild[] = {std::nan(""), HUGE_VAL, -HUGE_VAL, 1e300, -1e300, 1e-300, -5000.0, 0.0};
  for (double value : wild) {
    for (property<double>* p : {&fm->deviation, &fm->CTCSS, &fm->compression}) {
      p->set(value);
      EXPECT_TRUE(fm->sampleRate() == 48000 || fm->sampleRate() == 384000);
      for (const cdouble& z : operatorsVoice.sine(*fm, 937.5, 1.0, 6)) ASSERT_NEAR(std::abs(z), 0.99, 1e-12) << value;
      hear(cbuff(512, 0.5));
      fm->deviation.set(5000.0);
      fm->CTCSS.set(88.5);
      fm->compression.set(20.0);
    }
    operatorsVoice.sine(*fm, 937.5, 1.0, 15);
    const double swing = toneIn(deviationOf(operatorsVoice.sine(*fm, 937.5, 1.0, 100)), 937.5, 51200 - 512);
    EXPECT_NEAR(swing, 0.97 * 0.85 * 5000, 0.02 * 5000) << value;
  }
}

TEST_F(fmModDemodTest, samplesThatAreNoNumbersLeaveTheReceiverSoon) {
  fm->deviation.set(5000.0);
  for (double wild : {std::nan(""), HUGE_VAL, 1e200}) {
    hear(cbuff(512, cdouble(wild, 1.0)));
    for (int b = 0; b < 4; b++) hear(cbuff(512, 1.0));
    for (double x : hear(cbuff(512, 1.0))) ASSERT_EQ(x, 0.0);
  }
}

TEST_F(fmModDemodTest, newCurveTakesEffectAtOnce) {
  const auto station = flatStation(env);
  fm->deviation.set(5000.0);
  const auto level = [this] { return toneIn(deviationOf(operatorsVoice.sine(*fm, 937.5, 0.05, 20)), 937.5, 512); };
  const double flat = level();
  EXPECT_NEAR(flat, audioToComplex * 0.05 / 2 * 2 * 937.5 / 300 * 0.97 * 5000, 1.0);
  for (const auto& row : station->DefaultMicEQ.items) row->outp.set(0.25);
  EXPECT_NEAR(level(), 0.25 * flat, 1e-3 * flat);
}

TEST_F(fmModDemodTest, hearsItself) {
  fm->deviation.set(5000.0);
  for (double f : {468.75, 937.5, 1875.0, 2812.5}) {
    const auto sent = operatorsVoice.sine(*fm, f, 0.02, 20);
    const double swing = toneIn(deviationOf(sent), f, 2048);
    std::vector<double> heard;
    for (size_t at = 0; at < sent.size(); at += 512) {
      cbuff block(512);
      std::copy_n(sent.begin() + static_cast<long>(at), 512, block.data);
      for (double x : hear(block)) heard.push_back(x);
    }
    // radians a sample; half of it on the side that the filter passes
    EXPECT_NEAR(toneIn(heard, f, 2048), swing * 2 * pi / 48000 * 0.5 * 300 / f, 0.03 * swing * 2 * pi / 48000 * 0.5 * 300 / f)
        << f;
  }
}

TEST_F(fmModDemodTest, steadyPathTakesOneOwnerABlock) {
  fm->CTCSS.set(88.5);
  const cbuff in(512, 0.1), out(512);
  for (double deviation : {5000.0, 75000.0}) {
    fm->deviation.set(deviation);
    fm->modulate(in, out);
    const float* samples = fm->demodulate(in).data;
    const int64_t before = allocationsOfThisThread();
    for (int i = 0; i < 20; i++) fm->modulate(in, out);
    EXPECT_EQ(allocationsOfThisThread(), before);
    for (int i = 0; i < 20; i++) EXPECT_EQ(fm->demodulate(in).data, samples) << "from the pool";
    EXPECT_LE(allocationsOfThisThread(), before + 20) << "the owners of the audio blocks";
  }
}

} // namespace
} // namespace larch::test
