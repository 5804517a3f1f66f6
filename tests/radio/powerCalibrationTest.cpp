#include "radio/powerCalibration.h"
#include <cmath>
#include <gtest/gtest.h>

using namespace larch;

namespace {

asyncCollection<calibLine>::list rows(std::initializer_list<std::pair<double, double>> points) {
  asyncCollection<calibLine>::list list;
  for (const auto& [inp, outp] : points) {
    list.push_back(keptByCore(std::make_shared<calibLine>(nullptr)));
    list.back()->inp.set(inp);
    list.back()->outp.set(outp);
  }
  return list;
}

} // namespace

TEST(powerCalibrationTest, aRowsReadingGivesItsPower) {
  const auto table = rows({{0, 0}, {25.86539, 0.002550254}, {101.0245, 0.01275204}, {265.2901, 0.05060093}});
  for (const auto& row : table) EXPECT_NEAR(calibrate(table, row->inp.value), row->outp.value, 1e-15);
}

TEST(powerCalibrationTest, betweenRowsItIsTheStraightLine) {
  const auto table = rows({{0, 0}, {10, 1}, {20, 5}});
  EXPECT_DOUBLE_EQ(calibrate(table, 5), 0.5);
  EXPECT_DOUBLE_EQ(calibrate(table, 15), 3);
  EXPECT_DOUBLE_EQ(calibrate(table, 10), 1);
}

TEST(powerCalibrationTest, theOuterSegmentsGoOnWithoutAClamp) {
  const auto table = rows({{10, 1}, {20, 2}, {30, 5}});
  EXPECT_DOUBLE_EQ(calibrate(table, 40), 8);
  EXPECT_DOUBLE_EQ(calibrate(table, -10), -1);
}

TEST(powerCalibrationTest, fewerThanTwoRowsGiveNothing) {
  EXPECT_EQ(calibrate({}, 100), 0);
  EXPECT_EQ(calibrate(rows({{1, 5}}), 100), 0);
  auto table = rows({{1, 5}});
  table.push_back(nullptr);
  EXPECT_EQ(calibrate(table, 100), 0);
}

TEST(powerCalibrationTest, nullRowsAreSkipped) {
  auto table = rows({{0, 0}, {10, 1}, {20, 5}});
  table.insert(table.begin() + 1, nullptr);
  table.insert(table.begin(), nullptr);
  EXPECT_DOUBLE_EQ(calibrate(table, 5), 0.5);
  EXPECT_DOUBLE_EQ(calibrate(table, 15), 3);
}

TEST(powerCalibrationTest, equalReadingsDivideByZero) {
  EXPECT_TRUE(std::isinf(calibrate(rows({{10, 1}, {10, 2}}), 20)) || std::isnan(calibrate(rows({{10, 1}, {10, 2}}), 20)));
  EXPECT_TRUE(std::isnan(calibrate(rows({{10, 1}, {10, 1}}), 20)));
}

TEST(powerCalibrationTest, twoRowsHaveOneSegmentForEveryReading) {
  const auto table = rows({{10, 1}, {20, 2}});
  for (double x : {-100.0, 0.0, 10.0, 15.0, 20.0, 1000.0}) EXPECT_DOUBLE_EQ(calibrate(table, x), x / 10);
}
