#include "sim/protocol2Codec.h"
#include <limits>
#include <numeric>
#include <vector>
#include <gtest/gtest.h>
#include "sim/discovery.h"

using namespace larch::sim;

TEST(protocol2CodecTest, downConverterHeaderTellsSequenceBitsAndSamples) {
  const std::vector<uint8_t> want{0x12, 0x34, 0x56, 0x78, 0, 0, 0, 0, 0, 0, 0, 0, 0, 24, 0, 238};
  const auto got = p2IqHeader(0x12345678);
  EXPECT_EQ(std::vector<uint8_t>(got.begin(), got.end()), want);
}

TEST(protocol2CodecTest, samplesAre24BitsBigEndianIBeforeQ) {
  const std::complex<double> z[] = {{1, -1}, {0x010203 / 8388607.0, -1 / 8388607.0}, {0, 0.5}};
  std::vector<uint8_t> payload(18);
  EXPECT_EQ(p2PackSamples(payload.data(), z, 3), 0u);
  const std::vector<uint8_t> want{0x7F, 0xFF, 0xFF, 0x80, 0x00, 0x01, 0x01, 0x02, 0x03,
                                  0xFF, 0xFF, 0xFF, 0x00, 0x00, 0x00, 0x40, 0x00, 0x00};
  EXPECT_EQ(payload, want);
}

TEST(protocol2CodecTest, whatIsBeyondFullScaleIsClippedAndCounted) {
  const std::complex<double> z[] = {{1.5, -2}, {std::numeric_limits<double>::quiet_NaN(), 0.1}};
  std::vector<uint8_t> payload(12);
  EXPECT_EQ(p2PackSamples(payload.data(), z, 2), 3u);
  const std::vector<uint8_t> start(payload.begin(), payload.begin() + 9);
  EXPECT_EQ(start, (std::vector<uint8_t>{0x7F, 0xFF, 0xFF, 0x80, 0x00, 0x00, 0x7F, 0xFF, 0xFF}));
}

TEST(protocol2CodecTest, widebandWordsAreBigEndian) {
  const int16_t words[] = {0x1234, -2, -32768};
  std::vector<uint8_t> payload(6);
  p2PackWords(payload.data(), words);
  EXPECT_EQ(payload, (std::vector<uint8_t>{0x12, 0x34, 0xFF, 0xFE, 0x80, 0x00}));
}

TEST(protocol2CodecTest, statusHasLinesOverloadAndPower) {
  const auto d = p2WriteStatus(7, {0x13, 0x01, {0x0102, 0x0304, 0x0506, 0x0708}});
  ASSERT_EQ(d.size(), 60u);
  std::vector<uint8_t> want(60);
  want[3] = 7, want[4] = 0x13, want[5] = 1;
  want[6] = 1, want[7] = 2, want[14] = 3, want[15] = 4, want[22] = 5, want[23] = 6, want[49] = 7, want[50] = 8;
  EXPECT_EQ(std::vector<uint8_t>(d.begin(), d.end()), want);
}

TEST(protocol2CodecTest, discoveryAnswerHasItsFieldsInPlace) {
  const auto d = otherDiscoveryAnswer(*findOtherBoard("orion2"), {1, 2, 3, 4, 5, 6}, 16, true);
  std::vector<uint8_t> want(60);
  want[4] = 3;
  for (uint8_t i = 0; i < 6; ++i) want[5u + i] = static_cast<uint8_t>(i + 1);
  want[11] = 5, want[12] = 38, want[13] = 121, want[20] = 16, want[21] = 1;
  EXPECT_EQ(std::vector<uint8_t>(d.begin(), d.end()), want);
  EXPECT_EQ(otherDiscoveryAnswer(*findOtherBoard("saturn"), {}, 10, false)[4], 2);
}
