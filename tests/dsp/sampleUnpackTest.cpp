#include "dsp/sampleUnpack.h"
#include "tests/dsp/kernelTesting.h"
#include <gtest/gtest.h>
#include <cmath>
#include <memory>
#include <random>
#include <vector>

using namespace larch;
using namespace larch::testing;

namespace {

constexpr uint64_t lengths[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 19, 36, 63, 238, 511, 512, 513};

// Random bytes that end where the block ends, so that the address sanitizer sees any read behind them.
struct wire {
  explicit wire(std::size_t size) : count(size), bytes(new uint8_t[size]) {
    std::mt19937 generator(3);
    for (std::size_t i = 0; i < size; i++) bytes[i] = static_cast<uint8_t>(generator());
  }
  std::size_t count;
  std::unique_ptr<uint8_t[]> bytes;
};

// The value of one part by arithmetic: a 24-bit number, 256 times as large.
double part(const uint8_t* p, double scale) {
  int64_t value = p[0] * 65536 + p[1] * 256 + p[2];
  if (value >= 1 << 23) value -= 1 << 24;
  return static_cast<double>(value * 256) * scale;
}

cdouble sample(const uint8_t* p, double scale, bool swapped) {
  return swapped ? cdouble(part(p + 3, scale), part(p, scale)) : cdouble(part(p, scale), part(p + 3, scale));
}

class sampleUnpackTest : public variantTest {};

} // namespace

TEST_P(sampleUnpackTest, everyStepAndLengthGivesTheExactProducts) {
  const double scale = 0.73 * 4.656612875245797e-10;
  for (std::size_t step : {6u, 7u, 8u, 14u, 20u, 26u, 50u})
    for (uint64_t count : lengths)
      for (bool swapped : {false, true}) {
        const wire in(count > 0 ? (count - 1) * step + 6 : 0);
        std::vector<cdouble> out(count + 2, cdouble(77, 78));
        unpackIq(in.bytes.get(), step, scale, swapped, out.data(), count, GetParam());
        for (uint64_t i = 0; i < count; i++)
          ASSERT_EQ(out[i], sample(in.bytes.get() + i * step, scale, swapped)) << step << ' ' << count << ' ' << i;
        EXPECT_EQ(out[count], cdouble(77, 78)) << "written behind the samples";
        EXPECT_EQ(out[count + 1], cdouble(77, 78));
      }
}

TEST_P(sampleUnpackTest, frameGivesEachReceiverItsOwnSamples) {
  const double scale = 16 * 4.656612875245797e-10;
  for (std::size_t receivers = 1; receivers <= 8; receivers++) {
    const std::size_t step = 6 * receivers + 2;
    for (uint64_t count : {uint64_t{0}, uint64_t{1}, 504 / step}) {
      const wire in(count > 0 ? (count - 1) * step + 6 * receivers : 0);
      std::vector<std::vector<cdouble>> out(receivers, std::vector<cdouble>(count));
      std::vector<iqTarget> targets;
      for (std::size_t r = 0; r < receivers; r++) targets.push_back({out[r].data(), r % 3 == 1});
      unpackFrame(in.bytes.get(), step, scale, targets.data(), receivers, count, GetParam());
      for (std::size_t r = 0; r < receivers; r++)
        for (uint64_t i = 0; i < count; i++)
          ASSERT_EQ(out[r][i], sample(in.bytes.get() + i * step + 6 * r, scale, r % 3 == 1)) << receivers << ' ' << r << ' ' << i;
    }
  }
}

TEST_P(sampleUnpackTest, signsAndFullScaleAreTheWiresOwn) {
  const uint8_t bytes[6 * 8] = {0x7f, 0xff, 0xff, 0x80, 0x00, 0x00, 0xff, 0xff, 0xff, 0x00, 0x00, 0x01,
                                0x00, 0x00, 0x00, 0x00, 0x80, 0x00, 0x12, 0x34, 0x56, 0xed, 0xcb, 0xaa};
  const cdouble expected[] = {{8388607, -8388608}, {-1, 1}, {0, 32768}, {0x123456, -0x123456}, {0, 0}, {0, 0}, {0, 0}, {0, 0}};
  cdouble out[8];
  unpackIq(bytes, 6, 1.0 / 256, false, out, 8, GetParam());
  for (int i = 0; i < 8; i++) EXPECT_EQ(out[i], expected[i]) << i;
}

INSTANTIATE_TEST_SUITE_P(variants, sampleUnpackTest, allVariants(), variantTestName);
