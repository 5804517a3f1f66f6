// What the transmit chain takes from the heap: the owners of its pooled blocks and nothing else.
#include "modes/ssbModDemod.h"
#include "tests/support/allocationCounter.h"
#include "tests/transceiver/chainTesting.h"
#include <gtest/gtest.h>

namespace larch::test {
namespace {

// 512 groups of 126 samples are 126 blocks of 512.
constexpr int groups = 512, blocks = 126;

int64_t takenBy(transmitChain& chain, modDemod* mode, bool tune) {
  const auto read = [](const buff<float>& mic) { std::fill_n(mic.data, mic.count, 0.1f); };
  const auto turn = [&] {
    for (int i = 0; i < groups; i++) chain.produce(mode, tune, read);
  };
  turn(); // warms the pool and the transforms
  const int64_t before = allocationsOfThisThread();
  turn();
  return allocationsOfThisThread() - before;
}

TEST(transmitAllocationTest, speechTakesTheOwnersOfItsBlocksOnly) {
  testGroup env;
  const auto mode = keptByCore(std::make_shared<ssbModDemod>(env.group));
  for (const bool equalised : {false, true}) {
    mode->UseMicEQ.set(equalised);
    mode->setTxFilter(200, 2900);
    transmitChain chain;
    chain.keyDown(mode.get());
    EXPECT_LE(takenBy(chain, mode.get(), false), groups + 2 * blocks) << "a group; the microphone's block and its complex form";
  }
}

TEST(transmitAllocationTest, groupsStraightFromTheModeTakeThreeOwners) {
  testGroup env;
  const auto mode = keptByCore(std::make_shared<ssbModDemod>(env.group));
  transmitChain chain;
  chain.keyDown(mode.get());
  EXPECT_LE(takenBy(chain, mode.get(), true), 3 * groups) << "a steady carrier";
}

TEST(transmitAllocationTest, aGroupOfTheTransceiverTakesOneTaskMore) {
  station s;
  const auto mode = keptByCore(std::make_shared<ssbModDemod>(s.env.group));
  s.transceiver->setModulation(mode);
  s.transceiver->ptt.set(true);
  s.env.turns();
  const auto turn = [&] {
    s.radio->sent.clear();
    for (int i = 0; i < groups; i++) {
      s.transceiver->modulateTask();
      s.env.turns();
    }
  };
  s.radio->sent.reserve(groups * 126);
  turn();
  const int64_t before = allocationsOfThisThread();
  turn();
  // the recording radio copies each group
  EXPECT_LE(allocationsOfThisThread() - before, 2 * groups + 2 * blocks + groups);
}

} // namespace
} // namespace larch::test
