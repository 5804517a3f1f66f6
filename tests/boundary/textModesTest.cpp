// QueueText and the text callbacks of all text modes, as a host sees them: the ring as it is described, never out of bounds.
#include "sim/pskSource.h"
#include "tests/boundary/textStation.h"
#include <gtest/gtest.h>

using namespace textHost;

namespace {

constexpr uint32_t ringSize = 1024;

// The ring once more, as a string.
struct plainRing {
  std::string waiting;
  uint32_t taken = 0;

  void queue(const std::string& text, uint32_t base) {
    const auto start = static_cast<int32_t>(taken - base);
    waiting.clear();
    if (start < 0 || static_cast<size_t>(start) >= text.size()) return;
    const std::string rest = text.substr(static_cast<size_t>(start));
    waiting = rest.substr(rest.size() - rest.size() % ringSize);
  }
  void takeAll() {
    taken += static_cast<uint32_t>(waiting.size());
    waiting.clear();
  }
};

// Bytes in an order without a period of the ring's size.
std::string textOf(size_t length, const std::string& letters = "the quick brown fox 0123456789") {
  std::string text;
  for (size_t i = 0; i < length; i++) text += letters[(i + i / 97 * 7) % letters.size()];
  return text;
}

class textModesTest : public testing::TestWithParam<textMode> {
 protected:
  textModesTest() {
    testHost::start();
    sent.clear();
    callbacks = 0;
    mode = testHost::watched(GetParam().create());
    GetParam().bindSentChars(mode, [](const char* text) {
      sent += text;
      callbacks++;
    });
    GetParam().hurry(mode);
  }
  ~textModesTest() override { asyncObject_release(testHost::base(mode)); }
  // Queues into the empty ring of a keyed transmitter and asserts that this goes out and nothing else.
  void queueAndSend(textStation& s, const std::string& text, uint32_t base, const std::string& what) {
    constexpr double aCharacter_s = 0.35; // and a shift before it
    ring.queue(text, base);
    const std::string expected = sent + ring.waiting;
    GetParam().queueText(mode, text.c_str(), base);
    ASSERT_TRUE(testHost::settle(mode)) << what;
    ASSERT_TRUE(s.sendUntil([&] { return sent.size() >= expected.size(); })) << what << ": " << sent.size();
    ASSERT_TRUE(s.streamFor(aCharacter_s)) << what;
    ASSERT_EQ(sent, expected) << what;
    ring.takeAll();
  }

  plainRing ring;
  modDemod* mode = nullptr;
};

INSTANTIATE_TEST_SUITE_P(all, textModesTest, testing::ValuesIn(textModes),
                         [](const auto& p) { return std::string(p.param.name); });

} // namespace

// 0 ends a text. "~" ends a transmission in all modes, a line end in Morse: the rest goes out with the next one.
TEST_P(textModesTest, everyByteComesBackAsItWasQueued) {
  textStation s(mode);
  ASSERT_TRUE(s.works && s.key());
  std::string all;
  for (int c = 1; c < 256; c++) all += static_cast<char>(c);
  queueAndSend(s, all, 0, "all bytes");
  EXPECT_EQ(callbacks, 255) << "one character a call";
}

TEST_P(textModesTest, textsOfAnyLengthAndBaseFollowTheRing) {
  textStation s(mode);
  ASSERT_TRUE(s.works && s.key());
  queueAndSend(s, "", 0, "nothing");
  queueAndSend(s, "e", 0, "one");
  queueAndSend(s, "e and on", 0, "the rest of a text that has grown");
  queueAndSend(s, "e and on", 0, "all of it has gone");
  queueAndSend(s, "short", 0, "shorter than what has gone");
  const uint32_t here = ring.taken;
  queueAndSend(s, "future", here + 1, "a base ahead");
  queueAndSend(s, "future", here + 0x7FFFFFFF, "as far ahead as can be");
  queueAndSend(s, "past", here + 0x80000000, "half the numbers away");
  queueAndSend(s, "past", here + 0x80000001, "as far back as can be");
  queueAndSend(s, "new", here, "a new text");
  queueAndSend(s, textOf(ringSize), ring.taken, "a whole ring is an empty one");
  queueAndSend(s, textOf(2 * ringSize + 3), ring.taken, "three bytes behind two rings");
  queueAndSend(s, textOf(5000), ring.taken - 872, "5,000 bytes, 872 of them gone"); // 4 * 1024 + 32
  queueAndSend(s, textOf(5000), ring.taken - 4990, "the end of 5,000");
  queueAndSend(s, textOf(5000), ring.taken - 5000, "behind the end of 5,000");
}

// The others take minutes on the air for this; their rings are the same.
TEST_P(textModesTest, aRingFullOfTextGoesOut) {
  const bool slow = std::string(GetParam().name) == "rtty" || std::string(GetParam().name) == "psk";
  textStation s(mode);
  ASSERT_TRUE(s.works && s.key());
  const size_t gone = slow ? 1000 : 0; // of a text that is told to be so long
  queueAndSend(s, textOf(ringSize - 1), ring.taken - static_cast<uint32_t>(gone), "1,023");
  queueAndSend(s, textOf(5000), ring.taken - static_cast<uint32_t>(slow ? 4990 : 0), "5,000");
}

// Queued over and over while it is sent, by the count that the callbacks have told: nothing twice, nothing lost.
TEST_P(textModesTest, aTextThatGrowsWhileItIsSentGoesOutOnce) {
  textStation s(mode);
  ASSERT_TRUE(s.works && s.key());
  const std::string whole = textOf(60, "abcdefghijklmnopq rstuvwxyz");
  size_t length = 5;
  ASSERT_TRUE(s.sendUntil([&] {
    if (sent.size() + 3 > length) length = std::min(length + 5, whole.size());
    GetParam().queueText(mode, whole.substr(0, length).c_str(), 0);
    return sent.size() >= whole.size();
  }));
  ASSERT_TRUE(s.streamFor(0.35));
  EXPECT_EQ(sent, whole);
}

// No datagram comes between the two: all of the first one still waits.
TEST_P(textModesTest, whatWaitsIsDroppedByEachText) {
  textStation s(mode);
  ASSERT_TRUE(s.works && s.key() && s.streamFor(1.5));
  for (const auto& [text, base] : {std::pair<const char*, uint32_t>{nullptr, 0}, {"", 0}, {"ahead", 1}}) {
    GetParam().queueText(mode, "dropped", 0);
    GetParam().queueText(mode, text, base);
    ASSERT_TRUE(testHost::settle(mode) && s.streamFor(0.35));
    EXPECT_EQ(sent, "") << (text ? text : "null");
  }
  queueAndSend(s, "on", 0, "goes on");
}

TEST(textBoundaryTest, aDetectorTellsEveryByteThatItHears) {
  testHost::start();
  static std::string heard;
  std::string all = "   ";
  for (int c = 1; c < 128; c++) all += static_cast<char>(c);
  larch::sim::pskSource::sending what;
  what.text = all + "   ";
  larch::sim::parsePskMode("bpsk125", what);
  what.start_s = 2;
  auto scene = std::make_shared<larch::sim::bandScene>();
  scene->setNoise(-130);
  scene->add(std::make_shared<larch::sim::pskSource>(7'071'500.0, -60, what));
  PskModDemod* mode = PskModDemod_create();
  PskModDemod_bindnewChars(mode, [](const char* text) { heard += text; });
  PskModDemod_setmode(mode, 16);
  textStation s(testHost::watched(asMode(mode)), scene);
  ASSERT_TRUE(s.works);
  vtrx_setvfo(added, 7'070'000);
  EXPECT_TRUE(s.streamUntil([&] { return heard.find(all.substr(10)) != std::string::npos; })) << heard;
  PskModDemod_release(mode);
}

// Its properties are the host's; it hears nothing and sends nothing.
TEST(textBoundaryTest, theShiftKeyingModeKeepsItsNumbersAndIsSilent) {
  testHost::start();
  static int told = 0;
  fskModDemod* fsk = fskModDemod_create();
  fskModDemod_bindf0(fsk, [](int32_t) { told++; });
  fskModDemod_bindf1(fsk, [](int32_t) { told++; });
  fskModDemod_bindbaud(fsk, [](int32_t) { told++; });
  textStation s(testHost::watched(asMode(fsk)));
  ASSERT_TRUE(s.works);
  for (const int32_t v : {0, 1, -1, 2125, INT32_MAX, INT32_MIN}) {
    fskModDemod_setf0(fsk, v);
    fskModDemod_setf1(fsk, v);
    fskModDemod_setbaud(fsk, v);
    ASSERT_TRUE(testHost::settle(fsk));
    ASSERT_TRUE(s.key() && s.streamFor(0.1));
  }
  EXPECT_EQ(told, 0) << "a host's own set isn't told";
  const auto levels = s.board->report().transmit;
  EXPECT_GT(levels.moxFrames, 0U);
  EXPECT_EQ(levels.peak, 0);
  fskModDemod_release(fsk);
}
