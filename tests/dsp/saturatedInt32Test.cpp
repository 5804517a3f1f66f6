#include "dsp/saturatedInt32.h"
#include <cmath>
#include <gtest/gtest.h>

using larch::saturatedInt32;

TEST(saturatedInt32Test, truncatesTowardsZero) {
  EXPECT_EQ(saturatedInt32(2880.999), 2880);
  EXPECT_EQ(saturatedInt32(-2880.999), -2880);
  EXPECT_EQ(saturatedInt32(0.99), 0);
  EXPECT_EQ(saturatedInt32(-0.99), 0);
}

TEST(saturatedInt32Test, staysAtTheNearestEndOfTheRange) {
  constexpr double inf = std::numeric_limits<double>::infinity();
  EXPECT_EQ(saturatedInt32(2147483646.9), 2147483646);
  for (double high : {2147483647.0, 2147483648.0, 1e300, inf}) EXPECT_EQ(saturatedInt32(high), 2147483647) << high;
  for (double low : {-2147483648.0, -2147483649.0, -1e300, -inf}) EXPECT_EQ(saturatedInt32(low), -2147483647 - 1) << low;
}

TEST(saturatedInt32Test, whatIsNoNumberIsZero) { EXPECT_EQ(saturatedInt32(std::nan("")), 0); }
