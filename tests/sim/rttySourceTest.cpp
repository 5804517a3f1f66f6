#include "sim/rttySource.h"
#include <set>
#include <string>
#include <gtest/gtest.h>
#include "sim/baudot.h"
#include "sim/sceneReceiver.h"
#include "tests/sim/simHost.h"

using namespace larch::sim;
using larch::simtest::samples;

namespace {
constexpr double rate_Hz = 8000;

samples heard(const rttySource::sending& what, double seconds) {
  auto scene = std::make_shared<bandScene>();
  scene->add(std::make_shared<rttySource>(7047000, -20, what));
  sceneReceiver receiver(scene, 1);
  receiver.tune({7047000, rate_Hz, 76800000});
  samples z(static_cast<size_t>(seconds * rate_Hz));
  receiver.render(0, 1, z.data(), z.size());
  for (auto& v : z) v = std::conj(v) * 10.0;
  return z;
}

// Frequency between two samples.
double frequencyAt(const samples& z, size_t n) { return std::arg(z[n + 1] * std::conj(z[n])) * rate_Hz / (2 * M_PI); }

// Waits for a start bit and looks at the middle of each bit; the mark is the tone at 0 Hz.
std::vector<int> codesOf(const samples& z, double baud) {
  const auto isSpace = [&](double n) { return std::fabs(frequencyAt(z, static_cast<size_t>(n))) > 50; };
  const double bit = rate_Hz / baud;
  std::vector<int> codes;
  for (double n = 100; n + 8 * bit < static_cast<double>(z.size()); ++n) {
    if (!isSpace(n)) continue;
    int code = 0;
    for (int b = 0; b < 5; ++b) code |= isSpace(n + (1.5 + b) * bit) ? 0 : 1 << b;
    EXPECT_FALSE(isSpace(n + 6.5 * bit)) << "no stop";
    codes.push_back(code);
    n += 6.6 * bit;
  }
  return codes;
}

std::string textOf(const std::vector<int>& codes) {
  static const std::string half[2] = {"?E\nA SIU\rDRJNFCKTZLWHYPQOBG?MXV?", "?3\n- '87\r?4?,!:(5+)2?6019?&?./=?"};
  std::string text;
  int figures = 0;
  for (const int c : codes)
    if (c == 27 || c == 31)
      figures = c == 27 ? 1 : 0;
    else
      text += half[figures][static_cast<size_t>(c)];
  return text;
}
} // namespace

TEST(baudotTest, sendsShiftsWhereTheyAreNeeded) {
  using codes = std::vector<uint8_t>;
  EXPECT_EQ(baudotCodes("RY"), (codes{31, 10, 21}));
  EXPECT_EQ(baudotCodes("a1b"), (codes{31, 3, 27, 23, 31, 25}));
  EXPECT_EQ(baudotCodes("599 59"), (codes{27, 16, 24, 24, 4, 27, 16, 24})); // after a blank once more
  EXPECT_EQ(baudotCodes("\r\nE"), (codes{8, 2, 31, 1}));
  EXPECT_EQ(baudotCodes("_%\x80"), codes{});
}

TEST(baudotTest, everyCharacterComesOnce) {
  const std::string all = "\n\r ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-':(+),./=?!&";
  std::set<std::pair<int, int>> seen;
  unsigned checksum = 0;
  for (size_t i = 0; i < all.size(); ++i) {
    const auto codes = baudotCodes(all.substr(i, 1));
    ASSERT_EQ(codes.size(), i < 3 ? 1u : 2u) << all[i];
    EXPECT_TRUE(seen.insert({codes.front(), codes.back()}).second) << all[i];
    checksum += static_cast<unsigned>(i + 1) * (i < 3 ? codes[0] : (codes[0] == 27 ? 32U : 0U) + codes[1]);
  }
  EXPECT_EQ(checksum, 53920U); // sum of place times code, figures 32 more
}

TEST(rttySourceTest, markIsTheFrequencyAndSpaceLiesBelow) {
  for (const bool reverse : {false, true}) {
    const auto z = heard({"R", 170, 50, 1.5, reverse, 0, 1}, 0.7);
    EXPECT_NEAR(frequencyAt(z, 3000), 0, 1e-6);
    const double space = reverse ? 170 : -170;
    // CR is 8: 00010 in the order of sending, after the start bit; bits of 160 samples
    const bool wanted[] = {true, true, true, true, false, true, false};
    for (size_t b = 0; b < 7; ++b) EXPECT_NEAR(frequencyAt(z, 4000 + 80 + 160 * b), wanted[b] ? space : 0, 1e-6) << b;
    EXPECT_NEAR(frequencyAt(z, 4000 + 160 * 7 + 70), 0, 1e-6);     // stop until 7.5 bits,
    EXPECT_NEAR(frequencyAt(z, 4000 + 160 * 7 + 90), space, 1e-6); // then the start of the next
  }
}

TEST(rttySourceTest, phaseNeverStepsAndTheLevelIsExact) {
  const auto z = heard({"RYRY", 170, 45.45, 1.5, false, 0, 1}, 1.8);
  for (size_t n = 50; n + 1 < z.size(); ++n) {
    ASSERT_NEAR(std::abs(z[n]), 1, 1e-9) << n;
    ASSERT_LT(std::fabs(frequencyAt(z, n) + 85), 85 + 1e-6) << n; // from -170 to 0
  }
}

TEST(rttySourceTest, anIndependentReceiverReadsIt) {
  const std::string text = "CQ CQ DE Q1ABC Q1ABC 599 599 (QTH: X/Y) +1-2=3?";
  for (const double baud : {45.45, 50.0, 75.0})
    for (const double shift : {170.0, 425.0, 850.0}) {
      const rttySource::sending what{text, shift, baud, 1.5, shift == 425, 0, 1};
      // the next transmission begins behind it
      EXPECT_EQ(textOf(codesOf(heard(what, 80 * 7.5 / baud + 1.2), baud)).substr(0, text.size() + 2), "\r\n" + text)
          << baud << " " << shift;
    }
}

TEST(rttySourceTest, beginsAndEndsSoftly) {
  const rttySource source(7e6, 0, {"E", 170, 50, 2, false, 0.25, 1});
  const double length = 2 * 0.5 + 4 * 8 / 50.0; // CR LF, letters, E
  EXPECT_NEAR(source.period_s(), length + 1, 1e-9);
  std::complex<double> v[4];
  EXPECT_EQ(source.envelope({0.1, 1e-3, 4}, {}, v), envelopeShape::silent);
  ASSERT_EQ(source.envelope({0.2525, 1e-6, 1}, {}, v), envelopeShape::varying);
  EXPECT_NEAR(std::abs(v[0]), 0.5, 1e-9);
  EXPECT_EQ(source.envelope({0.5, 1e-3, 4}, {}, v), envelopeShape::constant);
  ASSERT_EQ(source.envelope({0.25 + length - 0.0025, 1e-6, 1}, {}, v), envelopeShape::varying);
  EXPECT_NEAR(std::abs(v[0]), 0.5, 1e-9);
  EXPECT_EQ(source.envelope({0.25 + length + 0.01, 1e-3, 4}, {}, v), envelopeShape::silent);
}

TEST(rttySourceTest, aBlockSaysWhatItsSamplesSay) {
  const rttySource source(7e6, 0, {"RE", 850, 75, 1.5, false, 0.05, 0.1});
  for (const size_t count : {1u, 7u, 63u, 512u}) {
    samples block(count);
    for (size_t start = 0; start < 130000; start += count) {
      const envelopeShape shape = source.envelope({static_cast<double>(start) / 48000, 1 / 48000.0, count}, {}, block.data());
      for (size_t n = 0; n < count; n += 13) {
        std::complex<double> one;
        if (source.envelope({static_cast<double>(start + n) / 48000, 1e-9, 1}, {}, &one) == envelopeShape::silent) one = 0;
        const auto got = shape == envelopeShape::silent ? 0.0 : block[shape == envelopeShape::constant ? 0 : n];
        ASSERT_LT(std::abs(got - one), 1e-6) << start + n;
      }
    }
  }
}
