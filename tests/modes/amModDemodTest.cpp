#include "modes/amModDemod.h"
#include "tests/modes/amFmGolden.h"
#include "tests/modes/speechTesting.h"
#include "tests/support/allocationCounter.h"
#include <gtest/gtest.h>
#include <thread>

namespace larch::test {
namespace {

const double carrier = 0.5 / std::sqrt(2.0);

class amModDemodTest : public testing::Test {
 protected:
  amModDemodTest() { amDcAverage = 0.0; }

  std::vector<double> hear(const std::vector<cdouble>& samples, uint64_t piece = 512) {
    std::vector<double> heard;
    for (size_t at = 0; at < samples.size(); at += piece) {
      const uint64_t n = std::min<uint64_t>(piece, samples.size() - at);
      cbuff block(n);
      std::copy_n(samples.begin() + static_cast<long>(at), n, block.data);
      const buff<float> audio = am->demodulate(block);
      EXPECT_EQ(audio.count, n);
      heard.insert(heard.end(), audio.data, audio.data + audio.count);
    }
    return heard;
  }

  testGroup env;
  std::shared_ptr<amModDemod> am = keptByCore(std::make_shared<amModDemod>(env.group));
  speaker operatorsVoice;
};

TEST_F(amModDemodTest, receiverEqualsTheFormulas) {
  std::vector<cdouble> in;
  for (int n = 0; n < 1024; n++) in.push_back(received(n));
  for (uint64_t piece : {512, 1, 7, 513}) {
    amDcAverage = 0.0;
    const auto heard = hear(in, piece);
    for (const goldenSample& g : amReceived) EXPECT_NEAR(heard[static_cast<size_t>(g.index)], g.re, 1e-7) << g.index;
  }
  EXPECT_EQ(am->demodulate({}).count, 0u);
}

TEST_F(amModDemodTest, steadyCarrierDecaysFromOneByAHundredthASample) {
  const auto heard = hear(std::vector<cdouble>(2048, cdouble(0, -1)));
  for (size_t i = 0; i < heard.size(); i++) ASSERT_NEAR(heard[i], std::pow(0.99, i + 1.0), 1e-7) << i;
}

TEST_F(amModDemodTest, phaseOfTheSignalChangesNothing) {
  std::vector<cdouble> in, turned;
  for (int n = 0; n < 1024; n++) {
    in.push_back(received(n));
    turned.push_back(in.back() * std::polar(1.0, 0.7 + 0.01 * n));
  }
  const auto heard = hear(in);
  amDcAverage = 0.0;
  const auto again = hear(turned);
  for (size_t i = 0; i < heard.size(); i++) ASSERT_NEAR(heard[i], again[i], 1e-7) << i;
}

TEST_F(amModDemodTest, averageIsOneForAllReceivers) {
  const auto strong = am, weak = keptByCore(std::make_shared<amModDemod>(env.group));
  for (int round = 0; round < 3; round++) {
    am = strong;
    hear(std::vector<cdouble>(5120, 1.0));
    am = weak;
    const auto heard = hear(std::vector<cdouble>(5120, 0.1));
    for (size_t i = 0; i < heard.size(); i += 97) ASSERT_NEAR(heard[i], -0.9 * std::pow(0.99, i + 1.0), 1e-6) << i;
  }
}

TEST_F(amModDemodTest, averageThatIsNoNumberStartsAnew) {
  for (double wild : {std::nan(""), HUGE_VAL}) {
    hear(std::vector<cdouble>(512, wild));
    const auto heard = hear(std::vector<cdouble>(512, 1.0));
    for (size_t i = 0; i < heard.size(); i++) ASSERT_NEAR(heard[i], std::pow(0.99, i + 1.0), 1e-7) << i;
  }
}

TEST_F(amModDemodTest, receiversOfSeveralGroupsShareTheAverageWithoutALock) {
  const auto other = keptByCore(std::make_shared<amModDemod>(env.group));
  const auto receive = [](modDemod& mode, double level) {
    for (int i = 0; i < 200; i++) {
      const buff<float> audio = mode.demodulate(cbuff(512, level));
      for (uint64_t k = 0; k < audio.count; k++) ASSERT_LE(std::abs(audio.data[k]), 1.0);
    }
  };
  std::thread beside([&] { receive(*other, 0.2); });
  receive(*am, 1.0);
  beside.join();
  EXPECT_GE(amDcAverage, 0.19);
  EXPECT_LE(amDcAverage, 1.0);
}

TEST_F(amModDemodTest, transmitterEqualsTheFormulas) {
  am->compression.set(1.5);
  const auto sent = operatorsVoice.say(*am, 10, microphone);
  for (const goldenSample& g : amSent) {
    EXPECT_NEAR(sent[static_cast<size_t>(g.index)].real(), g.re, 1e-9) << g.index;
    EXPECT_NEAR(sent[static_cast<size_t>(g.index)].imag(), g.im, 1e-12) << g.index;
  }
}

TEST_F(amModDemodTest, silenceIsAPureCarrierAtFortyFiveDegrees) {
  for (const cdouble& z : operatorsVoice.silence(*am, 10)) {
    EXPECT_NEAR(z.real(), 0.35355339059327, 1e-13);
    EXPECT_NEAR(z.imag(), 0.35355339059327, 1e-13);
  }
}

TEST_F(amModDemodTest, fullSpeechStandsOnTheRealAxisAlone) {
  am->compression.set(20.0);
  double largest = 0, least = 1;
  for (const cdouble& z : operatorsVoice.sine(*am, 937.5, 1.0, 40)) {
    EXPECT_NEAR(z.imag(), carrier, 1e-13);
    largest = std::max(largest, z.real());
    least = std::min(least, z.real());
  }
  EXPECT_NEAR(largest, 0.97 * 0.48 + carrier, 0.02);
  EXPECT_NEAR(least, carrier - 0.97 * 0.48, 0.02) << "below zero: over-modulated on that axis";
}

TEST_F(amModDemodTest, newCurveTakesEffectAtOnce) {
  const auto station = flatStation(env);
  const auto level = [this] {
    const auto sent = operatorsVoice.sine(*am, 937.5, 0.1, 20);
    std::vector<double> real;
    for (const cdouble& z : sent) real.push_back(z.real());
    return toneIn(real, 937.5, 512);
  };
  const double flat = level();
  EXPECT_NEAR(flat, audioToComplex * 0.1 / 2 * 2 * 0.97 * 0.48 * 1.0, 1e-5);
  for (const auto& row : station->DefaultMicEQ.items) row->outp.set(0.25);
  EXPECT_NEAR(level(), 0.25 * flat, 1e-3 * flat);
}

TEST_F(amModDemodTest, wildDriveIsForgottenWithIt) {
  for (double wild : {std::nan(""), HUGE_VAL, -HUGE_VAL, 1e308, -1.0}) {
    am->compression.set(wild);
    operatorsVoice.sine(*am, 700, 1.0, 5);
    am->compression.set(1.0);
    operatorsVoice.silence(*am, 15);
    for (const cdouble& z : operatorsVoice.silence(*am, 1)) ASSERT_LT(std::abs(z - cdouble(carrier, carrier)), 1e-9) << wild;
  }
}

TEST_F(amModDemodTest, steadyPathTakesOneOwnerABlock) {
  const cbuff in(512, 0.1), out(512);
  am->modulate(in, out);
  const float* samples = am->demodulate(in).data;
  const int64_t before = allocationsOfThisThread();
  for (int i = 0; i < 20; i++) am->modulate(in, out);
  EXPECT_EQ(allocationsOfThisThread(), before);
  for (int i = 0; i < 20; i++) EXPECT_EQ(am->demodulate(in).data, samples) << "from the pool";
  EXPECT_LE(allocationsOfThisThread(), before + 20) << "the owners of the audio blocks";
}

} // namespace
} // namespace larch::test
