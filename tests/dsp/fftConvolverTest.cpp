#include "dsp/fftConvolver.h"
#include "tests/dsp/kernelTesting.h"
#include <gtest/gtest.h>
#include <cmath>
#include <thread>
#include <vector>

using namespace larch;
using namespace larch::testing;

namespace {

cbuff noiseBuff(uint64_t count, unsigned seed) {
  const auto x = noise(count, seed);
  cbuff result(count);
  std::copy(x.begin(), x.end(), result.data);
  return result;
}

// The convolution as a sum of products, from sample `start` of x on.
std::vector<cdouble> convolved(const cbuff& taps, const cbuff& x, uint64_t start, uint64_t count) {
  std::vector<cdouble> y(count);
  for (uint64_t n = 0; n < count; n++)
    for (uint64_t k = 0; k < taps.count && k <= start + n; k++) y[n] += taps.data[k] * x.data[start + n - k];
  return y;
}

void feed(fftConvolver& convolver, const cbuff& x, uint64_t block) {
  slice(x, block * 512, 512).copy(convolver.input);
  convolver.process();
}

double worstOf(const cbuff& a, const std::vector<cdouble>& b) {
  double result = 0;
  for (std::size_t i = 0; i < b.size(); i++) result = std::max(result, std::abs(a.data[i] - b[i]));
  return result;
}

class fftConvolverTest : public variantTest {};

} // namespace

TEST_P(fftConvolverTest, impulseGivesTheTapsInOrder) {
  const cbuff taps = noiseBuff(1536, 1);
  fftConvolver convolver(taps, GetParam());
  for (int block = 0; block < 4; block++) {
    std::fill_n(convolver.input.data, 512, cdouble(0));
    if (block == 0) convolver.input.data[0] = 1;
    convolver.process();
    for (int i = 0; i < 512; i++) {
      const cdouble expected = block < 3 ? taps.data[512 * block + i] : 0;
      EXPECT_LT(std::abs(convolver.output.data[i] - expected), 1e-13) << block << ' ' << i;
    }
  }
}

TEST_P(fftConvolverTest, isTheSumOfProductsForEveryNumberOfTaps) {
  for (uint64_t count : {1u, 7u, 511u, 512u, 513u, 1024u, 1536u, 2048u, 2600u, 5000u}) {
    const cbuff taps = noiseBuff(count, 2), x = noiseBuff(512 * 12, 3);
    fftConvolver convolver(taps, GetParam());
    for (uint64_t block = 0; block < 12; block++) {
      feed(convolver, x, block);
      EXPECT_LT(worstOf(convolver.output, convolved(taps, x, 512 * block, 512)), 1e-10) << count << ' ' << block;
    }
  }
}

TEST_P(fftConvolverTest, newTapsRunOnTheOldHistory) {
  const cbuff first = noiseBuff(1536, 4), second = noiseBuff(1536, 5), x = noiseBuff(512 * 8, 6);
  fftConvolver convolver(first, GetParam());
  for (uint64_t block = 0; block < 4; block++) feed(convolver, x, block);
  convolver.setTaps(second);
  for (uint64_t block = 4; block < 8; block++) {
    feed(convolver, x, block);
    EXPECT_LT(worstOf(convolver.output, convolved(second, x, 512 * block, 512)), 1e-10) << block;
  }
}

TEST_P(fftConvolverTest, moreTapsThanPartitionsAreCutAndFewerAreFilledWithZeros) {
  const cbuff taps = noiseBuff(2048, 7), x = noiseBuff(512 * 6, 8);
  fftConvolver convolver(slice(taps, 0, 1024), GetParam());
  for (uint64_t length : {2048u, 700u}) {
    convolver.setTaps(slice(taps, 0, length));
    convolver.reset();
    for (uint64_t block = 0; block < 6; block++) {
      feed(convolver, x, block);
      const cbuff used = slice(taps, 0, std::min<uint64_t>(length, 1024));
      EXPECT_LT(worstOf(convolver.output, convolved(used, x, 512 * block, 512)), 1e-10) << length;
    }
  }
}

TEST_P(fftConvolverTest, resetForgetsTheHistoryAndKeepsTheTaps) {
  const cbuff taps = noiseBuff(1536, 9), x = noiseBuff(512 * 5, 10);
  fftConvolver used(taps, GetParam()), fresh(taps, GetParam());
  for (uint64_t block = 0; block < 5; block++) feed(used, x, block);
  used.reset();
  for (uint64_t block = 0; block < 5; block++) {
    feed(used, x, block);
    feed(fresh, x, block);
    for (int i = 0; i < 512; i++) ASSERT_EQ(used.output.data[i], fresh.output.data[i]);
  }
}

TEST_P(fftConvolverTest, noTapsGiveSilence) {
  fftConvolver convolver(cbuff(), GetParam());
  std::fill_n(convolver.input.data, 512, cdouble(1, 1));
  std::fill_n(convolver.output.data, 512, cdouble(1, 1));
  convolver.process();
  for (int i = 0; i < 512; i++) EXPECT_EQ(convolver.output.data[i], cdouble(0));
}

TEST_P(fftConvolverTest, partitionsAreBlocksOfTapsRoundedUp) {
  const std::pair<uint64_t, int32_t> expected[] = {{0, 0}, {1, 1}, {512, 1}, {513, 2}, {1024, 2}, {1536, 3}, {2048, 4}};
  for (const auto& [taps, partitions] : expected)
    EXPECT_EQ(fftConvolver(noiseBuff(taps, 1), GetParam()).partitions(), partitions) << taps;
}

TEST_P(fftConvolverTest, worksOnWhateverThreadIsCalling) {
  const cbuff taps = noiseBuff(1536, 11), x = noiseBuff(512 * 4, 12);
  fftConvolver convolver(taps, GetParam());
  for (uint64_t block = 0; block < 4; block++) {
    std::thread([&] { feed(convolver, x, block); }).join();
    EXPECT_LT(worstOf(convolver.output, convolved(taps, x, 512 * block, 512)), 1e-10) << block;
  }
}

INSTANTIATE_TEST_SUITE_P(variants, fftConvolverTest, allVariants(), variantTestName);
