#include "host/sendLine.h"
#include <deque>
#include <gtest/gtest.h>
#include <random>

using namespace larchhost;

namespace {

// The library's text queue, whose reports come late.
class queueModel {
 public:
  void give(const sendLine& line) {
    waiting_.clear();
    const auto start = static_cast<size_t>(static_cast<int32_t>(sent_ - line.base()));
    if (start < line.text().size()) waiting_.assign(line.text().begin() + static_cast<ptrdiff_t>(start), line.text().end());
  }
  void send() { // one character goes out
    if (waiting_.empty()) return;
    onAir += waiting_.front();
    reports.push_back(waiting_.front());
    waiting_.pop_front();
    sent_++;
  }
  bool empty() const { return waiting_.empty(); }
  std::string onAir;
  std::deque<char> reports;

 private:
  std::deque<char> waiting_;
  uint32_t sent_ = 0;
};

void typeAll(sendLine& line, const std::string& text) {
  for (char c : text) EXPECT_TRUE(line.type(c));
}

void hearAll(sendLine& line, queueModel& queue) {
  while (!queue.reports.empty()) {
    const bool again = line.reportSent(queue.reports.front());
    queue.reports.pop_front();
    if (again) queue.give(line);
  }
}

TEST(sendLineTest, onlyWhatHasACodeIsTaken) {
  for (char c : std::string("azAZ09 .!?")) EXPECT_TRUE(sendLine::hasCode(c)) << c;
  for (char c : std::string("~#/,=+-\n\r\t\xc3\0", 12)) EXPECT_FALSE(sendLine::hasCode(c)) << int{c};
  sendLine line;
  EXPECT_FALSE(line.type('~'));
  EXPECT_EQ(line.held(), "");
}

TEST(sendLineTest, whatIsTypedIsHeldUntilReleased) {
  sendLine line;
  typeAll(line, "cq");
  EXPECT_EQ(line.text(), "");
  EXPECT_EQ(line.held(), "cq");
  line.release();
  EXPECT_EQ(line.waiting(), "cq");
  typeAll(line, "x");
  EXPECT_EQ(line.waiting(), "cqx");
  EXPECT_EQ(line.held(), "");
}

TEST(sendLineTest, whatHasGoneOutIsMarkedAndStays) {
  sendLine line;
  line.release();
  typeAll(line, "abc");
  EXPECT_FALSE(line.reportSent('a'));
  EXPECT_EQ(line.gone(), "a");
  EXPECT_EQ(line.waiting(), "bc");
  EXPECT_TRUE(line.erase());
  EXPECT_TRUE(line.erase());
  EXPECT_FALSE(line.erase());
  EXPECT_EQ(line.text(), "a");
}

TEST(sendLineTest, theEndStandsBehindWhatWaitsAndHoldsTheRest) {
  sendLine line;
  line.release();
  typeAll(line, "k");
  line.end();
  line.end();
  EXPECT_EQ(line.text(), "k~");
  typeAll(line, "next");
  EXPECT_EQ(line.text(), "k~");
  EXPECT_EQ(line.held(), "next");
  EXPECT_TRUE(line.erase());
  EXPECT_EQ(line.held(), "nex");
}

TEST(sendLineTest, goingOnTakesAnEndBackThatHasNotGoneOut) {
  sendLine line;
  line.release();
  typeAll(line, "k");
  line.end();
  typeAll(line, "r");
  line.release();
  EXPECT_EQ(line.text(), "kr");
  line.end();
  for (char c : std::string("kr~")) EXPECT_FALSE(line.reportSent(c));
  typeAll(line, "de");
  line.release();
  EXPECT_EQ(line.text(), "kr~de");
  EXPECT_EQ(line.waiting(), "de");
}

TEST(sendLineTest, droppingLeavesWhatHasGoneOut) {
  sendLine line;
  line.release();
  typeAll(line, "abc");
  line.reportSent('a');
  line.end();
  typeAll(line, "held");
  line.drop();
  EXPECT_EQ(line.text(), "a");
  EXPECT_EQ(line.held(), "");
  EXPECT_FALSE(line.live());
}

TEST(sendLineTest, aCharacterThatWentOutWhileItWasErasedComesBackInItsPlace) {
  sendLine line;
  queueModel queue;
  line.release();
  typeAll(line, "abc");
  queue.give(line);
  queue.send();
  queue.send(); // "b", and nobody knows yet
  line.erase();
  line.erase();
  typeAll(line, "b2"); // the same character again counts as the one that went
  queue.give(line);
  hearAll(line, queue);
  while (!queue.empty()) queue.send();
  hearAll(line, queue);
  EXPECT_EQ(queue.onAir, "ab2");
  EXPECT_EQ(line.gone(), "ab2");

  typeAll(line, "cd");
  queue.give(line);
  queue.send(); // "c"
  line.erase();
  line.erase();
  typeAll(line, "xy");
  queue.give(line); // the queue leaves "x" out: it has sent as many
  hearAll(line, queue);
  while (!queue.empty()) queue.send();
  hearAll(line, queue);
  EXPECT_EQ(queue.onAir, "ab2cxy");
  EXPECT_EQ(line.gone(), queue.onAir);
}

TEST(sendLineTest, anEndIsNotLostToACharacterThatNobodyKnewOf) {
  sendLine line;
  queueModel queue;
  line.release();
  typeAll(line, "ab");
  queue.give(line);
  queue.send();
  hearAll(line, queue);
  queue.send(); // "b"
  line.drop();
  line.end();
  queue.give(line);
  EXPECT_TRUE(queue.empty());
  hearAll(line, queue);
  while (!queue.empty()) queue.send();
  hearAll(line, queue);
  EXPECT_EQ(queue.onAir, "ab~");
  EXPECT_EQ(line.gone(), "ab~");
}

TEST(sendLineTest, aLongTextIsKeptInStepAndInBounds) {
  sendLine line;
  queueModel queue;
  line.release();
  std::string all;
  for (int i = 0; i < 5000; i++) {
    const char c = static_cast<char>('a' + i % 26);
    ASSERT_TRUE(line.type(c));
    all += c;
    queue.give(line);
    queue.send();
    hearAll(line, queue);
  }
  EXPECT_EQ(queue.onAir, all);
  EXPECT_LT(line.text().size(), 500u);
  EXPECT_TRUE(all.ends_with(line.gone()));
  while (line.type('x')) {
  }
  EXPECT_EQ(line.waiting().size(), sendLine::mostWaiting);
}

// Whatever is typed and erased while characters leave: what is shown as gone is what was on the air.
TEST(sendLineTest, whatIsShownAsGoneIsWhatWentOut) {
  constexpr unsigned seed = 20;
  std::mt19937 random(seed);
  const auto dice = [&](int n) { return std::uniform_int_distribution<int>(0, n - 1)(random); };
  sendLine line;
  queueModel queue;
  for (int step = 0; step < 20000; step++) {
    switch (dice(12)) {
    case 0: line.release(); break;
    case 1: line.end(); break;
    case 2:
    case 3: line.erase(); break;
    case 4: dice(10) == 0 ? line.drop() : void(); break;
    case 5:
    case 6:
    case 7: queue.send(); continue; // as fast as it is typed: what is erased meets what goes out
    case 8: hearAll(line, queue); continue;
    default: line.type(static_cast<char>('a' + dice(3))); break;
    }
    queue.give(line);
  }
  line.release();
  queue.give(line);
  while (!queue.empty() || !queue.reports.empty()) {
    queue.send();
    hearAll(line, queue);
  }
  EXPECT_EQ(line.waiting(), "") << "seed " << seed;
  EXPECT_GT(queue.onAir.size(), 1000u);
  EXPECT_TRUE(queue.onAir.ends_with(line.gone())) << "seed " << seed;
}

} // namespace
