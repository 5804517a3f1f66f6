#include <set>
#include <string>
#include <gtest/gtest.h>
#include "sim/morseSource.h"

using namespace larch::sim;

namespace {
// magnitude of the envelope at one instant, asked for by itself
double at(const morseSource& source, double time_s) {
  std::complex<double> v[2];
  const envelopeShape shape = source.envelope({time_s, 1e-6, 2}, {}, v);
  return shape == envelopeShape::silent ? 0 : v[0].real();
}
} // namespace

TEST(morseCodeTest, wordParisTakesFiftyUnitsWithItsSpace) {
  const auto keyed = keyText("PARIS PARIS", 20);
  const double unit = 0.06;
  ASSERT_EQ(keyed.size(), 28u);
  EXPECT_NEAR(keyed[14].down_s, 50 * unit, 1e-9);
  EXPECT_NEAR(keyed[0].up_s - keyed[0].down_s, unit, 1e-12);     // P: dot
  EXPECT_NEAR(keyed[1].up_s - keyed[1].down_s, 3 * unit, 1e-12); // dash
  EXPECT_NEAR(keyed[1].down_s - keyed[0].up_s, unit, 1e-12);
  EXPECT_NEAR(keyed[4].down_s - keyed[3].up_s, 3 * unit, 1e-12); // P to A
}

TEST(morseCodeTest, everyCodeIsItsOwn) {
  std::set<std::string> seen;
  int codes = 0;
  for (int c = 33; c < 97; ++c)
    if (const char* elements = morseElements(static_cast<char>(c))) {
      ++codes;
      EXPECT_TRUE(seen.insert(elements).second) << static_cast<char>(c);
    }
  EXPECT_EQ(codes, 26 + 10 + 14);
  EXPECT_STREQ(morseElements('s'), "...");
  EXPECT_STREQ(morseElements('Q'), "--.-");
  EXPECT_STREQ(morseElements('5'), ".....");
  EXPECT_STREQ(morseElements('?'), "..--..");
  EXPECT_EQ(morseElements('%'), nullptr);
}

TEST(morseCodeTest, skipsWhatHasNoCode) {
  EXPECT_TRUE(keyText("", 20).empty());
  EXPECT_TRUE(keyText("  %\n", 20).empty());
  EXPECT_EQ(keyText("%E%", 20).size(), 1u);
  EXPECT_EQ(keyText(" E", 20)[0].down_s, 0);
}

TEST(morseSourceTest, keepsElementLengthsAtHalfAmplitude) {
  const morseSource source(7e6, 0, {"T", 12, 0, 1, 10}); // one dash: 0.3 s
  EXPECT_NEAR(at(source, 0), 0, 1e-12);
  EXPECT_NEAR(at(source, 0.005), 0.5, 1e-9);
  EXPECT_NEAR(at(source, 0.010001), 1, 1e-9);
  EXPECT_NEAR(at(source, 0.2), 1, 1e-12);
  EXPECT_NEAR(at(source, 0.305), 0.5, 1e-9);
  EXPECT_NEAR(at(source, 0.3101), 0, 1e-9);
  EXPECT_NEAR(source.period_s(), 1.3, 1e-12);
  EXPECT_NEAR(at(source, 0.2 + 1.3 * 1000), 1, 1e-12); // over and over
  EXPECT_NEAR(at(source, 1.0 + 1.3 * 1000), 0, 1e-12);
}

TEST(morseSourceTest, beginsWhenItIsToldTo) {
  const morseSource source(7e6, 0, {"T", 12, 5, 1, 5});
  EXPECT_EQ(at(source, 4.99), 0);
  EXPECT_EQ(at(source, 0.1), 0);
  EXPECT_NEAR(at(source, 5.1), 1, 1e-12);
}

TEST(morseSourceTest, aBlockSaysWhatItsSamplesSay) {
  const morseSource source(7e6, 0, {"CQ E", 40, 0.05, 0.2, 5});
  constexpr double rate = 48000;
  for (size_t count : {1u, 7u, 63u, 512u}) {
    std::vector<std::complex<double>> block(count);
    bool shapes[3] = {};
    for (size_t start = 0; start < 200000; start += count) {
      const envelopeShape shape = source.envelope({static_cast<double>(start) / rate, 1 / rate, count}, {}, block.data());
      shapes[static_cast<int>(shape)] = true;
      for (size_t n = 0; n < count; n += 13) {
        const double wanted = at(source, static_cast<double>(start + n) / rate);
        const double got = shape == envelopeShape::silent     ? 0
                           : shape == envelopeShape::constant ? block[0].real()
                                                              : block[n].real();
        ASSERT_NEAR(got, wanted, 1e-9) << start + n;
      }
    }
    EXPECT_TRUE(shapes[0] && shapes[2]);
  }
}

TEST(morseSourceTest, aTextWithoutCodesIsSilent) {
  const morseSource source(7e6, 0, {"%", 20, 0, 1, 5});
  EXPECT_EQ(at(source, 0.5), 0);
}
