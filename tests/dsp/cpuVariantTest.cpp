#include "dsp/cpuVariant.h"
#include <gtest/gtest.h>
#include <iostream>
#include <string>

using namespace larch;

TEST(cpuVariantTest, baselineIsAlwaysThere) { EXPECT_TRUE(variantAvailable(cpuVariant::baseline)); }

TEST(cpuVariantTest, fastestAvailableVariantIsChosen) {
  cpuVariant best = cpuVariant::baseline;
  for (cpuVariant variant : compiledVariants()) {
    if (variantAvailable(variant))
      best = variant;
    else
      std::cout << "this processor has no " << variantName(variant) << "\n";
  }
  EXPECT_EQ(selectedVariant(), best);
  selectVariants();
  EXPECT_EQ(selectedVariant(), best);
}

TEST(cpuVariantTest, variantsHaveNames) {
  EXPECT_EQ(variantName(cpuVariant::baseline), std::string("baseline"));
  EXPECT_EQ(variantName(cpuVariant::avx2), std::string("avx2"));
  EXPECT_EQ(variantName(cpuVariant::avx512), std::string("avx512"));
}
