#include "modes/textRing.h"
#include <gtest/gtest.h>
#include <string>
#include <thread>

using namespace larch;

namespace {

std::string takeAll(textRing& ring) {
  std::string text;
  while (const auto c = ring.take()) text += *c;
  return text;
}
void take(textRing& ring, int n) {
  while (n-- > 0) ring.take();
}

} // namespace

TEST(textRingTest, startsEmptyWithNothingSent) {
  textRing ring;
  EXPECT_TRUE(ring.empty());
  EXPECT_FALSE(ring.take());
  EXPECT_EQ(ring.sentCount(), 0);
}

TEST(textRingTest, everyByteComesOutInOrderAndCounts) {
  textRing ring;
  std::string text;
  for (int i = 0; i < 256; i++) text += static_cast<char>(i);
  ring.queue(text, 0);
  EXPECT_EQ(takeAll(ring), text);
  EXPECT_EQ(ring.sentCount(), 256);
}

TEST(textRingTest, aGrowingTextGoesOnBehindWhatWasSent) {
  textRing ring;
  ring.queue("cq cq", 0);
  take(ring, 3);
  ring.queue("cq de", 0); // the rest rewritten
  EXPECT_EQ(takeAll(ring), "de");
  ring.queue("cq de more", 0);
  EXPECT_EQ(takeAll(ring), " more");
}

TEST(textRingTest, aNewTextTakesTheCountOfItsBeginningAsBase) {
  textRing ring;
  ring.queue("first", 0);
  take(ring, 5);
  ring.queue("second", 5);
  take(ring, 2);
  ring.queue("second", 5);
  EXPECT_EQ(takeAll(ring), "cond");
}

TEST(textRingTest, aBaseInTheFutureEmptiesAndQueuesNothing) {
  textRing ring;
  ring.queue("waiting", 0);
  ring.queue("new", 1);
  EXPECT_TRUE(ring.empty());
  ring.queue("new", 0x7FFFFFFF);
  EXPECT_TRUE(ring.empty());
}

TEST(textRingTest, aBaseInThePastBehindTheTextQueuesNothing) {
  textRing ring;
  ring.queue("12345", 0);
  take(ring, 5);
  ring.queue("123", 0); // index 5 of 3
  EXPECT_TRUE(ring.empty());
  ring.queue("12345", 0); // index 5 of 5
  EXPECT_TRUE(ring.empty());
  ring.queue("123456", 0);
  EXPECT_EQ(takeAll(ring), "6");
}

TEST(textRingTest, aBaseHalfTheNumbersAwayIsNegativeOrFar) {
  textRing ring;
  ring.queue("abc", 0x80000000u); // -2147483648
  EXPECT_TRUE(ring.empty());
  ring.queue("abc", 0x80000001u); // 2147483647
  EXPECT_TRUE(ring.empty());
  ring.queue("abc", 0xFFFFFFFFu); // index 1
  EXPECT_EQ(takeAll(ring), "bc");
}

TEST(textRingTest, anEmptyTextDropsWhatWaits) {
  textRing ring;
  ring.queue("waiting", 0);
  ring.queue("", 0);
  EXPECT_TRUE(ring.empty());
}

TEST(textRingTest, indexesWrapWithTheRing) {
  textRing ring;
  for (int round = 0; round < 10; round++) {
    const std::string text(700, static_cast<char>('a' + round));
    ring.queue(text, static_cast<uint32_t>(ring.sentCount()));
    EXPECT_EQ(takeAll(ring), text);
  }
}

TEST(textRingTest, anOverfilledRingKeepsTheLastPieceModuloItsSize) {
  for (const size_t n : {size_t{1023}, size_t{1024}, size_t{1025}, size_t{1500}, size_t{5000}}) {
    textRing ring;
    std::string text;
    for (size_t i = 0; i < n; i++) text += static_cast<char>(i * 7 + i / 256);
    ring.queue(text, 0);
    EXPECT_EQ(takeAll(ring), text.substr(n - n % textRing::size)) << n;
  }
}

// The rewriter always gives the same text from the same base: whatever the moment of a rewrite, what comes out is that text.
TEST(textRingTest, rewritesWhileSendingNeitherLoseNorRepeatCONCURRENT) {
  textRing ring;
  std::string text;
  for (int i = 0; i < 20000; i++) text += static_cast<char>('!' + i % 90);
  std::atomic<bool> done{false};
  std::thread writer([&] {
    while (!done.load()) {
      const auto sent = static_cast<size_t>(ring.sentCount());
      ring.queue(text.substr(0, sent + 1000), 0); // never more than 1000 characters wait
    }
  });
  std::string out;
  while (out.size() < text.size()) {
    if (const auto c = ring.take()) out += *c;
  }
  done = true;
  writer.join();
  EXPECT_EQ(out, text);
}
