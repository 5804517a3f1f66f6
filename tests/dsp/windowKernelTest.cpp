#include "dsp/windowKernel.h"
#include "tests/dsp/kernelTesting.h"
#include <cstring>

namespace larch::testing {
namespace {

class windowKernelTest : public variantTest {};

TEST_P(windowKernelTest, equalsThePlainProductToTheBitInPlaceAndUnaligned) {
  for (std::size_t n : {0, 1, 2, 3, 4, 7, 8, 9, 15, 511, 512, 513}) {
    for (std::size_t offset : {0, 1}) {
      const auto in = noise(n + offset, 1);
      std::vector<double> window(n + offset);
      for (std::size_t i = 0; i < window.size(); i++) window[i] = 0.01 * static_cast<double>(i) - 0.3;
      std::vector<cdouble> out(n + 2, cdouble(9, 9)), expected(n + 2, cdouble(9, 9)), inPlace = in;
      for (std::size_t i = 0; i < n; i++) {
        const cdouble x = in[i + offset];
        expected[i] = {x.real() * window[i + offset], x.imag() * window[i + offset]};
      }
      multiplyWindow(in.data() + offset, window.data() + offset, out.data(), n, GetParam());
      EXPECT_EQ(std::memcmp(out.data(), expected.data(), out.size() * sizeof(cdouble)), 0) << n << ", nothing beyond the count";
      multiplyWindow(inPlace.data() + offset, window.data() + offset, inPlace.data() + offset, n, GetParam());
      if (n > 0) {
        EXPECT_EQ(std::memcmp(inPlace.data() + offset, expected.data(), n * sizeof(cdouble)), 0) << n;
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(variants, windowKernelTest, allVariants(), variantTestName);

} // namespace
} // namespace larch::testing
