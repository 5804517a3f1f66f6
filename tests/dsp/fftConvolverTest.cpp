#include "dsp/fftConvolver.h"
#include <gtest/gtest.h>
#include <cmath>
#include <random>
#include <vector>

using namespace larch;
using cdouble = std::complex<double>;

namespace {

cbuff noise(uint64_t count, unsigned seed) {
  std::mt19937 generator(seed);
  std::uniform_real_distribution<double> uniform(-1, 1);
  cbuff result(count);
  for (uint64_t i = 0; i < count; i++) {
    const double re = uniform(generator);
    result.data[i] = {re, uniform(generator)};
  }
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

double worst(const cbuff& a, const std::vector<cdouble>& b) {
  double result = 0;
  for (std::size_t i = 0; i < b.size(); i++) result = std::max(result, std::abs(a.data[i] - b[i]));
  return result;
}

} // namespace

TEST(fftConvolverTest, impulseGivesTheTapsInOrder) {
  const cbuff taps = noise(1536, 1);
  fftConvolver convolver(taps);
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

TEST(fftConvolverTest, isTheSumOfProductsForEveryNumberOfTaps) {
  for (uint64_t count : {1u, 7u, 511u, 512u, 513u, 1024u, 1536u, 2048u, 2600u, 5000u}) {
    const cbuff taps = noise(count, 2), x = noise(512 * 12, 3);
    fftConvolver convolver(taps);
    for (uint64_t block = 0; block < 12; block++) {
      feed(convolver, x, block);
      EXPECT_LT(worst(convolver.output, convolved(taps, x, 512 * block, 512)), 1e-10) << count << ' ' << block;
    }
  }
}

TEST(fftConvolverTest, newTapsRunOnTheOldHistory) {
  const cbuff first = noise(1536, 4), second = noise(1536, 5), x = noise(512 * 8, 6);
  fftConvolver convolver(first);
  for (uint64_t block = 0; block < 4; block++) feed(convolver, x, block);
  convolver.setTaps(second);
  for (uint64_t block = 4; block < 8; block++) {
    feed(convolver, x, block);
    EXPECT_LT(worst(convolver.output, convolved(second, x, 512 * block, 512)), 1e-10) << block;
  }
}

TEST(fftConvolverTest, moreTapsThanPartitionsAreCutAndFewerAreFilledWithZeros) {
  const cbuff taps = noise(2048, 7), x = noise(512 * 6, 8);
  fftConvolver convolver(slice(taps, 0, 1024));
  for (uint64_t length : {2048u, 700u}) {
    convolver.setTaps(slice(taps, 0, length));
    convolver.reset();
    for (uint64_t block = 0; block < 6; block++) {
      feed(convolver, x, block);
      const cbuff used = slice(taps, 0, std::min<uint64_t>(length, 1024));
      EXPECT_LT(worst(convolver.output, convolved(used, x, 512 * block, 512)), 1e-10) << length;
    }
  }
}

TEST(fftConvolverTest, resetForgetsTheHistoryAndKeepsTheTaps) {
  const cbuff taps = noise(1536, 9), x = noise(512 * 5, 10);
  fftConvolver used(taps), fresh(taps);
  for (uint64_t block = 0; block < 5; block++) feed(used, x, block);
  used.reset();
  for (uint64_t block = 0; block < 5; block++) {
    feed(used, x, block);
    feed(fresh, x, block);
    for (int i = 0; i < 512; i++) ASSERT_EQ(used.output.data[i], fresh.output.data[i]);
  }
}

TEST(fftConvolverTest, noTapsGiveSilence) {
  fftConvolver convolver{cbuff()};
  std::fill_n(convolver.input.data, 512, cdouble(1, 1));
  std::fill_n(convolver.output.data, 512, cdouble(1, 1));
  convolver.process();
  for (int i = 0; i < 512; i++) EXPECT_EQ(convolver.output.data[i], cdouble(0));
}
