#include "host/slotMessage.h"
#include <gtest/gtest.h>

using namespace larchhost;
using namespace std::chrono_literals;

namespace {

struct slotMessageTest : testing::Test {
  transmitGuard guard{true, 10s, [this] { return now_; }};
  slotMessage message{true};
  transmitGuard::clock::time_point now_{1000s};
};

TEST_F(slotMessageTest, aMessageIsMissingUntilItGoesOut) {
  EXPECT_TRUE(message.waits());
  EXPECT_TRUE(message.isMissing());
  message.watch(guard);
  EXPECT_TRUE(message.waits());
  message.queue(guard);
  message.watch(guard);
  EXPECT_FALSE(message.waits());
  EXPECT_TRUE(message.isAhead());
  EXPECT_TRUE(message.isMissing());
  guard.pressForMode();
  message.watch(guard);
  EXPECT_FALSE(message.isAhead());
  guard.reportVox(false);
  message.watch(guard);
  EXPECT_FALSE(message.isAhead());
  EXPECT_FALSE(message.isMissing());
}

TEST_F(slotMessageTest, aMessageThatBeginsAndEndsWithinOnePollHasGoneOut) {
  message.queue(guard);
  guard.pressForMode();
  guard.reportVox(false);
  message.watch(guard);
  EXPECT_FALSE(message.isAhead());
  EXPECT_FALSE(message.isMissing());
}

TEST_F(slotMessageTest, anEarlierTransmissionIsNotItsOwn) {
  guard.press();
  guard.release();
  message.queue(guard);
  message.watch(guard);
  EXPECT_TRUE(message.isAhead());
  EXPECT_TRUE(message.isMissing());
}

TEST_F(slotMessageTest, whatTheGuardEndsIsCut) {
  for (const bool seen : {false, true}) {
    transmitGuard g(true, 1s, [this] { return now_; });
    slotMessage m(true);
    m.queue(g);
    g.pressForMode();
    if (seen) m.watch(g);
    now_ += 2s;
    g.check();
    m.watch(g);
    EXPECT_FALSE(m.isAhead()) << seen;
    EXPECT_TRUE(m.isMissing()) << seen;
  }
}

TEST_F(slotMessageTest, anInterruptedMessageIsCut) {
  for (const bool seen : {false, true}) {
    slotMessage m(true);
    m.queue(guard);
    guard.pressForMode();
    if (seen) m.watch(guard);
    m.interrupt(guard);
    guard.release();
    m.watch(guard);
    EXPECT_FALSE(m.isAhead()) << seen;
    EXPECT_TRUE(m.isMissing()) << seen;
  }
}

TEST_F(slotMessageTest, nothingElseIsInterrupted) {
  message.interrupt(guard);
  EXPECT_TRUE(message.waits());
  message.queue(guard);
  message.interrupt(guard);
  EXPECT_TRUE(message.isAhead());
  guard.pressForMode();
  guard.reportVox(false);
  message.interrupt(guard);
  EXPECT_FALSE(message.isMissing()) << "it has just gone out";
}

TEST_F(slotMessageTest, aRefusedKeyLeavesItAhead) {
  message.queue(guard);
  guard.end();
  EXPECT_FALSE(guard.pressForMode());
  message.watch(guard);
  EXPECT_TRUE(message.isMissing());
}

TEST_F(slotMessageTest, noMessageIsNeverMissing) {
  slotMessage none(false);
  none.watch(guard);
  none.interrupt(guard);
  EXPECT_FALSE(none.waits());
  EXPECT_FALSE(none.isAhead());
  EXPECT_FALSE(none.isMissing());
}

} // namespace
