#include "host/keyDecoder.h"
#include <gtest/gtest.h>
#include <vector>

using namespace larchhost;
using namespace std::chrono_literals;

namespace {

class keyDecoderTest : public testing::Test {
 protected:
  void add(std::string_view bytes) { keys_.add(bytes, now_); }
  // All keys that are complete, characters as they are and others as U, D, R, L and ESC.
  std::string keys() {
    std::string all;
    for (keyPress k = keys_.next(now_); k.code != key::none; k = keys_.next(now_)) {
      if (!all.empty()) all += ' ';
      all += k.code == key::other    ? std::string(1, k.character)
             : k.code == key::escape ? "ESC"
                                     : std::vector<std::string>{"", "left", "right", "up", "down"}[static_cast<size_t>(k.code)];
    }
    return all;
  }
  keyDecoder keys_;
  keyDecoder::clock::time_point now_{1000s};
};

TEST_F(keyDecoderTest, charactersAndArrowsComeInTheirOrder) {
  add("a\033[Ab\033[B\033[C\033OD\033OA[");
  EXPECT_EQ(keys(), "a up b down right left up [");
}

TEST_F(keyDecoderTest, anArrowInPiecesIsOneKey) {
  const std::string_view arrow = "\033[C";
  for (size_t i = 0; i < arrow.size(); i++) {
    EXPECT_EQ(keys(), "");
    add(arrow.substr(i, 1));
    now_ += keyDecoder::escapePause - 1ms;
  }
  EXPECT_EQ(keys(), "right");
  add("\033[");
  now_ += 500ms; // longer than after a bare ESC
  EXPECT_EQ(keys(), "");
  add("D");
  EXPECT_EQ(keys(), "left");
}

TEST_F(keyDecoderTest, anEscapeAloneIsAKeyAfterItsPause) {
  add("\033");
  now_ += keyDecoder::escapePause - 1ms;
  EXPECT_EQ(keys(), "");
  now_ += 1ms;
  EXPECT_EQ(keys(), "ESC");
  add("[");
  EXPECT_EQ(keys(), "[");
}

TEST_F(keyDecoderTest, twoEscapesAreTwoKeys) {
  add("\033\033");
  EXPECT_EQ(keys(), "ESC");
  now_ += keyDecoder::escapePause;
  EXPECT_EQ(keys(), "ESC");
  add("\033\033[A");
  EXPECT_EQ(keys(), "ESC up");
}

TEST_F(keyDecoderTest, otherSequencesAndAltKeysTypeNothing) {
  add("\033[1;5H\033[15~x\033OPy\033tz"); // Ctrl-Home, F5, F1, Alt-t
  EXPECT_EQ(keys(), "x y ESC z");
}

TEST_F(keyDecoderTest, aSequenceThatNeverEndsIsDropped) {
  add("\033[1;");
  now_ += keyDecoder::sequencePause - 1ms;
  EXPECT_EQ(keys(), "");
  now_ += 1ms;
  EXPECT_EQ(keys(), "");
  add("t");
  EXPECT_EQ(keys(), "t");
  add("\033[1\r"); // no part of a sequence
  EXPECT_EQ(keys(), "\r");
}

} // namespace
