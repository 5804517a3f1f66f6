// The envelope of whole transmissions, sample by sample, against gains made by a script of its own.
#include "tests/transceiver/chainTesting.h"
#include "tests/transceiver/transmitEnvelopeGolden.h"
#include <gtest/gtest.h>

namespace larch::test {
namespace {

constexpr double tolerance = 4e-16; // the other cosine may round its last bit differently

std::vector<double> gainsOf(const goldenKeying& k) {
  std::vector<double> gains;
  for (const goldenRun& run : k.runs)
    for (int i = run.first; i < run.first + run.count; i++)
      gains.push_back(run.kind == gainOf::rise   ? goldenRise[i]
                      : run.kind == gainOf::fall ? goldenFall[i]
                                                 : run.kind == gainOf::one);
  return gains;
}

class transmitEnvelopeGoldenTest : public testing::TestWithParam<size_t> {
 protected:
  const goldenKeying& keying = goldenKeyings[GetParam()];
};

TEST_P(transmitEnvelopeGoldenTest, eachSampleOfTheChainHasItsGain) {
  testGroup env;
  const auto mode = keptByCore(std::make_shared<fakeMode>(env.group));
  mode->blockedTx = keying.blocked;
  mode->useTxFilter = false;
  mode->txTailSamples = keying.tail;
  mode->level = {0.5, -0.25};
  transmitChain chain;
  std::vector<cdouble> sent;
  int groups = 0, overAfter = -1;
  for (const goldenEvent& event : keying.events) {
    event.down ? chain.keyDown(mode.get()) : chain.keyUp(mode.get());
    for (int i = 0; i < event.groups; i++) {
      const auto group = samplesOf(chain.produce(mode.get(), false, [](const buff<float>&) {}));
      sent.insert(sent.end(), group.begin(), group.end());
      groups++;
      if (chain.isOver() && overAfter < 0) overAfter = groups;
    }
  }
  EXPECT_EQ(overAfter, keying.overAfter);
  const auto gains = gainsOf(keying);
  ASSERT_EQ(sent.size(), gains.size());
  for (size_t i = 0; i < gains.size(); i++)
    ASSERT_LE(std::abs(sent[i] - gains[i] * mode->level), tolerance) << "sample " << i << ", group " << i / 126;
}

// However the samples are cut into blocks.
TEST_P(transmitEnvelopeGoldenTest, blocksOfAnyLengthGiveTheSame) {
  const auto gains = gainsOf(keying);
  for (uint64_t piece : {1, 7, 126, 511, 512}) {
    transmitEnvelope e;
    std::vector<cdouble> sent;
    for (const goldenEvent& event : keying.events) {
      event.down ? e.rise(keying.blocked) : e.fall(keying.tail);
      for (uint64_t left = 126 * static_cast<uint64_t>(event.groups); left > 0;) {
        const cbuff block(std::min(piece, left), 1.0);
        e.apply(block);
        sent.insert(sent.end(), block.data, block.data + block.count);
        left -= block.count;
      }
    }
    ASSERT_EQ(sent.size(), gains.size());
    for (size_t i = 0; i < gains.size(); i++) ASSERT_LE(std::abs(sent[i] - gains[i]), tolerance) << piece << " " << i;
  }
}

INSTANTIATE_TEST_SUITE_P(keyings, transmitEnvelopeGoldenTest, testing::Range(size_t{0}, std::size(goldenKeyings)));

} // namespace
} // namespace larch::test
