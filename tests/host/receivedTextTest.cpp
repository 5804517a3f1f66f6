#include "host/receivedText.h"
#include <gtest/gtest.h>

using namespace larchhost;
using namespace std::chrono_literals;

namespace {

const receivedText::clock::time_point start{1000s};
using textLines = std::vector<std::string>;

TEST(receivedTextTest, linesBreakAtBlanksAndTheLastOnesAreShown) {
  receivedText text;
  EXPECT_EQ(text.lines(10, 3), textLines{});
  text.add("cq cq de q1abc q1abc k", start);
  EXPECT_EQ(text.lines(10, 9), (textLines{"cq cq de", "q1abc", "q1abc k"}));
  EXPECT_EQ(text.lines(10, 2), (textLines{"q1abc", "q1abc k"}));
  EXPECT_EQ(text.lines(80, 2), (textLines{"cq cq de q1abc q1abc k"}));
}

TEST(receivedTextTest, aLongWordIsCutAndNoWidthIsSurvived) {
  receivedText text;
  text.add("abcdefgh ij", start);
  EXPECT_EQ(text.lines(3, 9), (textLines{"abc", "def", "gh", "ij"}));
  EXPECT_EQ(text.lines(0, 2), (textLines{"i", "j"}));
}

TEST(receivedTextTest, aLineIsTakenAfterAPause) {
  receivedText text;
  EXPECT_FALSE(text.takeLine(start));
  text.add("cq ", start);
  EXPECT_FALSE(text.takeLine(start + 999ms));
  text.add("de", start + 999ms);
  EXPECT_FALSE(text.takeLine(start + 1998ms));
  EXPECT_EQ(text.takeLine(start + 1999ms), "cq de");
  EXPECT_FALSE(text.takeLine(start + 9s));
}

TEST(receivedTextTest, aLongLineIsTakenAtTheNextBlank) {
  receivedText text;
  const std::string word(receivedText::breaks{}.length, 'e');
  text.add(word, start);
  EXPECT_FALSE(text.takeLine(start));
  text.add(" ", start);
  EXPECT_EQ(text.takeLine(start), word);
  text.add(" ", start);
  EXPECT_FALSE(text.takeLine(start + 5s)); // blanks alone are no line
}

TEST(receivedTextTest, aLineEndsAtItsFeedAndEmptyOnesAreNone) {
  receivedText text({60, 2s});
  text.add("\n\nryryry\n\nde q2sim\nk", start);
  EXPECT_EQ(text.takeLine(start), "ryryry");
  EXPECT_EQ(text.takeLine(start), "de q2sim");
  EXPECT_FALSE(text.takeLine(start + 1999ms));
  EXPECT_EQ(text.takeLine(start + 2s), "k");
  EXPECT_EQ(text.lines(80, 9), (textLines{"ryryry", "de q2sim", "k"}));
  EXPECT_EQ(text.lines(80, 2), (textLines{"de q2sim", "k"}));
}

TEST(receivedTextTest, aLineWithoutABlankIsCutAtTwiceItsLength) {
  receivedText text({10, 2s});
  text.add(std::string(19, 'x'), start);
  EXPECT_FALSE(text.takeLine(start));
  text.add("x", start);
  EXPECT_EQ(text.takeLine(start), std::string(20, 'x'));
}

TEST(receivedTextTest, whatHasNotBeenTakenIsTheRest) {
  receivedText text;
  text.add("tu ", start);
  EXPECT_EQ(text.takeRest(), "tu");
  EXPECT_EQ(text.takeRest(), "");
}

TEST(receivedTextTest, daysOfTextTakeNoMoreThanTheLatest) {
  receivedText text;
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
