#include "host/hellPicture.h"
#include <algorithm>
#include <cmath>
#include <filesystem>
#include <gtest/gtest.h>
#include <png.h>
#include <random>
#include <unistd.h>

using namespace larchhost;

namespace {

constexpr double top = 1300, step = 30, frames_s = 46.875, low = -12000, high = 12000;
constexpr double pixelFrames = frames_s / step;
using frame = std::vector<float>;

const frame silence(2048, -12.0f);

frame tone(double frequency) {
  frame f = silence;
  const auto middle = static_cast<size_t>(std::lround((frequency - low) / (high - low) * 2048));
  const float shape[] = {-5.2f, -3.5f, -3.0f, -3.5f, -5.2f}; // much as the window's
  std::copy(std::begin(shape), std::end(shape), f.begin() + static_cast<ptrdiff_t>(middle) - 2);
  return f;
}

struct picture {
  int width = 0, height = 0;
  std::vector<uint8_t> rgb;
  bool lit(size_t x, size_t y) const { return rgb[(y * static_cast<size_t>(width) + x) * 3] > 100; } // red: the upper half
};

picture saved(const hellPicture& p) {
  const auto path = std::filesystem::temp_directory_path() / ("larch-hell-" + std::to_string(getpid()) + ".png");
  p.save(path);
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_file(&image, path.c_str())) return {};
  image.format = PNG_FORMAT_RGB;
  picture result{static_cast<int>(image.width), static_cast<int>(image.height), std::vector<uint8_t>(PNG_IMAGE_SIZE(image))};
  png_image_finish_read(&image, nullptr, result.rgb.data(), 0, nullptr);
  std::filesystem::remove(path);
  return result;
}

size_t middleOf(int rowFromBottom) { return static_cast<size_t>((hellPicture::margins + 7 - rowFromBottom) * 10 + 5); }

TEST(hellSpectrumTest, theSpectrumIsAsFineAsThePixels) {
  for (const int32_t rate : {48000, 96000, 192000, 384000})
    for (const double s : {10.0, 30.0, 60.0, 100.0}) {
      const hellSpectrum spectrum = hellSpectrumFor(rate, s);
      EXPECT_EQ(spectrum.zoom, std::exp2(std::round(std::log2(spectrum.zoom))));
      const double points = rate / spectrum.zoom / 2048 / s; // apart, in rows
      EXPECT_LT(points, 0.6) << rate << " " << s;
      EXPECT_GT(points, 0.2) << rate << " " << s;
      EXPECT_GT(spectrum.frames_s, 0.9 * s) << rate << " " << s;
    }
  EXPECT_EQ(hellSpectrumFor(48000, 30).zoom, 2);
  EXPECT_EQ(hellSpectrumFor(48000, 30).waterfallSpeed, 2);
  EXPECT_EQ(hellSpectrumFor(48000, 30).frames_s, frames_s);
  EXPECT_EQ(hellSpectrumFor(192000, 30).waterfallSpeed, 0);
  EXPECT_EQ(hellSpectrumFor(192000, 30).frames_s, frames_s);
}

TEST(hellPictureTest, aColumnSentPixelByPixelStandsUprightAndIsAsWideAsAColumn) {
  hellPicture p(top, step, frames_s);
  constexpr int before = 50;
  for (int i = 0; i < before; i++) p.add(silence, low, high);
  for (int i = 0; i < 50; i++) {
    const int pixel = static_cast<int>(i / pixelFrames);
    p.add(pixel < 8 ? tone(top - (7 - pixel) * step) : silence, low, high);
  }
  const picture shown = saved(p);
  ASSERT_EQ(shown.height, hellPicture::height);
  for (int row = 0; row < 8; row++) {
    int first = -1, count = 0;
    for (size_t x = 0; x < hellPicture::columns; x++) {
      if (!shown.lit(x, middleOf(row))) continue;
      if (first < 0) first = static_cast<int>(x);
      count++;
    }
    EXPECT_NEAR(first, before, 2) << row;
    EXPECT_NEAR(count, 8 * pixelFrames + 1, 2) << row; // the pixel's own length, too
  }
}

TEST(hellPictureTest, aToneIsShownAtItsHeight) {
  for (const int row : {0, 3, 7}) {
    hellPicture p(top, step, frames_s);
    for (int i = 0; i < 100; i++) p.add(tone(top - (7 - row) * step), low, high);
    const picture shown = saved(p);
    for (int other = 0; other < 8; other++) EXPECT_EQ(shown.lit(50, middleOf(other)), other == row);
  }
}

TEST(hellPictureTest, timeGoesOnInTheNextStripAndTheOldestGoes) {
  hellPicture p(top, step, frames_s);
  for (int i = 0; i < hellPicture::columns; i++) p.add(silence, low, high);
  for (int i = 0; i < 100; i++) p.add(tone(top), low, high);
  const picture shown = saved(p);
  ASSERT_EQ(shown.height, 2 * hellPicture::height + hellPicture::gap);
  EXPECT_FALSE(shown.lit(50, middleOf(7)));
  EXPECT_TRUE(shown.lit(50, hellPicture::height + hellPicture::gap + middleOf(7)));
  for (size_t i = 0; i < hellPicture::mostStrips * hellPicture::columns; i++) {
    p.add(silence, low, high);
    ASSERT_LE(p.strips(), hellPicture::mostStrips);
  }
  EXPECT_EQ(p.frames(), (hellPicture::mostStrips + 1) * hellPicture::columns + 100);
}

TEST(hellPictureTest, noiseStaysDark) {
  hellPicture p(top, step, frames_s);
  std::mt19937 random(3);
  std::exponential_distribution<float> power;
  for (int i = 0; i < 300; i++) {
    frame f(2048);
    for (float& bels : f) bels = std::log10(power(random) + 1e-6f) - 9;
    p.add(f, low, high);
  }
  const picture shown = saved(p);
  int lit = 0;
  for (size_t y = 0; y < hellPicture::height; y++)
    for (size_t x = 0; x < 300; x++) lit += shown.lit(x, y);
  EXPECT_LT(lit, 30);
}

TEST(hellPictureTest, theTerminalHasALineForEachRowAndTheNewestOnTheRight) {
  hellPicture p(top, step, frames_s);
  constexpr size_t lineCount = hellPicture::rows + 2 * hellPicture::margins;
  EXPECT_EQ(p.lines(20, 4, true, true).size(), lineCount); // before anything has come
  EXPECT_EQ(p.lines(0, 4, false, false).size(), lineCount);
  for (int i = 0; i < 40; i++) p.add(i < 30 ? silence : tone(top), low, high);
  const auto lines = p.lines(10, 4, false, false);
  ASSERT_EQ(lines.size(), lineCount);
  const std::string dark = lines[0].substr(0, lines[0].find(' ') + 1), row = lines[hellPicture::margins];
  EXPECT_TRUE(row.starts_with(dark));
  const std::string last = row.substr(row.rfind("\033[", row.rfind(' ')));
  EXPECT_NE(last.substr(0, dark.size()), dark);
  EXPECT_TRUE(lines[hellPicture::margins + 4].ends_with(dark + "\033[0m"));
}

TEST(hellPictureTest, framesOfAnotherBandAreDark) {
  hellPicture p(top, step, frames_s);
  p.add(tone(top), 20000, 44000);
  p.add({}, low, high);
  EXPECT_EQ(p.frames(), 2u);
  const picture shown = saved(p);
  EXPECT_FALSE(shown.lit(0, middleOf(7)));
}

TEST(hellPictureTest, unwritablePathIsAnErrorWithItsName) {
  hellPicture p(top, step, frames_s);
  EXPECT_NO_THROW(p.save("/nonexistent/picture.png")); // nothing to write
  p.add(silence, low, high);
  try {
    p.save("/nonexistent/picture.png");
    FAIL();
  } catch (const std::runtime_error& e) {
    EXPECT_NE(std::string(e.what()).find("/nonexistent/picture.png"), std::string::npos);
  }
}

} // namespace
