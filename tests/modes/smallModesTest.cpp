// The base of the modes, the proxy and the signal generator.
#include "modes/modDemod.h"
#include "modes/proxyModDemod.h"
#include "modes/sigGenModDemod.h"
#include "tests/runtime/testGroup.h"
#include <gtest/gtest.h>
#include <limits>

namespace larch::test {
namespace {

using cdouble = std::complex<double>;

std::vector<cdouble> samplesOf(const cbuff& b) { return {b.data, b.data + b.count}; }
cbuff ramp(uint64_t n) {
  cbuff b(n);
  for (uint64_t i = 0; i < n; i++) b.data[i] = {0.25 * static_cast<double>(i), -1.0};
  return b;
}
void expectRealPart(modDemod& mode) {
  for (uint64_t n : {0, 1, 7, 511, 512, 513}) {
    const auto audio = mode.demodulate(ramp(n));
    ASSERT_EQ(audio.count, n);
    for (uint64_t i = 0; i < n; i++) EXPECT_EQ(audio.data[i], 0.25f * static_cast<float>(i));
  }
}

TEST(modDemodTest, emptyModeMakesNoAudioAndLeavesTheOutput) {
  testGroup env;
  const auto mode = keptByCore(std::make_shared<modDemod>(env.group));
  EXPECT_EQ(mode->demodulate(ramp(512)).count, 0u);
  const cbuff out(512, cdouble(3, 4));
  mode->modulate(ramp(512), out);
  EXPECT_EQ(samplesOf(out), std::vector<cdouble>(512, cdouble(3, 4)));
  EXPECT_EQ(mode->sampleRate(), 48000);
}

TEST(modDemodTest, startsWithTheValuesThatTheTransceiverReliesOn) {
  testGroup env;
  const auto mode = keptByCore(std::make_shared<modDemod>(env.group));
  EXPECT_EQ(mode->txTailSamples, 512);
  EXPECT_FALSE(mode->txFinishing);
  EXPECT_TRUE(mode->useTxFilter);
  EXPECT_TRUE(mode->blockedTx);
  EXPECT_FALSE(mode->minimumPhaseRx);
  EXPECT_EQ(mode->owner.load().object.lock(), nullptr);
  EXPECT_EQ(mode->rnnoiseSquelch.value, 80.0);
  EXPECT_FALSE(mode->rnnoise.value);
}

cbuff* lastRx = nullptr;
void onRx(cbuff* block) { lastRx = block; }
void onTx(cbuff* out, cbuff* mic) {
  for (uint64_t i = 0; i < out->count; i++) out->data[i] = mic->data[i] * 2.0;
  delete out;
  delete mic;
}

TEST(proxyModDemodTest, unboundProxyIsAReceiverWithoutTransmitSignal) {
  testGroup env;
  const auto mode = keptByCore(std::make_shared<proxyModDemod>(env.group));
  expectRealPart(*mode);
  const cbuff out(512, 0.0);
  mode->modulate(ramp(512), out);
  EXPECT_EQ(samplesOf(out), std::vector<cdouble>(512, cdouble(0)));
}

TEST(proxyModDemodTest, hostGetsAnObjectOfItsOwnThatSharesTheBlock) {
  testGroup env;
  const auto mode = keptByCore(std::make_shared<proxyModDemod>(env.group));
  mode->rxChunk = onRx;
  auto block = std::make_unique<cbuff>(ramp(512));
  const cdouble* samples = block->data;
  mode->demodulate(*block);
  block.reset();
  ASSERT_NE(lastRx, nullptr) << "called inside demodulate";
  EXPECT_EQ(lastRx->data, samples);
  EXPECT_EQ(lastRx->count, 512u);
  EXPECT_EQ(lastRx->data[4], cdouble(1.0, -1.0)) << "the host's object keeps the block";
  delete lastRx;
  lastRx = nullptr;
}

TEST(proxyModDemodTest, hostFillsTheOutputBeforeItReturns) {
  testGroup env;
  const auto mode = keptByCore(std::make_shared<proxyModDemod>(env.group));
  mode->getTxChunk = onTx;
  const cbuff out(512, 0.0);
  mode->modulate(ramp(512), out);
  EXPECT_EQ(out.data[4], cdouble(2.0, -2.0));
}

class sigGenModDemodTest : public testing::Test {
 protected:
  std::vector<cdouble> send(uint64_t n) {
    const cbuff out(n, cdouble(9, 9));
    mode->modulate(ramp(n), out);
    return samplesOf(out);
  }
  testGroup env;
  std::shared_ptr<sigGenModDemod> mode = keptByCore(std::make_shared<sigGenModDemod>(env.group));
};

TEST_F(sigGenModDemodTest, hearsTheChannel) { expectRealPart(*mode); }

TEST_F(sigGenModDemodTest, bothLevelsZeroIsZeros) {
  mode->ampl1.set(0.0);
  for (const cdouble& z : send(512)) EXPECT_EQ(std::abs(z), 0.0);
}

TEST_F(sigGenModDemodTest, startsAsAPlainCarrier) { EXPECT_EQ(send(512), std::vector<cdouble>(512, cdouble(1))); }

TEST_F(sigGenModDemodTest, carrierAndToneBelowItUnlimited) {
  mode->ampl1.set(0.75);
  mode->ampl2.set(1.5);
  mode->freq2.set(700.0);
  std::vector<cdouble> out;
  for (uint64_t n : {0, 1, 7, 511, 512, 513, 5000})
    for (const cdouble& z : send(n)) out.push_back(z);
  const double step = 2 * 700.0 * 3.1415927 / 48000;
  double largest = 0;
  for (size_t i = 0; i < out.size(); i++) {
    const double phase = std::fmod(step * static_cast<double>(i + 1), 6.2831854); // the turn's short form
    EXPECT_NEAR(out[i].real(), 0.75 + 1.5 * std::cos(phase), 2e-7) << i;
    EXPECT_NEAR(out[i].imag(), -1.5 * std::sin(phase), 2e-7) << i;
    largest = std::max(largest, std::abs(out[i]));
  }
  EXPECT_GT(largest, 2.2) << "above 1.0, as set";
}

TEST_F(sigGenModDemodTest, negativeFrequencyStandsAbove) {
  mode->ampl1.set(0.0);
  mode->ampl2.set(1.0);
  mode->freq2.set(-20000.0);
  std::vector<cdouble> out;
  for (int i = 0; i < 20; i++) out = send(50000); // the phase is folded on the way
  for (size_t i = 1; i < out.size(); i++) ASSERT_NEAR(std::arg(out[i] / out[i - 1]), 2 * 20000.0 * 3.1415927 / 48000, 1e-8) << i;
}

TEST_F(sigGenModDemodTest, frequencyThatIsNoNumberIsForgotten) {
  mode->ampl2.set(0.5);
  for (double bad : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(), 1e300}) {
    mode->freq2.set(bad);
    send(512);
    mode->freq2.set(200.0);
    send(512);
    const auto out = send(512);
    for (size_t i = 1; i < 512; i++)
      EXPECT_NEAR(std::arg((out[i - 1] - 1.0) / (out[i] - 1.0)), 2 * 200.0 * 3.1415927 / 48000, 2e-7) << bad;
  }
}

} // namespace
} // namespace larch::test
