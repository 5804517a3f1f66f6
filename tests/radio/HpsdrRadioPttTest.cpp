// Keying on the wire: the real transceiver on the real radio, datagram by datagram.
#include "tests/radio/pttWireGolden.h"
#include "tests/radio/transmitBench.h"
#include <cmath>

namespace larch::test {
namespace {

uint32_t crc32(const uint8_t* data, std::size_t count) {
  uint32_t crc = 0xffffffff;
  for (std::size_t i = 0; i < count; i++) {
    crc ^= data[i];
    for (int bit = 0; bit < 8; bit++) crc = crc >> 1 ^ (crc & 1 ? 0xedb88320 : 0);
  }
  return ~crc;
}

class HpsdrRadioOverTest : public testing::TestWithParam<std::size_t> {};

// Each byte of each datagram of whole overs, against the rules run by a script of its own.
TEST_P(HpsdrRadioOverTest, eachByteIsAsTheRulesSay) {
  const goldenOver& over = goldenOvers[GetParam()];
  SCOPED_TRACE(over.name);
  transmitBench b;
  auto& r = *b.radio;
  r.TypeID.set(over.board);
  r.HLite2Gain.set(over.coarse);
  r.txGain.set(-3);
  r.drive.set(over.drive);
  const auto v = b.add(over.vfo, std::make_shared<steadyMode>(over.blocked, std::complex(over.re, over.im)));
  v->drive.set(over.drive);
  r.initialise();
  for (const auto& row : r.J16Set.items)
    if (row->maxfrequency.value >= over.vfo) {
      row->rx.set(0x22);
      row->tx.set(0x11);
      break;
    }
  r.registerIndex = 0;
  std::size_t n = 0;
  for (const goldenStep& step : over.steps) {
    if (step.what == overStep::key) b.key(v, step.value);
    if (step.what == overStep::queue) r.writeStatus(step.value);
    for (int i = 0; step.what == overStep::run && i < step.value; i++, n++) {
      r.handleDatagram(received(6, b.streamed++).data(), 0);
      runAll();
      const int32_t* slot = r.sendRing.front();
      ASSERT_TRUE(slot && n < over.sent.size());
      const uint8_t* bytes = r.transport.sendDataArea(*slot);
      const goldenDatagram& expected = over.sent[n];
      const auto got = b.sent();
      ASSERT_EQ(got.size(), 1u) << n;
      EXPECT_EQ(got[0].sequence, n);
      for (std::size_t f = 0; f < 2; f++)
        for (std::size_t c = 0; c < 5; c++)
          ASSERT_EQ(c ? got[0].frame[f].c[c - 1] : got[0].frame[f].c0, expected.frame[f][c])
              << "datagram " << n << " frame " << f << " C" << c;
      ASSERT_EQ(crc32(bytes, 1032), expected.crc) << "datagram " << n;
    }
  }
  EXPECT_EQ(n, over.sent.size());
}

INSTANTIATE_TEST_SUITE_P(overs, HpsdrRadioOverTest, testing::Range(std::size_t{0}, std::size(goldenOvers)));

TEST(HpsdrRadioPttTest, theKeyIsOnTheNextDatagramWithFiltersAndGain) {
  for (bool blocked : {true, false}) {
    transmitBench b;
    const auto v = b.add(7100000, std::make_shared<steadyMode>(blocked));
    for (int before : {1, 5, 22}) {
      for (const auto& d : b.run(before)) EXPECT_FALSE(mox(d));
      b.key(v, true);
      const auto d = b.runOne();
      EXPECT_TRUE(mox(d));
      EXPECT_EQ(d.frame[0].index(), 0);
      EXPECT_EQ(d.frame[1].index(), 10);
      EXPECT_EQ(isSilent(d), blocked);
      b.key(v, false);
      b.run(100);
    }
  }
}

// However the fall lies to the groups and however long the tail: so many groups of 126 as hold tail and 504 samples more.
TEST(HpsdrRadioPttTest, theKeyGoesUpInTheGroupInWhichTheHoldEnds) {
  for (int tail : {0, 1, 512, 630, 631, 1000, 2520}) {
    transmitBench b;
    const auto mode = std::make_shared<steadyMode>(true);
    mode->txTailSamples = tail;
    const auto v = b.add(7100000, mode);
    for (int on : {1, 7, 30}) {
      b.key(v, true);
      EXPECT_EQ(moxRun(b.run(on)), static_cast<std::size_t>(on));
      b.key(v, false);
      const auto after = b.run(60);
      EXPECT_EQ(moxRun(after), static_cast<std::size_t>((tail + 504 + 125) / 126)) << tail;
      for (std::size_t i = 0; i < after.size(); i++) {
        if (i * 126 >= static_cast<std::size_t>(tail)) {
          EXPECT_TRUE(isSilent(after[i])) << i;
        }
        if (i >= moxRun(after)) {
          EXPECT_FALSE(after[i].frame[0].mox() || after[i].frame[1].mox()) << "it goes up once: " << i;
        }
      }
    }
  }
}

TEST(HpsdrRadioPttTest, withoutAModeTheKeyGoesUpAtOnce) {
  transmitBench b;
  const auto v = b.add();
  b.key(v, true);
  for (const auto& d : b.run(5)) EXPECT_TRUE(mox(d) && isSilent(d));
  b.key(v, false);
  EXPECT_FALSE(b.runOne().frame[0].mox());
}

TEST(HpsdrRadioPttTest, aKeyThatIsUpAgainBeforeTheRadioHasLookedIsNeverSeen) {
  transmitBench b;
  const auto v = b.add(7100000, std::make_shared<steadyMode>(false));
  v->ptt.set(true);
  v->ptt.set(false);
  for (const auto& d : b.run(30)) EXPECT_FALSE(d.frame[0].mox() || d.frame[1].mox());
  EXPECT_TRUE(b.radio->transmitter.expired()) << "nobody has keyed it";
}

TEST(HpsdrRadioPttTest, aRiseInTheHoldOfTheTransceiverKeepsTheKeyDown) {
  transmitBench b;
  const auto v = b.add(7100000, std::make_shared<steadyMode>(true));
  b.key(v, true);
  b.run(20);
  b.key(v, false);
  b.run(6); // the fall is over, the radio still keyed
  b.key(v, true);
  const auto again = b.run(40);
  EXPECT_EQ(moxRun(again), 40u);
  for (std::size_t i = 0; i < 6; i++) EXPECT_TRUE(isSilent(again[i])) << "768 samples of silence once more";
  EXPECT_FALSE(isSilent(again[8]));
  EXPECT_NE(again[0].frame[1].index(), 10) << "for the radio nothing has changed";
}

// A fall that cuts the rise begins at full scale: one step of what was missing, then the cosine.
TEST(HpsdrRadioPttTest, aFallWithinTheRiseBeginsAtFullScale) {
  transmitBench b;
  const auto v = b.add(7100000, std::make_shared<steadyMode>(false));
  b.key(v, true);
  std::vector<int> level;
  const auto note = [&](const std::vector<sentDatagram>& sent) {
    for (const auto& d : sent)
      for (const auto& f : d.frame)
        for (const auto& s : f.samples) level.push_back(-s[3]);
  };
  note(b.run(2));
  b.key(v, false);
  note(b.run(9));
  ASSERT_EQ(level.size(), 11u * 126);
  EXPECT_EQ(level[251], std::lround(32766 * (0.5 * std::cos(3.1415927 * 261 / 512) + 0.5)));
  EXPECT_EQ(level[252], 32766);
  int largest = 0;
  for (std::size_t i = 253; i < level.size(); i++) largest = std::max(largest, level[i - 1] - level[i]);
  EXPECT_LE(largest, 101) << "32766 / 512 * pi / 2 a sample at the most";
  for (std::size_t i = 253; i < level.size(); i++) EXPECT_LE(level[i], level[i - 1]);
  for (std::size_t i = 252 + 512; i < level.size(); i++) EXPECT_EQ(level[i], 0);
}

// The receiver's samples are scaled for the gain that they had.
TEST(HpsdrRadioPttTest, theScaleChangesWithTheFifthDatagram) {
  transmitBench b;
  auto& r = *b.radio;
  r.rxGain.set(20);
  r.txGain.set(-20);
  const auto v = b.add(7100000, std::make_shared<steadyMode>(true));
  b.run(10);
  b.key(v, true);
  for (int i = 1; i <= 5; i++) {
    EXPECT_DOUBLE_EQ(r.scale, 0.1) << i;
    b.run(1);
  }
  EXPECT_DOUBLE_EQ(r.scale, 10);
  b.key(v, false);
  b.run(9);
  ASSERT_FALSE(r.ptt.value);
  for (int i = 1; i <= 5; i++) {
    EXPECT_DOUBLE_EQ(r.scale, 10) << i;
    b.run(1);
  }
  EXPECT_DOUBLE_EQ(r.scale, 0.1);
}

// required: the gain code goes by the hold only when it is worked out within it, and stays so until it is worked out again
TEST(HpsdrRadioPttTest, theGainCodeOfTheFall) {
  transmitBench b;
  auto& r = *b.radio;
  r.HLite2Gain.set(true);
  r.txGain.set(-10);
  r.rxGain.set(20);
  const auto v = b.add(7100000, std::make_shared<steadyMode>(false));
  const auto codeOf = [](const sentFrame& f) { return f.c[3] - 0x40; };
  b.key(v, true);
  EXPECT_EQ(codeOf(b.runOne().frame[1]), 2);
  b.run(10);
  b.key(v, false);
  b.run(9);
  EXPECT_EQ(r.gainCode, 32) << "of receive as soon as the radio is unkeyed";
  const auto hold = b.run(50);
  for (const auto& d : hold)
    for (const auto& f : d.frame)
      if (f.index() == 10) {
        EXPECT_EQ(codeOf(f), 32);
      }
  EXPECT_EQ(hold[49].frame[1].index(), 10);
  b.key(v, true);
  b.run(10);
  b.key(v, false);
  b.run(9 + 10);
  r.rxGain.set(21);
  EXPECT_EQ(codeOf(b.run(40).back().frame[1]), 2);
  r.rxGain.set(22);
  EXPECT_EQ(r.gainCode, 34);
}

// required: before the transmit frequency's register has come by, filters and mirroring go by the stored one
TEST(HpsdrRadioPttTest, anOverBeginsOnTheStoredFrequency) {
  transmitBench b;
  const auto v = b.add(50100000, std::make_shared<steadyMode>(false, std::complex(0.5, 0.25)));
  b.radio->initialise();
  b.radio->J16Set.items[5]->tx.set(7); // of 14.0956 MHz
  b.key(v, true);
  const auto d = b.run(60);
  EXPECT_EQ(d[0].frame[0].c[1], 7 << 1);
  std::size_t at = 0;
  while (at < d.size() && d[at].frame[1].index() != 1 && d[at].frame[0].index() != 1) at++;
  ASSERT_EQ(at, 19u) << "11 to 45 and 0 come before it";
  const int half = d[at].frame[0].index() == 1 ? 0 : 1;
  EXPECT_EQ(d[at].frame[half].word(), 73728000u - 50100000u);
  EXPECT_EQ(d[at - 1].frame[1].samples[62][3], -16383) << "even zone: Q is the real part";
  EXPECT_EQ(d[at + 1].frame[0].samples[0][2], -16383) << "odd zone: I is";
  b.key(v, false);
  b.run(100);
  b.key(v, true);
  EXPECT_EQ(b.runOne().frame[0].c[1], 0) << "and stays stored for the next over";
}

// required: the filters then wait for the register's next round, at the rise as behind the hold
TEST(HpsdrRadioPttTest, aQueuedCommandTakesThePlaceOfAForcedRegister) {
  transmitBench b;
  const auto v = b.add(7100000, std::make_shared<steadyMode>(false));
  b.run(5);
  const auto check = [&b](bool keyed) {
    const auto first = b.runOne();
    EXPECT_EQ(first.frame[0].c0, 0xfa + keyed) << "a status byte in the place of register 0";
    EXPECT_EQ(first.frame[1].c0, 20 + keyed) << "register 10 comes all the same";
    const auto next = b.run(18);
    for (const auto& d : next) EXPECT_NE(d.frame[0].index(), 0);
    EXPECT_EQ(next[17].frame[1].index(), 0) << "47 ms later";
  };
  b.key(v, true);
  b.radio->writeStatus(1);
  check(true);
  b.run(30);
  b.key(v, false);
  b.run(9 + 49);
  b.radio->writeStatus(2);
  check(false);
}

TEST(HpsdrRadioPttTest, tuneAndTxOffsetAndDriveFollowInTheOver) {
  transmitBench b;
  b.radio->TypeID.set(7);
  const auto mode = std::make_shared<steadyMode>(true);
  const auto v = b.add(7100000, mode);
  b.key(v, true);
  b.run(60);
  const auto registerOf = [&](int index) {
    for (const auto& d : b.run(23))
      for (const auto& f : d.frame)
        if (f.index() == index) return f;
    ADD_FAILURE() << index;
    return sentFrame{};
  };
  EXPECT_EQ(registerOf(1).word(), 7100000u);
  v->TxOffset.set(-5000);
  EXPECT_EQ(registerOf(1).word(), 7095000u);
  EXPECT_EQ(registerOf(9).c, (std::array<int, 4>{255, 0, 0, 0}));
  v->drive.set(17);
  EXPECT_EQ(registerOf(9).c[0], 17);
  const int before = mode->calls;
  v->tune.set(true);
  EXPECT_EQ(registerOf(9).c, (std::array<int, 4>{17, 16, 0, 0}));
  EXPECT_EQ(b.runOne().frame[1].samples[62][3], -std::lround(0.99 * 32766)) << "this radio makes the level itself";
  EXPECT_EQ(mode->calls, before) << "the mode isn't asked";
  v->tune.set(false);
  b.run(6);
  EXPECT_GT(mode->calls, before);
}

} // namespace
} // namespace larch::test
