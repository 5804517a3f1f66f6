#include "platform/pageBlock.h"
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>

using namespace larch;

TEST(pageBlockTest, isZeroedAlignedAndRoundedUpToWholePages) {
  for (std::size_t bytes : {std::size_t{1}, std::size_t{4095}, std::size_t{4096}, std::size_t{4097}, std::size_t{1000000}}) {
    pageBlock block;
    ASSERT_EQ(block.allocate(bytes), 0);
    const std::size_t page = pageBlock::pageSize();
    EXPECT_EQ(block.size() % page, 0u);
    EXPECT_GE(block.size(), bytes);
    EXPECT_LT(block.size() - bytes, page);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(block.data()) % page, 0u);
    EXPECT_TRUE(std::all_of(block.data(), block.data() + block.size(), [](char c) { return c == 0; }));
    std::fill(block.data(), block.data() + block.size(), char{1});
  }
}

TEST(pageBlockTest, sizesThatCannotBeHadLeaveItEmpty) {
  for (std::size_t bytes :
       {std::size_t{0}, std::numeric_limits<std::size_t>::max(), std::numeric_limits<std::size_t>::max() / 2}) {
    pageBlock block;
    EXPECT_NE(block.allocate(bytes), 0) << bytes;
    EXPECT_EQ(block.data(), nullptr);
    EXPECT_EQ(block.size(), 0u);
  }
}

TEST(pageBlockTest, isAllocatedOnce) {
  pageBlock block;
  ASSERT_EQ(block.allocate(1), 0);
  char* const first = block.data();
  EXPECT_EQ(block.allocate(1), EEXIST);
  EXPECT_EQ(block.data(), first);
}
