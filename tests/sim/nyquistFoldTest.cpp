#include <cmath>
#include <gtest/gtest.h>
#include "sim/nyquistFold.h"

using namespace larch::sim;

TEST(nyquistFoldTest, firstImageIsTheAliasInTheFirstZone) {
  const struct {
    double f, alias;
    bool mirrored;
  } known[] = {{7100000, 7100000, false},
               {40000000, 33728000, true},  // 73.728 - 40
               {80000000, 6272000, false},  // 80 - 73.728
               {120000000, 27456000, true}, // 2 * 73.728 - 120
               {0, 0, false},
               {36864000, 36864000, false}};
  for (const auto& k : known) {
    const foldedImages images = foldIntoBand(k.f, 73728000);
    EXPECT_DOUBLE_EQ(images.image[0].frequency_Hz, k.alias) << k.f;
    EXPECT_EQ(images.image[0].mirrored, k.mirrored) << k.f;
  }
}

// Sampling itself as the judge: a cosine at f and one at each image have the same samples, and a small step of f moves the
// image the same way, or the other way when it is mirrored.
TEST(nyquistFoldTest, imagesHaveTheSamplesOfTheSignal) {
  constexpr double clock = 1000;
  for (double f = 13; f < 3500; f += 171) {
    const foldedImages images = foldIntoBand(f, clock), moved = foldIntoBand(f + 1, clock);
    for (size_t i = 0; i < images.count; ++i) {
      const double image = images.image[i].frequency_Hz;
      EXPECT_GE(image, -clock / 2);
      EXPECT_LE(image, clock);
      for (int n = 0; n < 50; ++n)
        EXPECT_NEAR(std::cos(2 * M_PI * f * n / clock), std::cos(2 * M_PI * image * n / clock), 1e-9) << f << " " << i;
      if (images.image[0].mirrored == moved.image[0].mirrored) {
        EXPECT_NEAR(moved.image[i].frequency_Hz - image, images.image[i].mirrored ? -1 : 1, 1e-9) << f << " " << i;
      }
    }
  }
}

TEST(nyquistFoldTest, onTheEdgesNothingCountsTwice) {
  EXPECT_EQ(foldIntoBand(0, 1000).count, 2u);
  EXPECT_EQ(foldIntoBand(500, 1000).count, 2u);
  EXPECT_EQ(foldIntoBand(499, 1000).count, 3u);
}
