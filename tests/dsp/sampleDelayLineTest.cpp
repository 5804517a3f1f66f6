#include "dsp/sampleDelayLine.h"
#include <gtest/gtest.h>
#include <tuple>

namespace larch {
namespace {

TEST(sampleDelayLineTest, viewsOverlapAndHistoryIsZero) {
  const sampleDelayLine line(38, 1024);
  EXPECT_EQ(line.whole.count, 1062u);
  EXPECT_EQ(line.writable.count, 1024u);
  EXPECT_EQ(line.writable.data, line.whole.data + 38);
  EXPECT_EQ(line.position(), 38u);
  for (int i = 0; i < 38; i++) EXPECT_EQ(line.whole.data[i], 0.0);
}

TEST(sampleDelayLineTest, newestHistoryIsAlwaysContiguous) {
  for (auto [history, block] : {std::pair<uint64_t, uint64_t>{6, 512}, {38, 64}, {18, 7}, {5, 1}, {0, 3}}) {
    sampleDelayLine line(history, block);
    for (int written = 1; written <= 2000; written++) {
      line.write(std::complex<double>(written, -written));
      ASSERT_GE(line.position(), history);
      ASSERT_LT(line.position(), line.whole.count);
      for (uint64_t back = 1; back <= history; back++) {
        const double expected = std::max(0.0, written + 1.0 - static_cast<double>(back));
        ASSERT_EQ(line.whole.data[line.position() - back].real(), expected) << history << " " << block << " " << written;
      }
    }
  }
}

TEST(sampleDelayLineTest, lastWriteOfABlockMovesTheHistoryToTheStart) {
  sampleDelayLine line(2, 3);
  for (double x : {1.0, 2.0}) line.write(x);
  EXPECT_EQ(line.position(), 4u);
  line.write(3.0);
  EXPECT_EQ(line.position(), 2u);
  EXPECT_EQ(line.whole.data[0], 2.0);
  EXPECT_EQ(line.whole.data[1], 3.0);
}

TEST(sampleDelayLineTest, clearForgetsEverything) {
  sampleDelayLine line(4, 8);
  for (int i = 0; i < 11; i++) line.write(7.0);
  line.clear();
  EXPECT_EQ(line.position(), 4u);
  for (uint64_t i = 0; i < line.whole.count; i++) EXPECT_EQ(line.whole.data[i], 0.0);
}

} // namespace
} // namespace larch
