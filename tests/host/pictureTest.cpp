#include "host/colourScale.h"
#include "host/screen.h"
#include "host/spectrumTrace.h"
#include "host/waterfallPicture.h"
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <gtest/gtest.h>
#include <limits>
#include <png.h>
#include <stdexcept>
#include <unistd.h>

using namespace larchhost;

TEST(spectrumTraceTest, framesAreAveragedAsDecibelsAndTakenOnce) {
  spectrumTrace trace;
  const std::vector<float> a{-10, -12}, b{-12, -12};
  trace.add(a, 100, 200);
  trace.add(b, 100, 200);
  const auto levels = trace.take();
  EXPECT_NEAR(levels[0], -110 + 11.34, 0.01); // the window's loss on a carrier is made up for
  EXPECT_NEAR(levels[1], -120 + 11.34, 0.01);
  EXPECT_TRUE(trace.empty());
  EXPECT_EQ(trace.total(), 2u);
}

TEST(spectrumTraceTest, anotherSpanStartsAnew) {
  spectrumTrace trace;
  trace.add(std::vector<float>{-10, -10}, 0, 100);
  trace.add(std::vector<float>{-4, -4}, 100, 200);
  EXPECT_NEAR(trace.take()[0], -40 + 11.34, 0.01);
  EXPECT_EQ(trace.low(), 100);
  trace.add(std::vector<float>{-6, -6}, 150, 200); // one end alone moves
  EXPECT_NEAR(trace.take()[0], -60 + 11.34, 0.01);
  trace.add(std::vector<float>{-2, -2}, 150, 300);
  trace.add(std::vector<float>{-6, -6}, 100, 300);
  EXPECT_NEAR(trace.take()[0], -60 + 11.34, 0.01);
}

TEST(spectrumTraceTest, pointsWithoutDataStaySo) {
  spectrumTrace trace;
  trace.add(std::vector<float>{-20}, 0, 100);
  EXPECT_EQ(trace.take(), (std::vector<double>{noData_dBm}));
}

TEST(spectrumTraceTest, columnsKeepTheStrongestOfTheirPoints) {
  std::vector<double> levels(2048, -120);
  levels[1000] = -50;
  const auto columns = columnsOf(levels, 80);
  ASSERT_EQ(columns.size(), 80u);
  EXPECT_EQ(columns[1000 * 80 / 2048], -50);
  EXPECT_EQ(std::count(columns.begin(), columns.end(), -50), 1);
  EXPECT_EQ(columnsOf({}, 3), (std::vector<double>(3, noData_dBm)));
  EXPECT_EQ(columnsOf(levels, 5000).size(), 5000u); // wider than the frame
  EXPECT_TRUE(columnsOf(levels, 0).empty());
}

TEST(spectrumTraceTest, quantileLeavesPointsWithoutDataOut) {
  EXPECT_EQ(quantile({-200, -200, -100, -90, -80}, 0.5), -90);
  EXPECT_EQ(quantile({-200}, 0.5), noData_dBm);
  EXPECT_EQ(quantile({}, 0.5), noData_dBm);
}

TEST(spectrumTraceTest, strongestSignalsComeFirstAndApart) {
  std::vector<double> levels(1000, -120);
  levels[100] = -60;
  levels[102] = -70; // the first one's skirt
  levels[500] = -50;
  const auto peaks = strongest(levels, 7000000, 7100000, 15, 300, 4);
  ASSERT_EQ(peaks.size(), 2u);
  EXPECT_EQ(peaks[0].frequency, 7050000);
  EXPECT_EQ(peaks[1].frequency, 7010000);
}

TEST(colourScaleTest, scaleIsClampedAndRises) {
  EXPECT_EQ(scaleColour(-5).red, scaleColour(0).red);
  EXPECT_EQ(scaleColour(7).green, 255);
  EXPECT_EQ(scaleColour(std::numeric_limits<double>::quiet_NaN()).blue, scaleColour(0).blue);
  EXPECT_EQ(cubeColour({255, 255, 255}), 231);
  EXPECT_EQ(cubeColour({0, 0, 0}), 16);
}

TEST(screenTest, sMeterReadsAsOperatorsSpeak) {
  EXPECT_EQ(sMeterText(-73), "S9");
  EXPECT_EQ(sMeterText(-61), "S9+12");
  EXPECT_EQ(sMeterText(-79), "S8");
  EXPECT_EQ(sMeterText(-1800), "S0");
  EXPECT_EQ(sMeterBar(-1800, 4, false), "....");
  EXPECT_EQ(sMeterBar(0, 4, false), "####");
}

TEST(waterfallPictureTest, pictureHoldsItsLinesInOrder) {
  const auto path = std::filesystem::temp_directory_path() / ("larch-picture-" + std::to_string(getpid()) + ".png");
  waterfallPicture picture;
  std::vector<double> levels(2048, -120);
  picture.addLine(levels);
  levels[1024] = -40;
  picture.addLine(levels);
  picture.save(path);
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  ASSERT_TRUE(png_image_begin_read_from_file(&image, path.c_str()));
  EXPECT_EQ(image.width, static_cast<unsigned>(waterfallPicture::width));
  EXPECT_EQ(image.height, 2u);
  image.format = PNG_FORMAT_RGB;
  std::vector<uint8_t> rgb(PNG_IMAGE_SIZE(image));
  ASSERT_TRUE(png_image_finish_read(&image, nullptr, rgb.data(), 0, nullptr));
  const size_t at = (waterfallPicture::width + 512) * 3;
  EXPECT_EQ(rgb[at], 255);     // the carrier, in the second line
  EXPECT_LT(rgb[512 * 3], 60); // nothing there in the first
  std::filesystem::remove(path);
}

TEST(waterfallPictureTest, unwritablePathIsAnErrorWithItsName) {
  waterfallPicture picture;
  picture.addLine(std::vector<double>(10, -100));
  try {
    picture.save("/nonexistent/picture.png");
    FAIL();
  } catch (const std::runtime_error& e) {
    EXPECT_NE(std::string(e.what()).find("/nonexistent/picture.png"), std::string::npos);
  }
}
