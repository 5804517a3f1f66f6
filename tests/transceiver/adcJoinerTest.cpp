#include "tests/transceiver/chainTesting.h"
#include <gtest/gtest.h>

namespace larch::test {
namespace {

cbuff steady(uint64_t n, cdouble value) { return cbuff(n, value); }

TEST(adcJoinerTest, oneAdcPassesTheChunkItself) {
  for (int32_t mask : {0, 1, 2, 4, 8}) {
    adcJoiner joiner;
    const cbuff chunk = steady(7, {1, 2});
    const int32_t adc = mask == 2 ? 1 : mask == 4 ? 2 : mask == 8 ? 3 : 0;
    const auto out = joiner.gather(chunk, adc, mask, {});
    ASSERT_TRUE(out) << mask;
    EXPECT_EQ(out->data, chunk.data) << "a view, no copy";
  }
}

TEST(adcJoinerTest, waitsForTheOtherStreamAndJoinsBothInEitherOrder) {
  for (bool secondFirst : {false, true}) {
    adcJoiner joiner;
    const cbuff first = steady(8, {1, 0}), second = steady(8, {0, 2});
    EXPECT_FALSE(secondFirst ? joiner.gather(second, 1, 3, {}) : joiner.gather(first, 0, 3, {}));
    const auto out = secondFirst ? joiner.gather(first, 0, 3, {}) : joiner.gather(second, 1, 3, {});
    ASSERT_TRUE(out);
    EXPECT_EQ(samplesOf(*out), std::vector<cdouble>(8, cdouble(1, 2)));
    EXPECT_EQ(first.data[0], cdouble(1, 0)) << "chunks are read only";
  }
}

TEST(adcJoinerTest, newerChunkOfOneAdcReplacesTheWaitingOne) {
  adcJoiner joiner;
  EXPECT_FALSE(joiner.gather(steady(4, 1), 0, 3, {}));
  EXPECT_FALSE(joiner.gather(steady(4, 5), 0, 3, {}));
  const auto out = joiner.gather(steady(4, 10), 1, 3, {});
  ASSERT_TRUE(out);
  EXPECT_EQ(samplesOf(*out), std::vector<cdouble>(4, cdouble(15)));
}

TEST(adcJoinerTest, aPairIsUsedOnce) {
  adcJoiner joiner;
  joiner.gather(steady(4, 1), 0, 3, {});
  ASSERT_TRUE(joiner.gather(steady(4, 1), 1, 3, {}));
  EXPECT_FALSE(joiner.gather(steady(4, 1), 1, 3, {})) << "waits for ADC 0 again";
}

TEST(adcJoinerTest, gainOfZeroLeavesTheFirstStream) {
  adcJoiner joiner;
  const cbuff first = mirroredTone(1000, 48000, 512), second = mirroredTone(-3000, 48000, 512);
  joiner.gather(first, 0, 3, {0.0, 30.0});
  const auto out = joiner.gather(second, 1, 3, {0.0, 30.0});
  ASSERT_TRUE(out);
  EXPECT_EQ(samplesOf(*out), samplesOf(first));
}

TEST(adcJoinerTest, secondStreamIsWeightedByGainAndPhase) {
  adcJoiner joiner;
  joiner.gather(steady(4, {1, 1}), 0, 3, {});
  const auto out = joiner.gather(steady(4, {2, 0}), 1, 3, {0.5, 90.0});
  ASSERT_TRUE(out);
  // 0.5 e^(j90°) * 2 = j, with pi as 3.1415927
  EXPECT_NEAR(out->data[3].real(), 1 + std::cos(3.1415927 / 2), 1e-15);
  EXPECT_NEAR(out->data[3].imag(), 1 + std::sin(3.1415927 / 2), 1e-15);
}

TEST(adcJoinerTest, unequalChunksJoinOverTheFirstsLength) {
  adcJoiner joiner;
  joiner.gather(steady(2048, 1), 0, 3, {});
  const auto longFirst = joiner.gather(steady(512, 10), 1, 3, {});
  ASSERT_TRUE(longFirst);
  ASSERT_EQ(longFirst->count, 2048u);
  EXPECT_EQ(longFirst->data[511], cdouble(11));
  EXPECT_EQ(longFirst->data[512], cdouble(1)) << "missing samples count as 0";
  EXPECT_EQ(longFirst->data[2047], cdouble(1));
  joiner.gather(steady(512, 1), 0, 3, {});
  const auto shortFirst = joiner.gather(steady(2048, 10), 1, 3, {});
  ASSERT_TRUE(shortFirst);
  EXPECT_EQ(samplesOf(*shortFirst), std::vector<cdouble>(512, cdouble(11)));
}

TEST(adcJoinerTest, maskOfOtherPairsJoinsSlotsZeroAndOneAllTheSame) {
  adcJoiner joiner;
  EXPECT_FALSE(joiner.gather(steady(4, 3), 0, 5, {}));
  const auto out = joiner.gather(steady(4, 100), 2, 5, {});
  ASSERT_TRUE(out);
  EXPECT_EQ(samplesOf(*out), std::vector<cdouble>(4, cdouble(3))) << "slot 1 is empty";
  EXPECT_FALSE(joiner.gather(steady(4, 3), 2, 12, {}));
  const auto none = joiner.gather(steady(4, 3), 3, 12, {});
  ASSERT_TRUE(none);
  EXPECT_EQ(none->count, 0u) << "both slots are empty";
}

TEST(adcJoinerTest, adcOutOfRangeAndMaskBeyondTheAdcsGiveNothing) {
  adcJoiner joiner;
  EXPECT_FALSE(joiner.gather(steady(4, 1), -1, 1, {}));
  EXPECT_FALSE(joiner.gather(steady(4, 1), 4, 1, {}));
  for (int32_t adc = 0; adc < 4; adc++) EXPECT_FALSE(joiner.gather(steady(4, 1), adc, -1, {}));
}

} // namespace
} // namespace larch::test
