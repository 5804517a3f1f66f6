#include <cmath>
#include <vector>
#include <gtest/gtest.h>
#include "sim/randomSource.h"

using namespace larch::sim;

TEST(randomSourceTest, noiseIsGaussianAndWhite) {
  randomSource random(7);
  constexpr size_t count = 400000;
  std::vector<double> x(count);
  random.addNoise(x.data(), count, 2);
  double mean = 0, square = 0, fourth = 0, next = 0, fourthNext = 0;
  for (size_t n = 0; n < count; ++n) {
    mean += x[n];
    square += x[n] * x[n];
    fourth += std::pow(x[n], 4);
    if (n > 0) next += x[n] * x[n - 1];
    if (n > 3) fourthNext += x[n] * x[n - 4]; // the same place of the next draw
  }
  EXPECT_NEAR(mean / count, 0, 0.02);
  EXPECT_NEAR(square / count, 4, 0.04);
  EXPECT_NEAR(fourth / count / 16, 3, 0.06); // a Gaussian's fourth moment
  EXPECT_NEAR(next / count / 4, 0, 0.01);
  EXPECT_NEAR(fourthNext / count / 4, 0, 0.01);
}

TEST(randomSourceTest, addsToWhatIsThereAtAnyLength) {
  for (const size_t length : {0u, 1u, 2u, 3u, 7u, 511u, 512u, 513u}) {
    std::vector<double> x(length + 1, 1000);
    randomSource random(3);
    random.addNoise(x.data(), length, 1);
    for (size_t n = 0; n < length; ++n) {
      EXPECT_NE(x[n], 1000);
      EXPECT_NEAR(x[n], 1000, 4);
    }
    EXPECT_EQ(x[length], 1000);
  }
}

TEST(randomSourceTest, aSeedGivesItsNumbersAgain) {
  randomSource a(5), b(5), c(6);
  bool differs = false;
  for (int i = 0; i < 100; ++i) {
    const uint64_t v = a.next();
    EXPECT_EQ(v, b.next());
    differs |= v != c.next();
  }
  EXPECT_TRUE(differs);
}

TEST(randomSourceTest, uniformFillsItsRange) {
  randomSource random(1);
  double sum = 0;
  for (int i = 0; i < 100000; ++i) {
    const double v = random.uniform();
    ASSERT_GE(v, 0);
    ASSERT_LT(v, 1);
    sum += v;
  }
  EXPECT_NEAR(sum / 100000, 0.5, 0.005);
}
