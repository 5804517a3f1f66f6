#include "dsp/peakLimiter.h"
#include "tests/dsp/peakLimiterGolden.h"
#include <gtest/gtest.h>
#include <random>
#include <vector>

namespace larch {
namespace {

using sample = std::complex<double>;

// From the whole stream: the sample three back over what the six around it ask for.
std::vector<sample> expectedOf(const std::vector<sample>& in, double factor) {
  auto at = [&](int64_t i) { return i < 0 ? sample(0) : in[static_cast<std::size_t>(i)]; };
  std::vector<sample> out;
  for (int64_t i = 0; i < static_cast<int64_t>(in.size()); i++) {
    double peak = 0;
    for (int64_t k = i - 6; k < i; k++) peak = std::max(peak, std::abs(at(k)));
    out.push_back(at(i - 3) / (peak > 1 ? 2 * (peak - 1) + 1 : 1.0) * factor);
  }
  return out;
}

std::vector<sample> limitedBy(uint64_t block, const std::vector<sample>& in, double factor) {
  peakLimiter limiter(block);
  std::vector<sample> out;
  for (uint64_t at = 0; at + block <= in.size(); at += block) {
    const cbuff io(block);
    std::copy_n(in.begin() + static_cast<int64_t>(at), block, io.data);
    limiter.process(io, factor, io);
    out.insert(out.end(), io.data, io.data + block);
  }
  return out;
}

TEST(peakLimiterTest, equalsTheFormulaOnTheStreamForEveryBlockLength) {
  std::mt19937 random(11);
  std::normal_distribution<double> value(0, 0.6);
  std::vector<sample> in(513 * 7);
  for (auto& x : in) x = {value(random), value(random)};
  for (double factor : {0.94, 0.97, 1.0}) {
    const auto expected = expectedOf(in, factor);
    for (uint64_t block : {1, 7, 511, 512, 513}) {
      const auto out = limitedBy(block, in, factor);
      ASSERT_GT(out.size(), 3000u);
      for (std::size_t i = 0; i < out.size(); i++) ASSERT_LE(std::abs(out[i] - expected[i]), 1e-14) << block << " " << i;
    }
  }
}

TEST(peakLimiterTest, overshootsLeaveAsTheFormulaSays) {
  std::vector<sample> in;
  for (int n = 0; n < static_cast<int>(std::size(limitedGolden)); n++) {
    const sample whole((n * 37 + n * n * 5) % 101 - 50, (n * 53 + n * n * 3) % 89 - 44);
    in.push_back(whole / (n / 16 % 2 ? 28.0 : 80.0)); // up to 2.4, and below 1
  }
  for (uint64_t block : {1, 8, 12, 96}) {
    const auto out = limitedBy(block, in, 0.94);
    ASSERT_EQ(out.size(), std::size(limitedGolden));
    for (std::size_t i = 0; i < out.size(); i++)
      ASSERT_LE(std::abs(out[i] - sample(limitedGolden[i][0], limitedGolden[i][1])), 1e-15) << block << " " << i;
  }
}

TEST(peakLimiterTest, peakOfTwoIsDividedByThree) {
  const auto out = limitedBy(512, std::vector<sample>(512, sample(0, 2)), 0.94);
  EXPECT_EQ(out[2], 0.0);
  for (std::size_t i = 6; i < out.size(); i++) ASSERT_LE(std::abs(out[i] - sample(0, 2 / 3.0 * 0.94)), 1e-15);
}

TEST(peakLimiterTest, magnitudeOfOnePassesUntouchedThreeSamplesLater) {
  std::vector<sample> in(512);
  for (std::size_t i = 0; i < in.size(); i++) in[i] = i % 2 ? sample(0, 1) : sample(-1, 0);
  const auto out = limitedBy(512, in, 1.0);
  for (std::size_t i = 3; i < out.size(); i++) ASSERT_EQ(out[i], in[i - 3]);
}

TEST(peakLimiterTest, emptyBlockIsNothing) {
  peakLimiter limiter(0);
  limiter.process(cbuff(), 0.94, cbuff());
}

} // namespace
} // namespace larch
