#include "transceiver/spectrumPainter.h"
#include "tests/transceiver/chainTesting.h"
#include "tests/transceiver/spectrumGolden.h"
#include <gtest/gtest.h>
#include <limits>
#include <random>

namespace larch::test {
namespace {

constexpr int32_t centre = 7'100'000;
constexpr double windowGain = 0.27105140069342; // mean of the window
const double notANumber = std::numeric_limits<double>::quiet_NaN(), infinite = std::numeric_limits<double>::infinity();

struct seenFrame {
  std::vector<float> points;
  double low, high;
  int32_t rate;
  uint64_t after; // samples of the stream, to the end of the chunk
};

// A painter that is fed chunk by chunk and keeps its frames.
struct painting {
  spectrumPainter painter;
  spectrumSettings settings{1.0, 0, true, centre};
  spectrumInput in{{}, centre, 192000, {}, 0};
  std::vector<seenFrame> frames;
  uint64_t fed = 0;

  painting() { painter.latchCentre(centre); }
  void feed(const cbuff& chunk) {
    in.chunk = chunk;
    fed += chunk.count;
    painter.process(in, settings, [this](buff<float> f, double low, double high, int32_t rate) {
      frames.push_back({{f.data, f.data + f.count}, low, high, rate, fed});
    });
  }
  void feedTone(double above, uint64_t count, double level = 1.0) {
    const uint64_t length = static_cast<uint64_t>(std::max(in.rate / 48000, 1)) * 512;
    for (uint64_t end = fed + count; fed < end;) feed(mirroredTone(above, in.rate, length, level, fed));
  }
};

int peakOf(const seenFrame& f) { return static_cast<int>(std::max_element(f.points.begin(), f.points.end()) - f.points.begin()); }
double toneBels(double level) { return std::log10(level * level * windowGain * windowGain * 10); }

// The generator of spectrumGolden.py.
struct numbers {
  uint64_t state;
  double operator()() {
    state = (state * 1103515245 + 12345) % (uint64_t{1} << 31);
    return static_cast<double>(state >> 8) / 8388608.0 - 0.5;
  }
};
cbuff goldenStream(uint64_t count) {
  numbers g{1};
  cbuff b(count);
  for (uint64_t i = 0; i < count; i++) {
    const double re = g(), im = g();
    b.data[i] = cdouble(re, im) * 0.01 + 0.3 * std::polar(1.0, -2 * pi * 0.123 * static_cast<double>(i));
  }
  return b;
}
buff<double> goldenRaw(uint64_t count, uint64_t seed) {
  numbers g{seed};
  buff<double> b(count);
  for (uint64_t i = 0; i < count; i++) b.data[i] = g() * 0.001 + 0.05 * std::cos(2 * pi * 0.31 * static_cast<double>(i));
  return b;
}
template <size_t n> void expectGolden(const seenFrame& f, const goldenPoint (&golden)[n], double low, double high) {
  EXPECT_EQ(f.low, low);
  EXPECT_EQ(f.high, high);
  for (const goldenPoint& g : golden) EXPECT_NEAR(f.points[static_cast<size_t>(g.index)], g.bels, 2e-6) << g.index;
}

TEST(spectrumPainterTest, pointsEqualTheFormulas) {
  painting p;
  p.painter.latchCentre(7101234);
  p.feed(slice(goldenStream(3072), 0, 2048));
  ASSERT_EQ(p.frames.size(), 1u);
  expectGolden(p.frames[0], goldenPlain, goldenPlainLow, goldenPlainHigh);
}

TEST(spectrumPainterTest, pointsBeyondTheBandEqualTheFormulasOfTheRawSamples) {
  painting p;
  p.settings.zoom = 0.25;
  p.in.wideband = goldenRaw(2048, 2);
  p.in.widebandNyquist = 38400000.0;
  p.feed(slice(goldenStream(3072), 0, 2048));
  ASSERT_EQ(p.frames.size(), 1u);
  expectGolden(p.frames[0], goldenWide, goldenWideLow, goldenWideHigh);
}

TEST(spectrumPainterTest, shortRawBlockAndFrequenciesBelowZeroEqualTheFormulas) {
  painting p;
  p.settings.zoom = 0.125;
  p.in.rate = 384000;
  p.in.centre = 500000;
  p.painter.latchCentre(500000);
  p.in.wideband = goldenRaw(512, 3);
  p.in.widebandNyquist = 38400000.0;
  p.feed(slice(goldenStream(3072), 0, 2048));
  ASSERT_EQ(p.frames.size(), 1u);
  expectGolden(p.frames[0], goldenBelowZero, goldenBelowZeroLow, goldenBelowZeroHigh);
}

TEST(spectrumPainterTest, overlappedFrameEqualsTheFormulas) {
  painting p;
  p.settings.waterfallSpeed = 1;
  p.feed(goldenStream(3072));
  ASSERT_EQ(p.frames.size(), 2u) << "2048 samples, then a hop of 1024";
  expectGolden(p.frames[1], goldenSecond, goldenSecondLow, goldenSecondHigh);
}

TEST(spectrumPainterTest, carrierStandsOneBinBelowThePlainMirrorAtEachRate) {
  for (int32_t rate : {48000, 96000, 192000, 384000, 768000, 1536000}) {
    for (int offset : {-1000, -300, -1, 0, 1, 2, 511, 1000}) {
      painting p;
      p.in.rate = rate;
      p.feedTone(offset * static_cast<double>(rate) / 2048, 2048, 0.01);
      ASSERT_FALSE(p.frames.empty());
      EXPECT_EQ(peakOf(p.frames[0]), (1023 + offset + 2048) % 2048) << rate << " " << offset;
      EXPECT_NEAR(p.frames[0].points[static_cast<size_t>(1023 + offset)], toneBels(0.01), 1e-6);
      EXPECT_EQ(p.frames[0].low, centre - rate / 2);
      EXPECT_EQ(p.frames[0].high, centre + rate / 2);
      EXPECT_EQ(p.frames[0].rate, rate);
    }
  }
}

TEST(spectrumPainterTest, zoomOneShowsTheWholeStreamAroundTheWantedCentre) {
  painting p;
  p.painter.latchCentre(centre + 48000); // 512 points
  p.feedTone(48000, 2048);
  ASSERT_EQ(p.frames.size(), 1u);
  EXPECT_EQ(p.frames[0].low, centre + 48000 - 96000);
  EXPECT_EQ(peakOf(p.frames[0]), 1023);
  for (size_t i = 0; i < 2048; i++) EXPECT_EQ(p.frames[0].points[i] == -20.0f, i >= 1536) << i << ": beyond the stream";
}

TEST(spectrumPainterTest, zoomNarrowsTheSpanAroundTheWantedCentre) {
  for (int32_t zoom : {2, 4, 16, 64}) {
    for (int shift : {0, 20000, -30000}) {
      painting p;
      p.settings.zoom = zoom;
      p.settings.centre = centre + shift;
      p.painter.latchCentre(centre + shift);
      const double binWidth = 192000.0 / zoom / 2048;
      p.feedTone(shift + 300 * binWidth, 4096u * static_cast<uint64_t>(zoom), 0.1);
      ASSERT_GE(p.frames.size(), 2u);
      const seenFrame& f = p.frames[1]; // the first one holds the decimator's start
      EXPECT_EQ(f.low, centre + shift - 96000.0 / zoom);
      EXPECT_EQ(f.high, centre + shift + 96000.0 / zoom);
      EXPECT_EQ(peakOf(f), 1323) << zoom << " " << shift;
      // the short form of pi in the mixer turns the carrier by a small part of a bin
      EXPECT_NEAR(f.points[1323], toneBels(0.1), 0.01) << "0.1 dB";
    }
  }
}

TEST(spectrumPainterTest, centreBeyondTheStreamKeepsTheBandWhereItWas) {
  painting p;
  p.settings.zoom = 2;
  p.painter.latchCentre(centre + 95980); // step 3.1409
  p.feedTone(10000, 4096);
  ASSERT_EQ(p.frames.size(), 1u);
  EXPECT_EQ(p.frames[0].low, centre + 95980 - 48000);
  for (size_t i = 0; i < 2048; i++) EXPECT_EQ(p.frames[0].points[i] != -20.0f, i == 0) << i << ": the band ends at 48000";
  painting inside;
  inside.settings.zoom = 2;
  inside.painter.latchCentre(centre - 95940); // step 3.1396
  inside.feedTone(10000, 4096);
  ASSERT_EQ(inside.frames.size(), 1u);
  for (size_t i = 0; i < 2048; i++) EXPECT_NE(inside.frames[0].points[i], -20.0f) << i;
}

TEST(spectrumPainterTest, zoomOfAHalfTakesTheMiddleHalfFromTheStream) {
  painting p;
  p.settings.zoom = 0.5;
  p.feedTone(0, 2048);
  ASSERT_EQ(p.frames.size(), 1u);
  EXPECT_EQ(p.frames[0].high - p.frames[0].low, 384000.0);
  for (size_t i = 0; i < 2048; i++) EXPECT_EQ(p.frames[0].points[i] == -20.0f, i < 512 || i >= 1536) << i;
}

TEST(spectrumPainterTest, rawSamplesFillTheRestUnmirrored) {
  painting p;
  p.settings.zoom = 0.01; // 19.2 MHz around 7.1 MHz
  p.in.widebandNyquist = 38.4e6;
  p.in.wideband = buff<double>(2048);
  constexpr int bin = 300; // 11.25 MHz
  for (int i = 0; i < 2048; i++) p.in.wideband.data[i] = 0.1 * std::cos(2 * pi * bin * i / 2048);
  p.feedTone(0, 2048, 1e-9);
  ASSERT_EQ(p.frames.size(), 1u);
  const auto at = [&](double f) {
    return static_cast<size_t>((f - p.frames[0].low) / (p.frames[0].high - p.frames[0].low) * 2048);
  };
  // amplitude 0.1 is 0.1 * 1024 * gain in the transform, scaled by 1 / 1024
  EXPECT_NEAR(p.frames[0].points[at((bin + 0.5) * 38.4e6 / 1024)], toneBels(0.1), 1e-6);
  EXPECT_NEAR(*std::max_element(p.frames[0].points.begin(), p.frames[0].points.end()), toneBels(0.1), 1e-6);
  EXPECT_LT(p.frames[0].points[at((bin - 20.5) * 38.4e6 / 1024)], -15.0f);
  for (size_t i = 0; i < at(-1.0); i++) EXPECT_EQ(p.frames[0].points[i], -20.0f) << "below 0 Hz";
}

TEST(spectrumPainterTest, rawSamplesEndBelowTheirNyquistFrequency) {
  painting p;
  p.settings.zoom = 0.5; // point 512 is the first of the band, 7004000 Hz
  p.in.wideband = buff<double>(2048, 0.1);
  const double step = 384000.0 / 2048;
  p.in.widebandNyquist = centre - 192000 + 100 * step; // exactly at point 100
  p.feedTone(0, 2048);
  ASSERT_EQ(p.frames.size(), 1u);
  EXPECT_NE(p.frames[0].points[99], -20.0f);
  EXPECT_EQ(p.frames[0].points[100], -20.0f);
}

TEST(spectrumPainterTest, oddRawBlocksAndNyquistsCountAsNoData) {
  for (uint64_t count : {0, 1, 7, 511, 513, 2047, 2049, 4096}) {
    painting p;
    p.settings.zoom = 0.5;
    p.in.widebandNyquist = 38.4e6;
    p.in.wideband = buff<double>(count, 0.1);
    p.feedTone(0, 2048);
    ASSERT_EQ(p.frames.size(), 1u);
    EXPECT_EQ(p.frames[0].points[0], -20.0f) << count;
  }
  for (double nyquist : {0.0, -38.4e6, notANumber, 1.0}) {
    painting p;
    p.settings.zoom = 0.5;
    p.in.widebandNyquist = nyquist;
    p.in.wideband = buff<double>(2048, 0.1);
    p.feedTone(0, 2048);
    ASSERT_EQ(p.frames.size(), 1u);
    EXPECT_EQ(p.frames[0].points[0], -20.0f) << nyquist;
    EXPECT_EQ(p.frames[0].points[2047], -20.0f) << nyquist;
  }
}

TEST(spectrumPainterTest, silenceReadsTheDenormalFloor) {
  painting p;
  p.feed(cbuff(2048, 0.0));
  ASSERT_EQ(p.frames.size(), 1u);
  for (float point : p.frames[0].points) ASSERT_NEAR(point, -38.0f, 1e-5f) << "10^-38 is a denormal float, not 0";
}

TEST(spectrumPainterTest, waterfallSpeedInTheForegroundIsTheOverlap) {
  for (int speed : {0, 1, 2, 5}) {
    painting p;
    p.settings.waterfallSpeed = speed;
    p.feedTone(1000, 2048 * 4);
    EXPECT_EQ(p.frames.size(), static_cast<size_t>(1 + 3 * (1 << speed))) << speed;
  }
  painting slower;
  slower.settings.waterfallSpeed = -3;
  slower.feedTone(1000, 2048 * 4);
  EXPECT_EQ(slower.frames.size(), 4u) << "below 1: no overlap";
}

TEST(spectrumPainterTest, overlapGrowsWithTheZoom) {
  painting p;
  p.settings.zoom = 8; // overlap 4: a hop of 512 decimated samples
  p.feedTone(1000, 8 * 2048 * 2);
  EXPECT_EQ(p.frames.size(), 1u + 4u);
  painting two;
  two.settings.zoom = 2; // half the zoom is 1: none
  two.feedTone(1000, 2 * 2048 * 3);
  EXPECT_EQ(two.frames.size(), 3u);
}

TEST(spectrumPainterTest, backgroundPaintsAboutTwiceASecondWhateverTheWaterfall) {
  for (int32_t rate : {48000, 192000, 1536000}) {
    for (int speed : {0, 4}) {
      painting p;
      p.in.rate = rate;
      p.settings.foreground = false;
      p.settings.waterfallSpeed = speed;
      const uint64_t length = static_cast<uint64_t>(rate / 48000) * 512;
      const cbuff chunk = mirroredTone(1000, rate, length);
      for (int i = 0; i < 940; i++) p.feed(chunk); // ten seconds
      // a chunk counts 10 ms; a frame fills from the chunk on that brings 500 ms less its own length
      const int first = static_cast<int>(std::ceil((500 - 2048000.0 / rate) / 10));
      const int fill = rate == 48000 ? 4 : 1, framesAChunk = std::max(1, rate / 48000 / 4);
      ASSERT_FALSE(p.frames.empty());
      EXPECT_EQ(p.frames[0].after, static_cast<uint64_t>(first - 1 + fill) * length) << rate;
      EXPECT_EQ(p.frames.size() / static_cast<size_t>(framesAChunk), static_cast<size_t>(940 / (first - 1 + fill))) << rate;
    }
  }
}

TEST(spectrumPainterTest, newCentreTakesEffectWithTheNextFrame) {
  painting p;
  p.in.rate = 48000;
  p.feedTone(0, 1024);
  p.settings.centre = centre + 5000;
  p.feedTone(0, 1024);
  p.feedTone(0, 2048);
  ASSERT_EQ(p.frames.size(), 2u);
  EXPECT_EQ(p.frames[0].low, centre - 24000);
  EXPECT_EQ(p.frames[1].low, centre + 5000 - 24000);
}

TEST(spectrumPainterTest, anySplitOfAStreamEqualsTheWhole) {
  const cbuff stream = goldenStream(2048 * 16);
  for (double zoom : {0.5, 1.0, 4.0}) {
    for (int speed : {0, 2}) {
      painting whole;
      whole.settings.zoom = zoom;
      whole.settings.waterfallSpeed = speed;
      whole.feed(stream);
      ASSERT_GE(whole.frames.size(), 2u);
      for (uint64_t piece : {uint64_t{4}, uint64_t{28}, uint64_t{2044}, uint64_t{2048}, uint64_t{2052}}) {
        painting split;
        split.settings = whole.settings;
        for (uint64_t at = 0; at < stream.count; at += piece) split.feed(slice(stream, at, std::min(piece, stream.count - at)));
        ASSERT_EQ(split.frames.size(), whole.frames.size()) << zoom << " " << speed << " " << piece;
        for (size_t i = 0; i < whole.frames.size(); i++) ASSERT_EQ(split.frames[i].points, whole.frames[i].points) << piece;
      }
    }
  }
}

TEST(spectrumPainterTest, zoomThatIsNoNumberAboveZeroPaintsNothing) {
  for (double zoom : {0.0, -0.0, -1.0, -infinite, notANumber}) {
    painting p;
    p.settings.zoom = zoom;
    p.feedTone(0, 8192);
    EXPECT_TRUE(p.frames.empty()) << zoom;
  }
}

TEST(spectrumPainterTest, hugeZoomIsClippedAndTinyZoomEnds) {
  painting p;
  p.settings.zoom = infinite;
  p.in.rate = 48000;
  p.feedTone(0, 512 * 2048);
  ASSERT_FALSE(p.frames.empty());
  EXPECT_EQ(p.frames[0].high - p.frames[0].low, 93.0) << "zoom 512, 48000 / 512 in whole hertz";
  for (double zoom : {1e-3, 1e-9, 1e-300, 5e-324}) {
    painting tiny;
    tiny.settings.zoom = zoom;
    tiny.in.wideband = buff<double>(2048, 0.1);
    tiny.in.widebandNyquist = 38.4e6;
    tiny.feedTone(0, 2048);
    EXPECT_EQ(tiny.frames.size(), 1u);
  }
}

TEST(spectrumPainterTest, ratiosThatAreNoPowerOfTwoEnd) {
  for (double zoom : {1.5, 2.999, 3.0, 5.0, 6.5, 7.0, 100.0}) {
    painting p;
    p.settings.zoom = zoom;
    p.feedTone(1000, 3 * 2048 * static_cast<uint64_t>(zoom));
    EXPECT_GE(p.frames.size(), 2u) << zoom;
    for (const seenFrame& f : p.frames)
      for (float point : f.points) ASSERT_TRUE(std::isfinite(point)) << zoom;
  }
}

TEST(spectrumPainterTest, hugeWaterfallSpeedHopsByOneSample) {
  for (int32_t speed : {11, 12, 31, 1000, std::numeric_limits<int32_t>::max()}) {
    painting p;
    p.settings.waterfallSpeed = speed;
    p.feedTone(0, 2048);
    p.feed(cbuff(8, 0.5));
    EXPECT_EQ(p.frames.size(), 9u) << speed;
  }
  painting zoomed;
  zoomed.settings.zoom = 4;
  zoomed.settings.waterfallSpeed = std::numeric_limits<int32_t>::max();
  zoomed.feedTone(0, 8192);
  zoomed.feed(cbuff(32, 0.5));
  EXPECT_EQ(zoomed.frames.size(), 9u);
  painting slow;
  slow.settings.waterfallSpeed = std::numeric_limits<int32_t>::min();
  slow.feedTone(0, 2048);
  EXPECT_EQ(slow.frames.size(), 1u);
}

TEST(spectrumPainterTest, ratesAndLengthsAtTheEdgesEnd) {
  for (int32_t rate : {std::numeric_limits<int32_t>::min(), -1, 0, 1, 93, 94, 4095, 47999, std::numeric_limits<int32_t>::max()})
    for (double zoom : {0.5, 1.0, 2.0, infinite})
      for (bool foreground : {true, false})
        for (uint64_t count : {0, 1, 7, 511, 512, 513}) {
          painting p;
          p.in.rate = rate;
          p.settings.zoom = zoom;
          p.settings.foreground = foreground;
          for (int i = 0; i < 10; i++) p.feed(cbuff(count, 0.1));
          EXPECT_TRUE(rate > 0 || p.frames.empty());
        }
}

TEST(spectrumPainterTest, frequenciesAtTheEndOfTheScaleEnd) {
  for (int32_t latched : {std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()})
    for (int32_t at : {std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()})
      for (double zoom : {0.1, 1.0, 8.0}) {
        painting p;
        p.settings.zoom = zoom;
        p.in.centre = at;
        p.painter.latchCentre(latched);
        p.feedTone(0, 2048 * 8);
        EXPECT_FALSE(p.frames.empty());
      }
}

TEST(spectrumPainterTest, samplesThatAreNoNumbersAreGoneWithTheirFrame) {
  painting p;
  p.feed(cbuff(2048, cdouble(notANumber, infinite)));
  p.feedTone(0, 2048);
  ASSERT_EQ(p.frames.size(), 2u);
  EXPECT_EQ(peakOf(p.frames[1]), 1023);
}

} // namespace
} // namespace larch::test
