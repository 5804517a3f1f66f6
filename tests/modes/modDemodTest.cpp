// The base of the modes: the empty mode.
#include "modes/modDemod.h"
#include "tests/runtime/testGroup.h"
#include <gtest/gtest.h>

namespace larch::test {
namespace {

using cdouble = std::complex<double>;

TEST(modDemodTest, emptyModeMakesNoAudioAndLeavesTheOutput) {
  testGroup env;
  const auto mode = keptByCore(std::make_shared<modDemod>(env.group));
  EXPECT_EQ(mode->demodulate(cbuff(512, 1.0)).count, 0u);
  const cbuff out(512, cdouble(3, 4));
  mode->modulate(cbuff(512, 1.0), out);
  EXPECT_EQ(std::vector<cdouble>(out.data, out.data + out.count), std::vector<cdouble>(512, cdouble(3, 4)));
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

} // namespace
} // namespace larch::test
