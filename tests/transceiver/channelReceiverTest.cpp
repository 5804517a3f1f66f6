#include "tests/transceiver/chainTesting.h"
#include "transceiver/chainConstants.h"
#include <gtest/gtest.h>
#include <limits>
#include <random>

namespace larch::test {
namespace {

cbuff noise(uint64_t count, unsigned seed) {
  std::mt19937 random(seed);
  std::normal_distribution<double> value(0.0, 0.1);
  cbuff b(count);
  for (uint64_t i = 0; i < count; i++) b.data[i] = {value(random), value(random)};
  return b;
}

// All blocks of a stream that comes in pieces of `piece` samples, 0 for all at once.
std::vector<cdouble> blocksOf(channelReceiver& channel, const cbuff& stream, double step, int32_t ratio, uint64_t piece = 0) {
  std::vector<cdouble> out;
  const auto take = [&](const cbuff& block) {
    EXPECT_EQ(block.count, 512u);
    const auto samples = samplesOf(block);
    out.insert(out.end(), samples.begin(), samples.end());
  };
  if (piece == 0) piece = std::max<uint64_t>(stream.count, 1);
  for (uint64_t at = 0; at < stream.count; at += piece)
    channel.process(slice(stream, at, std::min(piece, stream.count - at)), step, ratio, take);
  return out;
}

TEST(channelReceiverTest, blocksComeEvery512SamplesOfTheChannel) {
  for (uint64_t n : {0, 1, 7, 511, 512, 513, 1023, 1024}) {
    channelReceiver channel;
    EXPECT_EQ(blocksOf(channel, noise(n, 1), 0.1, 1).size(), n / 512 * 512) << n;
  }
  channelReceiver channel;
  const cbuff part = noise(7, 1);
  uint64_t made = 0;
  for (int i = 0; i < 512; i++) made += blocksOf(channel, part, 0.1, 1).size();
  EXPECT_EQ(made, 7 * 512u) << "what doesn't fill a block waits";
}

TEST(channelReceiverTest, anySplitOfAStreamEqualsTheWhole) {
  const cbuff stream = noise(32 * 512 * 3, 2);
  for (int32_t ratio : {1, 2, 4, 32}) {
    channelReceiver whole, wholeMixed;
    const auto plain = blocksOf(whole, stream, 0.0, ratio), mixed = blocksOf(wholeMixed, stream, 0.3, ratio);
    for (uint64_t piece : {uint64_t{32}, uint64_t{32 * 7}, uint64_t{32 * 511}, uint64_t{32 * 512}, uint64_t{32 * 513}}) {
      channelReceiver split, splitMixed;
      EXPECT_EQ(blocksOf(split, stream, 0.0, ratio, piece), plain) << ratio << " " << piece;
      const auto other = blocksOf(splitMixed, stream, 0.3, ratio, piece);
      ASSERT_EQ(other.size(), mixed.size());
      // the mixer's phase is renormalised at each call: equal but for the last bits
      for (size_t i = 0; i < mixed.size(); i++) ASSERT_LT(std::abs(other[i] - mixed[i]), 1e-12) << ratio << " " << piece;
    }
  }
}

TEST(channelReceiverTest, stepOfZeroBypassesTheMixer) {
  channelReceiver channel;
  const cbuff stream = noise(1024, 3);
  blocksOf(channel, noise(512, 4), 0.7, 1); // leaves a phase that would show
  channel.process(noise(512, 9), 0.7, 1, [](const cbuff&) {});
  halfbandDecimator decimator;
  fftConvolver filter(cbuff(1536, 0.0));
  const cbuff taps(1536, 0.0);
  taps.data[0] = 1;
  channel.setTaps(taps);
  for (int i = 0; i < 3; i++) channel.process(noise(512, 10), 0.0, 1, [](const cbuff&) {});
  const auto out = blocksOf(channel, stream, 0.0, 1);
  ASSERT_EQ(out.size(), 1024u);
  for (size_t i = 0; i < out.size(); i++) EXPECT_LT(std::abs(out[i] - stream.data[i]), 1e-12) << i;
}

TEST(channelReceiverTest, restOfAChunkShorterThanTheRatioIsDropped) {
  channelReceiver channel;
  const cbuff stream = noise(7, 5);
  uint64_t blocks = 0;
  for (int i = 0; i < 512; i++) channel.process(stream, 0.0, 2, [&](const cbuff&) { blocks++; });
  EXPECT_EQ(blocks, 3u) << "3 of 3.5 samples a chunk remain";
}

TEST(channelReceiverTest, bandEndSilencesTheBlock) {
  for (double step : {3.14, -3.14, 5.0, std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()}) {
    channelReceiver channel;
    for (const cdouble& z : blocksOf(channel, noise(2048, 6), step, 1)) ASSERT_EQ(z, cdouble(0)) << step;
  }
  channelReceiver inside;
  double sum = 0;
  for (const cdouble& z : blocksOf(inside, noise(2048, 6), 3.1399, 1)) sum += std::abs(z);
  EXPECT_GT(sum, 1.0);
}

TEST(channelReceiverTest, newTapsMakeNoGap) {
  channelReceiver channel;
  const cbuff tone = mirroredTone(1000, 48000, 512 * 8);
  blocksOf(channel, tone, 0.0, 1);
  const cbuff taps(1536, 0.0);
  taps.data[700] = 1; // a delay of 700 samples reaches into the history of two blocks
  channel.setTaps(taps);
  const auto out = blocksOf(channel, mirroredTone(1000, 48000, 512, 1.0, 512 * 8), 0.0, 1);
  for (size_t i = 0; i < 512; i++)
    ASSERT_LT(std::abs(out[i] - mirroredTone(1000, 48000, 1, 1.0, 512 * 8 + i - 700).data[0]), 1e-9);
}

TEST(channelReceiverTest, firstFilterPassesThreeKilohertzToBothSides) {
  for (double f : {-2500.0, 2500.0}) {
    channelReceiver channel;
    const auto out = blocksOf(channel, mirroredTone(f, 48000, 512 * 8), 0.0, 1);
    EXPECT_NEAR(std::abs(out.back()), 1.0, 1e-3) << f;
  }
  for (double f : {-3500.0, 3500.0}) {
    channelReceiver channel;
    EXPECT_LT(std::abs(blocksOf(channel, mirroredTone(f, 48000, 512 * 8), 0.0, 1).back()), 1e-6) << f;
  }
}

TEST(channelReceiverTest, ratioThatCannotBeServedEndsWithoutABlock) {
  for (int32_t ratio : {std::numeric_limits<int32_t>::min(), -1, 0, 3, 4096, std::numeric_limits<int32_t>::max()}) {
    channelReceiver channel;
    EXPECT_TRUE(blocksOf(channel, noise(2048, 7), 0.1, ratio).empty()) << ratio;
  }
}

} // namespace
} // namespace larch::test
