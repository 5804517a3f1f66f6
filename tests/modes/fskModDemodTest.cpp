// The FSK mode: its settings, and nothing of a signal.
#include "modes/fskModDemod.h"
#include "tests/runtime/testGroup.h"
#include <gtest/gtest.h>
#include <limits>

namespace larch::test {
namespace {

struct fskModDemodTest : testing::Test {
  testGroup g;
  std::shared_ptr<fskModDemod> mode = keptByCore(std::make_shared<fskModDemod>(g.group));
};

TEST_F(fskModDemodTest, beginsWithoutTones) {
  EXPECT_EQ(mode->f0.value, 0);
  EXPECT_EQ(mode->f1.value, 0);
  EXPECT_EQ(mode->baud.value, 0);
}

TEST_F(fskModDemodTest, receivesSilenceOfTheBlocksLength) {
  { buff<float> used(512, 0.7f); } // the pool gives it again
  for (const uint64_t count : {0u, 1u, 7u, 511u, 512u, 513u}) {
    const auto audio = mode->demodulate(cbuff(count, std::complex<double>(1, 1)));
    ASSERT_EQ(audio.count, count);
    for (uint64_t i = 0; i < count; i++) ASSERT_EQ(audio.data[i], 0.0f);
  }
}

TEST_F(fskModDemodTest, leavesTheTransmitBlockAsItIs) {
  using range = std::numeric_limits<int32_t>;
  for (const int32_t value : {0, 2125, range::max(), range::min()}) {
    mode->f0.set(value);
    mode->f1.set(value);
    mode->baud.set(value);
    const cbuff in(126, 1.0), out(126, std::complex<double>(0.25, -0.5));
    mode->modulate(in, out);
    for (uint64_t i = 0; i < out.count; i++) ASSERT_EQ(out.data[i], std::complex<double>(0.25, -0.5));
  }
}

} // namespace
} // namespace larch::test
