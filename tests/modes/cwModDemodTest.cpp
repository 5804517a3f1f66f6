#include "modes/cwModDemod.h"
#include "audio/audioOutputStream.h"
#include "tests/modes/cwKeyingGolden.h"
#include "tests/runtime/testGroup.h"
#include "tests/support/allocationCounter.h"
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

namespace larch::test {
namespace {

using cdouble = std::complex<double>;
constexpr int dot20 = 2880;               // samples at the first speed
constexpr int leadingSilence = 4 * dot20; // of a new mode
constexpr double inf = std::numeric_limits<double>::infinity(), nan = std::numeric_limits<double>::quiet_NaN();

std::string heardText, sentText;
std::vector<double> speeds;

// The radio's and the transceiver's side, without their chains.
struct fakeRadioLines : asyncObject {
  using asyncObject::asyncObject;
  property<bool> RadioPtt{false}, cwInternal{false};
};
struct fakeTransceiver : asyncObject {
  using asyncObject::asyncObject;
  property<bool> ptt{false};
  property<int32_t> vfo{7000000};
  audioOutputStream audioOut;
  bool radioPttUp = false;
};

class cwModDemodTest : public testing::Test {
 protected:
  cwModDemodTest() {
    heardText.clear();
    sentText.clear();
    speeds.clear();
    cw->newChars = [](const char* text) { heardText += text; };
    cw->sentChars = [](const char* text) { sentText += std::string(text) + "|"; };
    attach();
  }
  void attach() {
    cw->owner.publish({transceiver, &transceiver->ptt, &transceiver->vfo, &transceiver->audioOut, &transceiver->radioPttUp, radio,
                       &radio->RadioPtt, &radio->cwInternal});
  }
  void keyDown() {
    cw->keyDown();
    g.turns();
  }
  void keyUp() {
    cw->keyUp();
    g.turns();
  }
  void queueText(const std::string& text, uint32_t base) {
    cw->queueText(text, base);
    g.turns();
  }
  // What a transmission would send, in groups of 126.
  std::vector<double> modulate(int count) {
    std::vector<double> sent;
    while (count > 0) {
      const auto n = static_cast<uint64_t>(std::min(count, 126));
      const cbuff in(n, cdouble(nan, nan)), out(n, cdouble(7, 7)); // the microphone isn't heard
      cw->modulate(in, out);
      for (uint64_t i = 0; i < n; i++) {
        EXPECT_EQ(out.data[i].imag(), 0.0);
        sent.push_back(out.data[i].real());
      }
      count -= static_cast<int>(n);
    }
    return sent;
  }
  void skipLeadingSilence() { EXPECT_EQ(modulate(leadingSilence), std::vector<double>(leadingSilence, 0.0)); }
  // A carrier, keyed or not, in blocks of 512 as the chain has them.
  void receive(double level, int looks) {
    for (; looks > 0; looks -= 16) cw->demodulate(cbuff(static_cast<uint64_t>(std::min(looks, 16)) * 32, level));
  }
  std::string heard() {
    g.pool->getUpdates();
    return std::exchange(heardText, {});
  }
  std::string sent() {
    g.pool->getUpdates();
    return std::exchange(sentText, {});
  }
  bool keyA() { return transceiver->audioOut.keyA.load(); }

  testGroup g;
  std::shared_ptr<fakeRadioLines> radio = keptByCore(std::make_shared<fakeRadioLines>(std::make_shared<syncTask>(g.pool.get())));
  std::shared_ptr<fakeTransceiver> transceiver =
      keptByCore(std::make_shared<fakeTransceiver>(std::make_shared<syncTask>(g.pool.get())));
  std::shared_ptr<cwModDemod> cw = keptByCore(std::make_shared<cwModDemod>(g.group));
};

// ---- receive

TEST_F(cwModDemodTest, aCarrierIsHeardAtThePitch) {
  cw->freq.set(700);
  int n = 0; // of the sample, counted from 1
  for (uint64_t count : {512u, 0u, 1u, 7u, 511u, 512u, 513u}) {
    const cbuff block(count, cdouble(0.3, -0.4));
    const auto audio = cw->demodulate(block);
    ASSERT_EQ(audio.count, count);
    for (uint64_t i = 0; i < count; i++) {
      n++;
      const auto wanted = (cdouble(0.3, -0.4) * std::polar(1.0, -2 * M_PI * 700 / 48000 * n)).real();
      ASSERT_NEAR(audio.data[i], wanted, 1e-7) << n;
    }
  }
}

TEST_F(cwModDemodTest,
       aSignalBesideTheCarrierKeepsItsSide) { // baseband f stands for centre - f: -100 Hz is heard above the pitch
  cbuff block(4800);
  for (uint64_t i = 0; i < block.count; i++) block.data[i] = std::polar(1.0, -2 * M_PI * 100 / 48000 * static_cast<double>(i));
  const auto audio = cw->demodulate(block);
  const auto level = [&](double f) {
    cdouble sum = 0;
    for (uint64_t i = 0; i < audio.count; i++)
      sum += static_cast<double>(audio.data[i]) * std::polar(1.0, 2 * M_PI * f / 48000 * static_cast<double>(i));
    return 2 * std::abs(sum) / static_cast<double>(audio.count);
  };
  EXPECT_NEAR(level(750), 1.0, 1e-3);
  EXPECT_NEAR(level(550), 0.0, 1e-3);
}

TEST_F(cwModDemodTest, aNewPitchTakesEffectWithTheNextBlock) {
  const auto level = [](const buff<float>& audio) { return audio.data[0]; };
  cw->freq.set(12000); // a quarter turn a sample
  EXPECT_NEAR(level(cw->demodulate(cbuff(1, cdouble(0, 1)))), 1.0, 1e-7);
  cw->freq.set(-12000);
  EXPECT_NEAR(level(cw->demodulate(cbuff(1, 1.0))), 1.0, 1e-7);
}

TEST_F(cwModDemodTest, noPitchSpoilsTheAudio) {
  for (double bad : {nan, inf, -inf, 1e300, 0.0}) {
    cw->freq.set(bad);
    const auto audio = cw->demodulate(cbuff(512, 1.0));
    for (uint64_t i = 0; i < audio.count; i++) ASSERT_TRUE(std::abs(audio.data[i]) <= 1.0f) << bad;
    modulate(126);
  }
}

TEST_F(cwModDemodTest, decodedTextReachesTheHostByItsPoll) {
  receive(0, 1000);
  receive(1, 40);
  receive(0, 40);
  receive(1, 121);
  receive(0, 1000);
  EXPECT_EQ(heardText, "") << "not on the signal's thread";
  EXPECT_EQ(heard(), "a ");
  cw->newChars = nullptr;
  receive(1, 40);
  receive(0, 1000);
  EXPECT_EQ(heard(), "");
}

TEST_F(cwModDemodTest, theDecoderRestsWhileTransmittingAndGoesOnBehind) {
  receive(0, 1000);
  receive(1, 121);
  receive(0, 40);
  transceiver->radioPttUp = true;
  cw->rxwpm.set(7);
  receive(1, 3000);
  receive(0, 3000);
  EXPECT_EQ(heard(), "");
  EXPECT_EQ(cw->rxwpm.value, 7.0) << "the speed rests, too";
  transceiver->radioPttUp = false;
  receive(1, 40);
  receive(0, 1000);
  EXPECT_EQ(heard(), "n ");
}

TEST_F(cwModDemodTest, theSpeedIsToldWhenItChanges) {
  EXPECT_EQ(cw->rxwpm.value, 20.0) << "before the first block";
  const auto hear = [](double v) { speeds.push_back(v); };
  cw->rxwpm.bind(cw.get(), hear);
  g.pool->getUpdates();
  EXPECT_TRUE(speeds.empty());
  for (int i = 0; i < 3; i++) receive(0, 16);
  g.pool->getUpdates();
  EXPECT_EQ(speeds, std::vector<double>{45}) << "once";
  receive(0, 20); // 180 dashes and 60 dots: 41 looks
  receive(0, 61);
  receive(1, 181);
  receive(0, 500);
  g.pool->getUpdates();
  EXPECT_EQ(speeds, (std::vector<double>{45}));
  receive(1, 10);
  receive(0, 61);
  receive(1, 181);
  receive(0, 16);
  g.pool->getUpdates();
  EXPECT_EQ(speeds, (std::vector<double>{45, 43}));
}

TEST_F(cwModDemodTest, aSpeedThatTheHostWritesIsWrittenOver) {
  receive(0, 16);
  cw->rxwpm.bind(cw.get(), [](double v) { speeds.push_back(v); });
  cw->rxwpm.set(12);
  receive(0, 16);
  EXPECT_EQ(cw->rxwpm.value, 45.0);
  g.pool->getUpdates();
  EXPECT_EQ(speeds, (std::vector<double>{45, 45})) << "at bind the value of the moment, and the decoder's";
}

// ---- transmit: text

TEST_F(cwModDemodTest, textIsKeyedAndReportedCharacterByCharacter) {
  queueText("an", 0);
  const auto out = modulate(30 * dot20);
  for (const keyedSample& s : goldenText)
    if (s.wpm == 20) {
      ASSERT_NEAR(out[static_cast<size_t>(s.index)], s.value, 1e-15) << s.index;
    }
  EXPECT_EQ(sentText, "");
  EXPECT_EQ(sent(), "a|n|");
  EXPECT_EQ(cw->sentCount(), 2);
}

TEST_F(cwModDemodTest, textNeverRaisesPtt) {
  queueText("an", 0);
  modulate(30 * dot20);
  EXPECT_FALSE(transceiver->ptt.value);
}

TEST_F(cwModDemodTest, twoLettersAndATildeSendABlankWithPttOff) {
  transceiver->ptt.set(true);
  queueText("ee~", 0);
  modulate(leadingSilence + 8 * dot20); // both letters with their gaps
  EXPECT_TRUE(transceiver->ptt.value);
  EXPECT_EQ(sent(), "e|e|");
  const auto blank = modulate(7 * dot20);
  EXPECT_EQ(blank, std::vector<double>(7 * dot20, 0.0));
  EXPECT_FALSE(transceiver->ptt.value);
  EXPECT_EQ(sent(), "~|") << "as it was queued";
}

TEST_F(cwModDemodTest, lineEndsEndTheTransmission) {
  cw->swHangTime.set(10'000);
  for (const char* end : {"\r", "\n", "~"}) {
    transceiver->ptt.set(true);
    queueText(end, static_cast<uint32_t>(cw->sentCount()));
    modulate(leadingSilence + 7 * dot20);
    EXPECT_FALSE(transceiver->ptt.value) << end;
  }
  EXPECT_EQ(sent(), "\r|\n|~|");
}

TEST_F(cwModDemodTest, anEndWithPttOffStillCountsAsAWrite) {
  queueText("~", 0);
  EXPECT_FALSE(transceiver->ptt.hasValue);
  modulate(leadingSilence + 1);
  EXPECT_TRUE(transceiver->ptt.hasValue);
  EXPECT_FALSE(transceiver->ptt.value);
}

TEST_F(cwModDemodTest, unknownCharactersAreReportedAllTheSame) {
  queueText("e%\xFF", 0);
  const auto out = modulate(leadingSilence + 10 * dot20);
  EXPECT_EQ(sent(), "e|%|\xFF|");
  const std::vector<double> behind(out.begin() + leadingSilence + dot20, out.end());
  EXPECT_EQ(behind, std::vector<double>(9 * dot20, 0.0));
}

TEST_F(cwModDemodTest, textMayBeRewrittenWhileItIsSent) {
  queueText("cq dx", 0);
  modulate(leadingSilence + 14 * dot20 + 16 * dot20 + 1); // c, q and the beginning of the blank
  EXPECT_EQ(sent(), "c|q| |");
  queueText("cq de", 0);
  modulate(20 * dot20);
  EXPECT_EQ(sent(), "d|e|");
  queueText("cq de q1abc", 0);
  modulate(60 * dot20);
  EXPECT_EQ(sent(), " |q|1|a|b|");
  queueText("new", static_cast<uint32_t>(cw->sentCount()));
  modulate(60 * dot20);
  EXPECT_EQ(sent(), "n|e|w|");
}

TEST_F(cwModDemodTest, aBaseAboveTheCountEmptiesTheQueue) {
  queueText("waiting", 0);
  queueText("text", 1);
  modulate(leadingSilence + 20 * dot20);
  EXPECT_EQ(sent(), "");
  EXPECT_EQ(cw->sentCount(), 0);
}

TEST_F(cwModDemodTest, textOfAModeWithoutATransceiverWaits) {
  cw->owner.publish({});
  cw->queueText("e", 0); // here and now
  attach();
  modulate(leadingSilence + dot20);
  EXPECT_EQ(sent(), "e|");
}

TEST_F(cwModDemodTest, unboundEventsAreNotTold) {
  cw->sentChars = nullptr;
  queueText("e", 0);
  modulate(leadingSilence + dot20);
  cw->sentChars = [](const char* text) { sentText += text; };
  EXPECT_EQ(sent(), "");
}

TEST_F(cwModDemodTest, idleKeyingDropsPttAfterTheHangTime) {
  transceiver->ptt.set(true);
  modulate(leadingSilence + 9648 - 6);
  EXPECT_TRUE(transceiver->ptt.value);
  modulate(1);
  EXPECT_FALSE(transceiver->ptt.value);
  EXPECT_TRUE(transceiver->ptt.hasValue);
}

TEST_F(cwModDemodTest, theRadiosPttHoldsTheTransmission) {
  transceiver->ptt.set(true);
  radio->RadioPtt.set(true);
  modulate(leadingSilence + 20000);
  EXPECT_TRUE(transceiver->ptt.value);
  EXPECT_FALSE(transceiver->ptt.hasValue);
  radio->RadioPtt.set(false);
  modulate(126);
  EXPECT_FALSE(transceiver->ptt.value);
}

TEST_F(cwModDemodTest, hangTimesOfAnySizeAreHeld) {
  transceiver->ptt.set(true);
  cw->swHangTime.set(std::numeric_limits<int32_t>::max());
  modulate(leadingSilence + 1'000'000);
  EXPECT_TRUE(transceiver->ptt.value);
  cw->swHangTime.set(-5);
  modulate(126);
  EXPECT_FALSE(transceiver->ptt.value);
}

TEST_F(cwModDemodTest, noSpeedBreaksTheKeyer) {
  for (double wpm : {0.0, -20.0, nan, inf, -inf, 1e-300}) {
    cw->wpm.set(wpm);
    queueText("paris~", static_cast<uint32_t>(cw->sentCount()));
    for (const double level : modulate(12'600)) ASSERT_TRUE(level >= 0 && level <= 0.95) << wpm;
  }
}

TEST_F(cwModDemodTest, aRadioThatShapesTheKeyGetsHardEdgesOfText) {
  radio->cwInternal.set(true);
  queueText("e", 0);
  modulate(leadingSilence);
  std::vector<double> wanted(dot20, 1.0);
  wanted.resize(4 * dot20, 0.0);
  EXPECT_EQ(modulate(4 * dot20), wanted);
}

// ---- transmit: the straight key

TEST_F(cwModDemodTest, theKeyRaisesPttAndSendsACarrier) {
  skipLeadingSilence();
  cw->keyDown();
  EXPECT_FALSE(transceiver->ptt.value) << "on the transceiver's group";
  EXPECT_FALSE(keyA());
  g.turns();
  EXPECT_TRUE(transceiver->ptt.value);
  EXPECT_TRUE(keyA());
  const auto out = modulate(3 * 126);
  for (size_t i = 0; i < out.size(); i++) ASSERT_NEAR(out[i], i < 256 ? goldenRise[i] : 0.99, 1e-15) << i;
  keyUp();
  EXPECT_FALSE(keyA());
  EXPECT_TRUE(transceiver->ptt.value);
  const auto fall = modulate(3 * 126);
  for (size_t i = 0; i < fall.size(); i++) ASSERT_NEAR(fall[i], i < 256 ? goldenFall[i] : 0.0, 1e-15) << i;
  EXPECT_TRUE(transceiver->ptt.value);
  modulate(9648 - 6);
  EXPECT_TRUE(transceiver->ptt.value);
  modulate(1);
  EXPECT_FALSE(transceiver->ptt.value) << "the hang time counts from the end of the fall's block";
}

TEST_F(cwModDemodTest, theKeyGoesBeforeTheTextWhichWaits) {
  skipLeadingSilence();
  queueText("t", 0);
  modulate(1000 / 126 * 126);
  keyDown();
  modulate(126 * 100);
  keyUp();
  modulate(126 * 3); // the fall
  const auto rest = modulate(3 * dot20);
  EXPECT_EQ(rest[0], 0.95) << "in the dash";
  int left = 0;
  while (rest[static_cast<size_t>(left)] > 0) left++;
  EXPECT_EQ(left, 3 * dot20 - 1000 / 126 * 126);
}

TEST_F(cwModDemodTest, theKeyStartsTheHangTimeAnew) {
  transceiver->ptt.set(true);
  modulate(leadingSilence + 9000);
  keyDown();
  modulate(126);
  keyUp();
  modulate(3 * 126 + 9600);
  EXPECT_TRUE(transceiver->ptt.value);
}

TEST_F(cwModDemodTest, aRadioThatShapesTheKeyGetsHardEdgesOfTheKey) {
  radio->cwInternal.set(true);
  skipLeadingSilence();
  keyDown();
  EXPECT_EQ(modulate(500), std::vector<double>(500, 1.0));
  keyUp();
  EXPECT_EQ(modulate(500), std::vector<double>(500, 0.0));
  transceiver->ptt.set(true);
  modulate(9648);
  EXPECT_FALSE(transceiver->ptt.value) << "the text's idle keying runs meanwhile";
}

TEST_F(cwModDemodTest, theKeyIsOnTimeForTextInTheSameBlock) {
  radio->cwInternal.set(true);
  keyDown();
  keyUp();
  queueText("e", 0);
  modulate(leadingSilence);
  EXPECT_EQ(modulate(dot20), std::vector<double>(dot20, 1.0));
}

TEST_F(cwModDemodTest, verbsKeepTheirOrder) {
  skipLeadingSilence();
  for (int i = 0; i < 5; i++) {
    cw->keyDown();
    cw->keyUp();
  }
  g.turns();
  EXPECT_FALSE(keyA());
  EXPECT_NEAR(modulate(1)[0], goldenFall[0], 1e-15);
  cw->queueText("abc", 0);
  cw->queueText("xyz", 0);
  g.turns();
  modulate(60 * dot20);
  EXPECT_EQ(sent(), "x|y|z|");
}

// ---- the sidetone

TEST_F(cwModDemodTest, pitchAndVolumeOfTheSidetoneArePublished) {
  audioOutputStream& out = transceiver->audioOut;
  cw->freq.set(712.9);
  cw->sidetoneVolume.set(0.25);
  EXPECT_EQ(out.toneFrequency.load(), 650);
  modulate(126);
  EXPECT_EQ(out.toneFrequency.load(), 712);
  EXPECT_EQ(out.toneVolume.load(), 0.25f);
  out.toneFrequency = 1;
  out.toneVolume = 1;
  modulate(126);
  EXPECT_EQ(out.toneFrequency.load(), 1) << "when it changes";
  EXPECT_EQ(out.toneVolume.load(), 0.25f) << "each time";
}

TEST_F(cwModDemodTest, noValueBreaksTheSidetone) {
  audioOutputStream& out = transceiver->audioOut;
  const std::vector<std::pair<double, int32_t>> pitches = {
      {inf, 2147483647}, {-inf, -2147483647 - 1}, {1e12, 2147483647}, {nan, 0}, {-650.5, -650}};
  for (const auto& [pitch, wanted] : pitches) {
    cw->freq.set(pitch);
    modulate(126);
    EXPECT_EQ(out.toneFrequency.load(), wanted) << pitch;
  }
  cw->sidetoneVolume.set(1e300);
  modulate(126);
  EXPECT_EQ(out.toneVolume.load(), std::numeric_limits<float>::max());
  cw->sidetoneVolume.set(nan);
  modulate(126);
  EXPECT_TRUE(std::isnan(out.toneVolume.load()));
}

TEST_F(cwModDemodTest, theSidetoneFollowsTheText) {
  queueText("e", 0);
  modulate(leadingSilence);
  EXPECT_FALSE(keyA());
  modulate(126);
  EXPECT_TRUE(keyA());
  modulate(dot20);
  EXPECT_FALSE(keyA());
}

TEST_F(cwModDemodTest, aTransmissionThatEndsInAMarkLeavesNoSidetone) {
  queueText("t", 0);
  modulate(leadingSilence + 500);
  transceiver->radioPttUp = true;
  receive(0, 16);
  EXPECT_TRUE(keyA()) << "still transmitting";
  transceiver->radioPttUp = false;
  receive(0, 16);
  EXPECT_FALSE(keyA());
  keyDown();
  receive(0, 16);
  EXPECT_TRUE(keyA()) << "the operator's own";
}

// ---- memory

TEST_F(cwModDemodTest, aTransmissionTakesNoMemory) {
  const cbuff in(126, 0.0), out(126);
  cw->wpm.set(1000); // many characters
  queueText("warm up", 0);
  modulate(leadingSilence);
  queueText(std::string(200, 'e'), static_cast<uint32_t>(cw->sentCount()));
  keyDown();
  const int64_t before = allocationsOfThisThread();
  for (int i = 0; i < 10; i++) cw->modulate(in, out);
  EXPECT_EQ(allocationsOfThisThread() - before, 0);
  keyUp();
  const int64_t behindKey = allocationsOfThisThread();
  for (int i = 0; i < 300; i++) cw->modulate(in, out);
  EXPECT_EQ(allocationsOfThisThread() - behindKey, 0);
  EXPECT_GT(sent().size(), 300u) << "with its characters told";
}

TEST_F(cwModDemodTest, receptionTakesTheAudiosBlockAlone) {
  const cbuff space(512, 0.0), mark(512, 1.0);
  const auto morse = [&] { // "e" again and again
    for (int i = 0; i < 40; i++) cw->demodulate(i % 10 < 2 ? mark : space);
  };
  receive(0, 1000);
  morse();
  heard();
  morse(); // the update queue's ring is there now
  const int64_t before = allocationsOfThisThread();
  { const buff<float> audio(512); }
  const int64_t behindBlock = allocationsOfThisThread();
  morse();
  EXPECT_EQ(allocationsOfThisThread() - behindBlock, 40 * (behindBlock - before));
  EXPECT_EQ(heard(), "eeeeeeee");
}

// ---- without a transceiver

TEST_F(cwModDemodTest, aModeWithoutATransceiverKeysNothing) {
  cw->owner.publish({});
  cw->keyDown();
  EXPECT_EQ(modulate(512).back(), 0.99);
  cw->keyUp();
  modulate(512);
  cw->queueText("e~", 0);
  modulate(30 * dot20);
  EXPECT_EQ(sent(), "e|~|");
  receive(1, 16);
  EXPECT_FALSE(transceiver->ptt.value);
  EXPECT_FALSE(keyA());
}

TEST_F(cwModDemodTest, aTransceiverWithoutARadioKeysSoftly) {
  cw->owner.publish({transceiver,
                     &transceiver->ptt,
                     &transceiver->vfo,
                     &transceiver->audioOut,
                     &transceiver->radioPttUp,
                     {},
                     nullptr,
                     nullptr});
  keyDown();
  EXPECT_NEAR(modulate(126)[0], goldenRise[0], 1e-15);
  keyUp();
  modulate(3 * 126 + leadingSilence + 9648);
  EXPECT_FALSE(transceiver->ptt.value);
}

TEST_F(cwModDemodTest, aTransceiverThatIsGoneIsForgotten) {
  const auto mode = cw;
  transceiver.reset();
  mode->keyDown();
  mode->keyUp();
  mode->queueText("e~", 0);
  modulate(30 * dot20);
  receive(1, 16);
  EXPECT_EQ(sent(), "e|~|");
}

} // namespace
} // namespace larch::test
