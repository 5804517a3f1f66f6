// Drawn text, read back from its sound.
#include "modes/hellPainter.h"
#include "tests/modes/hellTesting.h"
#include <gtest/gtest.h>
#include <limits>

namespace larch::test {
namespace {

using cdouble = std::complex<double>;
constexpr size_t pixel = 1601, column = 8 * pixel; // samples, at 30 Hz

class hellPainterTest : public testing::Test {
 protected:
  std::vector<cdouble> produce(size_t samples, double step = 30, size_t chunk = 512) {
    std::vector<cdouble> sent;
    while (sent.size() < samples) {
      const cbuff out(std::min(chunk, samples - sent.size()), cdouble(7, 7));
      painter.produce(out, step);
      sent.insert(sent.end(), out.data, out.data + out.count);
    }
    return sent;
  }
  std::optional<char> next() {
    if (waiting.empty()) return std::nullopt;
    const char c = waiting.front();
    waiting.erase(0, 1);
    taken++;
    return c;
  }

  std::string waiting;
  int taken = 0;
  hellPainter painter{[this] { return next(); }};
};

TEST_F(hellPainterTest, everyGlyphIsDrawnAsItsPicture) {
  std::string all;
  for (int c = 32; c < 128; c++) all += static_cast<char>(c);
  for (size_t at = 0; at < all.size(); at += 16) {
    painter = hellPainter([this] { return next(); });
    waiting = all.substr(at, 16);
    const auto wanted = pictureOf(waiting);
    EXPECT_EQ(columnsOf(produce((wanted.size() + 1) * column, 30, 4096), wanted.size()), wanted) << all.substr(at, 16);
  }
}

TEST_F(hellPainterTest, aNarrowGlyphAdvancesByABlankAndADrawnColumn) {
  waiting = "iii";
  EXPECT_EQ(columnsOf(produce(8 * column), 7), (std::vector<int>{0, 0x9E, 0, 0x9E, 0, 0x9E, 0}));
}

TEST_F(hellPainterTest, charactersOutsideTheFontAreBlanks) {
  waiting = std::string("\x1F\x80\xFF", 3) + "i";
  std::vector<int> wanted(18, 0);
  wanted.insert(wanted.end(), {0, 0x9E});
  EXPECT_EQ(columnsOf(produce(21 * column), 20), wanted);
  EXPECT_EQ(taken, 4);
}

TEST_F(hellPainterTest, withoutTextItIsSilentAndTheTimingRunsOn) {
  const auto blank = produce(6 * column + 100); // a blank and the first column of the next
  for (const cdouble& x : blank) ASSERT_EQ(x, cdouble(0));
  waiting = "l";
  // the character comes when the blank is over
  const auto sent = produce(8 * column - 100);
  const size_t first =
      static_cast<size_t>(std::find_if(sent.begin(), sent.end(), [](cdouble x) { return std::abs(x) > 1e-6; }) - sent.begin());
  EXPECT_NEAR(static_cast<double>(first), static_cast<double>(7 * column + pixel - 100), 5.0); // its lowest row is empty
}

// The first drawn column of "l" is a full one: each row swells and fades; in the middle of the column the sum has one level.
TEST_F(hellPainterTest, aPixelSwellsOverItsLengthAndFadesOverTheNext) {
  waiting = "e"; // 1C first: one edge, three rows, one edge
  const auto sent = produce(3 * column);
  const size_t row2 = column + 2 * pixel; // the lowest drawn pixel
  for (size_t n = column; n < row2; n++) ASSERT_EQ(sent[n], cdouble(0)) << n;
  for (size_t n = 0; n < pixel; n++) { // alone while it swells
    const double left = static_cast<double>(1600 - n) / 1600;
    ASSERT_NEAR(std::abs(sent[row2 + n]), 0.45 * (std::cos(left * 3.1415927) + 1), 1e-9) << n;
  }
  const size_t behind = row2 + 3 * pixel; // the highest drawn one fades alone
  for (size_t n = 0; n < pixel; n++) {
    const double left = static_cast<double>(1600 - n) / 1600;
    ASSERT_NEAR(std::abs(sent[behind + n]), 0.45 * (std::cos((left - 1) * 3.1415927) + 1), 1e-9) << n;
  }
  for (size_t n = behind + pixel; n < 2 * column; n++) ASSERT_LT(std::abs(sent[n]), 1e-12) << n;
  for (const cdouble& x : sent) ASSERT_LE(std::abs(x), 0.9 + 1e-9);
}

TEST_F(hellPainterTest, rowsStandAtTheirTones) {
  waiting = "l"; // all rows but the lowest
  const auto sent = produce(3 * column);
  for (size_t row = 1; row < 8; row++) { // alone at one moment only: its neighbours are silent where it peaks
    const size_t peak = column + (row + 1) * pixel - 1;
    const double turn = -std::arg(sent[peak] * std::conj(sent[peak - 1]));
    EXPECT_NEAR(turn * 48000 / (2 * M_PI), 1300 - 30.0 * static_cast<double>(7 - row), 0.1) << row;
  }
}

TEST_F(hellPainterTest, theStepIsThePixelRateToo) {
  for (const double step : {10.0, 62.5, 100.0}) {
    painter = hellPainter([this] { return next(); });
    waiting = "Hi";
    const auto wanted = pictureOf("Hi");
    const size_t length = static_cast<size_t>(48000 / step) + 1;
    EXPECT_EQ(columnsOf(produce((wanted.size() + 1) * 8 * length, step), wanted.size(), step), wanted) << step;
  }
}

TEST_F(hellPainterTest, theChunkLengthChangesNothing) {
  waiting = "Q";
  const auto whole = produce(3 * column, 30, 3 * column);
  for (const size_t chunk : {1u, 7u, 126u, 511u, 513u}) {
    painter = hellPainter([this] { return next(); });
    waiting = "Q";
    const auto parts = produce(3 * column, 30, chunk);
    for (size_t n = 0; n < whole.size(); n++) ASSERT_LT(std::abs(parts[n] - whole[n]), 1e-9) << chunk << " " << n;
  }
  painter.produce(cbuff(0), 30);
}

TEST_F(hellPainterTest, noStepBreaksIt) {
  constexpr double inf = std::numeric_limits<double>::infinity(), nan = std::numeric_limits<double>::quiet_NaN();
  for (const double step : {0.0, -0.0, -30.0, nan, inf, -inf, 1e-300, 1e-9, 1e300, 48000.0, 47999.0, 96000.0, 30.0}) {
    waiting = std::string(30, 'W');
    for (const cdouble& x : produce(20'000, step)) ASSERT_LE(std::abs(x), 1.8 + 1e-9) << step; // NaN fails
  }
}

TEST_F(hellPainterTest, withoutAUsableStepTheTextGoesOnInSilence) {
  for (const double step : {0.0, -30.0, nan(""), std::numeric_limits<double>::infinity()}) {
    painter = hellPainter([this] { return next(); });
    waiting = "l~";
    taken = 0;
    const auto sent = produce(3 * column, step);
    EXPECT_EQ(taken, 2) << step << ": the end isn't put off";
    for (const cdouble& x : sent) ASSERT_EQ(x, cdouble(0)) << step;
  }
}

TEST_F(hellPainterTest, aTinyStepIsLeftInTime) {
  produce(1, 1e-9);
  produce(hellPainter::longestPixel, 30);
  waiting = "i";
  produce(7 * column, 30);
  EXPECT_EQ(taken, 1);
}

} // namespace
} // namespace larch::test
