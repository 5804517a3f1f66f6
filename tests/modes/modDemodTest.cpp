// The base of the modes: the empty mode.
#include "modes/modDemod.h"
#include "tests/runtime/testGroup.h"
#include <gtest/gtest.h>
#include <thread>
#include <vector>

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

TEST(modeTurnConcurrentTest, oneTransceiverAtATimeIsInAMode) {
  testGroup env;
  const auto mode = keptByCore(std::make_shared<modDemod>(env.group));
  int64_t inside = 0; // unguarded but for the turn
  std::atomic<int64_t> turns = 0;
  {
    std::vector<std::jthread> transceivers;
    for (int t = 0; t < 3; t++)
      transceivers.emplace_back([&] {
        for (int i = 0; i < 20000; i++) {
          const modeTurn turn(mode.get());
          if (!turn.mode()) continue;
          inside++;
          turns++;
        }
      });
  }
  EXPECT_EQ(inside, turns.load());
  EXPECT_GT(turns.load(), 0);
  EXPECT_EQ(modeTurn(mode.get()).mode(), mode.get());
}

TEST(modeTurnTest, theOneInsideRefusesUntilItHasLeft) {
  testGroup env;
  const auto mode = keptByCore(std::make_shared<modDemod>(env.group));
  {
    const modeTurn first(mode.get());
    EXPECT_EQ(first.mode(), mode.get());
    EXPECT_EQ(modeTurn(mode.get()).mode(), nullptr);
    EXPECT_EQ(modeTurn(mode.get()).mode(), nullptr) << "a refused one takes nothing with it";
  }
  EXPECT_EQ(modeTurn(mode.get()).mode(), mode.get());
  EXPECT_EQ(modeTurn(nullptr).mode(), nullptr);
}

} // namespace
} // namespace larch::test
