#include "host/slotFile.h"
#include <gtest/gtest.h>

namespace larchhost {
namespace {

TEST(slotFileTest, theDigitsBehindTheExtensionAreTheTag) {
  const auto file = slotFile::parse("/tmp/slots/261121_224500.wav8", ".wav");
  ASSERT_TRUE(file);
  EXPECT_EQ(file->path, "/tmp/slots/261121_224500.wav");
  EXPECT_EQ(file->name(), "261121_224500.wav");
  EXPECT_EQ(file->tag, slotFile::nothingSent);
}

TEST(slotFileTest, tagsMayBeNegativeAndLong) {
  for (const int32_t tag : {0, 1, 7, 10, 88, -1, -12, 2147483647, -2147483647 - 1}) {
    const auto file = slotFile::parse("261121_224500.wav" + std::to_string(tag), ".wav");
    ASSERT_TRUE(file) << tag;
    EXPECT_EQ(file->tag, tag);
    EXPECT_EQ(file->path, "261121_224500.wav");
  }
}

TEST(slotFileTest, digitsOfC2AreNotThoseOfTheTag) {
  const auto file = slotFile::parse("261121_2244.c22", ".c2");
  ASSERT_TRUE(file);
  EXPECT_EQ(file->path, "261121_2244.c2");
  EXPECT_EQ(file->tag, 2);
  EXPECT_EQ(slotFile::parse("261121_2244.c2-22", ".c2")->tag, -22);
}

TEST(slotFileTest, foldersMayHoldTheExtension) {
  const auto file = slotFile::parse("/a.wav8/b.wav-1/261121_224500.wav3", ".wav");
  ASSERT_TRUE(file);
  EXPECT_EQ(file->path, "/a.wav8/b.wav-1/261121_224500.wav");
  EXPECT_EQ(file->name(), "261121_224500.wav");
  EXPECT_EQ(file->tag, 3);
}

TEST(slotFileTest, otherTextsAreNone) {
  for (const char* told : {"", "261121_224500", "261121_224500.wav", "261121_224500.wav8x", "261121_224500.wav 8",
                           "x.wav2147483648", "x.wav-2147483649", "x.wav--1", "x.wav+1", "x.wav-", "x.wav8/y", "261121_2244.c28"})
    EXPECT_FALSE(slotFile::parse(told, ".wav")) << told;
  EXPECT_FALSE(slotFile::parse("a8", ""));
}

} // namespace
} // namespace larchhost
