// The samples that a capture keeps, and what it never does: write beyond its memory.
#include "modes/slotCapture.h"
#include "tests/support/allocationCounter.h"
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <vector>

namespace larch::test {
namespace {

using cdouble = std::complex<double>;
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

cdouble sampleAt(uint64_t i) { return {std::sin(0.01 * static_cast<double>(i)), std::cos(0.017 * static_cast<double>(i))}; }

cbuff chunkFrom(uint64_t start, uint64_t count) {
  cbuff chunk(count);
  for (uint64_t i = 0; i < count; i++) chunk.data[i] = sampleAt(start + i);
  return chunk;
}

// Chunks until the end; how many there were.
int feed(slotCapture& capture, const slotCapture::controls& with, uint64_t chunk = 512) {
  int chunks = 0;
  while (chunks < 10000 && !capture.add(chunkFrom(static_cast<uint64_t>(chunks) * chunk, chunk), with)) chunks++;
  return chunks + 1;
}

TEST(slotCaptureTest, everyNthSampleIsKeptFromTheFirstOfEachChunkOn) {
  for (const uint64_t step : {1u, 3u, 4u, 5u, 128u, 512u}) {
    const uint64_t perChunk = 512 / step, size = 10 * perChunk - perChunk / 2;
    slotCapture capture;
    capture.begin(static_cast<int32_t>(size), false);
    EXPECT_EQ(feed(capture, {static_cast<int32_t>(size), 0, static_cast<int32_t>(step)}), 10);
    const slotSamples got = capture.take();
    ASSERT_EQ(got.values.count, size);
    double peak = 0;
    for (uint64_t i = 0; i < size; i++) {
      const double re = sampleAt(i / perChunk * 512 + i % perChunk * step).real();
      ASSERT_EQ(got.values.data[i], static_cast<float>(re)) << step << " " << i;
      peak = std::max(peak, std::abs(re));
    }
    EXPECT_EQ(got.kept, size);
    EXPECT_EQ(got.peak, peak);
    EXPECT_FALSE(got.iq);
  }
}

// The turn of four circles a sample leaves all but nothing behind.
TEST(slotCaptureTest, bothPartsAreKeptByTurns) {
  constexpr int32_t size = 3000;
  slotCapture capture;
  capture.begin(size, true);
  EXPECT_EQ(feed(capture, {size, 0, 128}), 375); // four kept samples, eight values a chunk
  const slotSamples got = capture.take();
  ASSERT_EQ(got.values.count, 3000u);
  EXPECT_EQ(got.kept, 3000u);
  EXPECT_TRUE(got.iq);
  double peak = 0;
  for (uint64_t i = 0; i < size / 2; i++) {
    const cdouble x = sampleAt(i * 128);
    ASSERT_NEAR(got.values.data[2 * i], x.real(), 1e-6) << i;
    ASSERT_NEAR(got.values.data[2 * i + 1], x.imag(), 1e-6) << i;
    peak = std::max(peak, std::abs(x.real()));
  }
  EXPECT_EQ(got.peak, peak) << "of the real part, before the turn";
}

TEST(slotCaptureTest, thePeakIsOfTheRealPart) {
  slotCapture capture;
  capture.begin(4, false);
  cbuff chunk(4, cdouble(0.1, 9));
  chunk.data[2] = {-0.5, 0};
  EXPECT_TRUE(capture.add(chunk, {4, 0, 1}));
  EXPECT_EQ(capture.take().peak, 0.5);
}

TEST(slotCaptureTest, thePaddingAtTheEndIsNotKept) {
  for (const bool iq : {false, true}) {
    slotCapture capture;
    capture.begin(1000, iq);
    const int32_t perChunk = iq ? 256 : 128;
    testing::internal::CaptureStdout();
    EXPECT_EQ(feed(capture, {1000, 300, 4}), (700 + perChunk - 1) / perChunk);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(capture.captureCount(), 768u) << "the last chunk is taken whole";
    const slotSamples got = capture.take();
    EXPECT_EQ(got.values.count, 1000u);
    EXPECT_EQ(got.kept, 768u);
    EXPECT_NE(got.values.data[767], 0.0f);
  }
}

TEST(slotCaptureTest, paddingBeyondTheWholeEndsItWithTheFirstChunk) {
  slotCapture capture;
  capture.begin(1000, false);
  EXPECT_EQ(feed(capture, {1000, 5000, 4}), 1);
  const slotSamples got = capture.take();
  EXPECT_EQ(got.values.count, 1000u);
  ASSERT_EQ(got.kept, 128u);
  EXPECT_EQ(got.values.data[127], static_cast<float>(sampleAt(508).real()));
}

// What the console hears of the end, when the size has changed behind the first of a chunk's 128 values.
std::string toldAtTheEnd(int32_t size, int32_t sizeLater, int32_t padding) {
  slotCapture capture;
  capture.begin(size, false);
  EXPECT_FALSE(capture.add(chunkFrom(0, 512), {size, 0, 4}));
  testing::internal::CaptureStdout();
  feed(capture, {sizeLater, padding, 4});
  return testing::internal::GetCapturedStdout();
}

TEST(slotCaptureTest, paddingOutOfTheMemoryIsToldOnTheConsole) {
  EXPECT_EQ(toldAtTheEnd(1000, 2000, 300), " buff slice error 768  1232  1000 4");
  EXPECT_EQ(toldAtTheEnd(1000, 2000, 2000), " buff slice error 256  1744  1000 4");
  EXPECT_EQ(toldAtTheEnd(1000, 100, 1), " buff slice error 128  4294967268  1000 4") << "-28";
  EXPECT_EQ(toldAtTheEnd(1000, 1000, 300), "");
  EXPECT_EQ(toldAtTheEnd(1000, 2000, 0), "") << "no padding";
  EXPECT_EQ(toldAtTheEnd(1000, 2000, -300), "");
  EXPECT_EQ(toldAtTheEnd(1024, 1024, 1), "") << "all of it is taken by what is kept";
}

TEST(slotCaptureTest, negativePaddingIsNone) {
  slotCapture capture;
  capture.begin(1000, false);
  EXPECT_EQ(feed(capture, {1000, -5, 4}), 8);
  capture.begin(1000, false);
  EXPECT_EQ(feed(capture, {1000, std::numeric_limits<int32_t>::min(), 4}), 8);
}

TEST(slotCaptureTest, withoutASizeTheFirstChunkEndsIt) {
  for (const bool iq : {false, true}) {
    for (const int32_t size : {0, -1, std::numeric_limits<int32_t>::min()}) {
      slotCapture capture;
      capture.begin(size, iq);
      EXPECT_TRUE(capture.isRunning());
      EXPECT_EQ(feed(capture, {size, 0, 4}), 1);
      EXPECT_EQ(capture.take().values.count, 0u);
      EXPECT_FALSE(capture.isRunning());
    }
  }
}

TEST(slotCaptureTest, anOddSizeEndsWithAnI) {
  slotCapture capture;
  capture.begin(9, true);
  EXPECT_TRUE(capture.add(chunkFrom(0, 512), {9, 0, 1}));
  const slotSamples got = capture.take();
  ASSERT_EQ(got.values.count, 9u);
  EXPECT_NEAR(got.values.data[8], sampleAt(4).real(), 1e-6);
}

TEST(slotCaptureTest, withoutDecimationNothingIsKept) {
  slotCapture capture;
  capture.begin(1000, false);
  for (const int32_t decimation : {0, -1, std::numeric_limits<int32_t>::min()})
    EXPECT_FALSE(capture.add(chunkFrom(0, 512), {1000, 0, decimation}));
  EXPECT_FALSE(capture.add(chunkFrom(0, 512), {1000, 0, 513})) << "more than a chunk";
  EXPECT_EQ(capture.captureCount(), 0u);
  EXPECT_TRUE(capture.isRunning());
  EXPECT_EQ(feed(capture, {1000, 0, 4}), 8) << "it goes on where it was";
}

TEST(slotCaptureTest, aSizeThatGrowsMeanwhileCountsForTheNextSlot) {
  slotCapture capture;
  capture.begin(1000, false);
  capture.add(chunkFrom(0, 512), {1000, 0, 4});
  EXPECT_EQ(feed(capture, {100000, 0, 4}), 7);
  EXPECT_EQ(capture.take().values.count, 1000u);
}

TEST(slotCaptureTest, aSizeThatShrinksMeanwhileEndsIt) {
  slotCapture capture;
  capture.begin(1000, false);
  for (uint64_t i = 0; i < 3; i++) capture.add(chunkFrom(i * 512, 512), {1000, 0, 4});
  EXPECT_TRUE(capture.add(chunkFrom(3 * 512, 512), {200, 0, 4}));
  const slotSamples got = capture.take();
  ASSERT_EQ(got.values.count, 200u);
  EXPECT_EQ(got.kept, 200u);
  EXPECT_EQ(got.values.data[199], static_cast<float>(sampleAt(512 + 71 * 4).real()));
}

// The address sanitizer sees the memory's end.
TEST(slotCaptureTest, noHostWritesBeyondTheMemory) {
  constexpr unsigned seed = 5113;
  std::mt19937 random(seed);
  const auto any = [&](int low, int high) { return std::uniform_int_distribution<int>(low, high)(random); };
  testing::internal::CaptureStdout(); // padding out of the memory is told there
  for (int round = 0; round < 800; round++) {
    const bool iq = any(0, 1);
    const int32_t size = any(-3, 900);
    const auto whole = static_cast<uint64_t>(std::max(size, 0));
    slotCapture capture;
    capture.begin(size, iq);
    bool over = false;
    for (int chunk = 0; chunk < 12 && !over; chunk++) {
      const slotCapture::controls with{any(0, 2) ? size : any(-100, 2000), any(-50, 400), any(-1, 40)};
      over = capture.add(chunkFrom(0, static_cast<uint64_t>(any(0, 513))), with);
      ASSERT_LE(capture.captureCount(), whole) << "seed " << seed << " round " << round;
    }
    if (!over) over = capture.add(cbuff(), {0, 0, 1});
    ASSERT_TRUE(over);
    const slotSamples got = capture.take();
    ASSERT_LE(got.values.count, whole);
    ASSERT_LE(got.kept, got.values.count);
    for (uint64_t i = 0; i < got.kept; i++) ASSERT_LE(std::abs(got.values.data[i]), 1.5f) << "seed " << seed;
  }
  testing::internal::GetCapturedStdout();
}

TEST(slotCaptureTest, whatIsNoNumberIsNoPeak) {
  slotCapture capture;
  capture.begin(3, false);
  cbuff chunk(3, cdouble(nan, nan));
  chunk.data[1] = 0.25;
  EXPECT_TRUE(capture.add(chunk, {3, 0, 1}));
  EXPECT_EQ(capture.take().peak, 0.25);
}

TEST(slotCaptureTest, theCountStaysBehindTheEnd) {
  slotCapture capture;
  capture.begin(1000, false);
  feed(capture, {1000, 0, 4});
  capture.take();
  EXPECT_EQ(capture.captureCount(), 1000u);
}

TEST(slotCaptureTest, aRunningCaptureTakesNoMemory) {
  for (const bool iq : {false, true}) {
    slotCapture capture;
    capture.begin(100000, iq);
    const cbuff chunk = chunkFrom(0, 512);
    const int64_t before = allocationsOfThisThread();
    for (int i = 0; i < 300; i++) capture.add(chunk, {100000, 0, 4});
    EXPECT_EQ(allocationsOfThisThread() - before, 0);
  }
}

} // namespace
} // namespace larch::test
