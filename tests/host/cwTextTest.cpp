#include "host/cwText.h"
#include <gtest/gtest.h>

using namespace larchhost;
using namespace std::chrono_literals;

namespace {

const cwText::clock::time_point start{1000s};
using textLines = std::vector<std::string>;

TEST(cwTextTest, linesBreakAtBlanksAndTheLastOnesAreShown) {
  cwText text;
  EXPECT_EQ(text.lines(10, 3), textLines{});
  text.add("cq cq de q1abc q1abc k", start);
  EXPECT_EQ(text.lines(10, 9), (textLines{"cq cq de", "q1abc", "q1abc k"}));
  EXPECT_EQ(text.lines(10, 2), (textLines{"q1abc", "q1abc k"}));
  EXPECT_EQ(text.lines(80, 2), (textLines{"cq cq de q1abc q1abc k"}));
}

TEST(cwTextTest, aLongWordIsCutAndNoWidthIsSurvived) {
  cwText text;
  text.add("abcdefgh ij", start);
  EXPECT_EQ(text.lines(3, 9), (textLines{"abc", "def", "gh", "ij"}));
  EXPECT_EQ(text.lines(0, 2), (textLines{"i", "j"}));
}

TEST(cwTextTest, aLineIsTakenAfterAPause) {
  cwText text;
  EXPECT_FALSE(text.takeLine(start));
  text.add("cq ", start);
  EXPECT_FALSE(text.takeLine(start + 999ms));
  text.add("de", start + 999ms);
  EXPECT_FALSE(text.takeLine(start + 1998ms));
  EXPECT_EQ(text.takeLine(start + 1999ms), "cq de");
  EXPECT_FALSE(text.takeLine(start + 9s));
}

TEST(cwTextTest, aLongLineIsTakenAtTheNextBlank) {
  cwText text;
  const std::string word(cwText::lineLength, 'e');
  text.add(word, start);
  EXPECT_FALSE(text.takeLine(start));
  text.add(" ", start);
  EXPECT_EQ(text.takeLine(start), word);
  text.add(" ", start);
  EXPECT_FALSE(text.takeLine(start + 5s)); // blanks alone are no line
}

TEST(cwTextTest, whatHasNotBeenTakenIsTheRest) {
  cwText text;
  text.add("tu ", start);
  EXPECT_EQ(text.takeRest(), "tu");
  EXPECT_EQ(text.takeRest(), "");
}

TEST(cwTextTest, daysOfTextTakeNoMoreThanTheLatest) {
  cwText text;
  for (int i = 0; i < 100000; i++) {
    text.add("paris ", start);
    text.takeRest();
  }
  size_t kept = 0;
  for (const auto& line : text.lines(60, 100000)) kept += line.size();
  EXPECT_GT(kept, 3000u);
  EXPECT_LT(kept, 9000u);
}

} // namespace
