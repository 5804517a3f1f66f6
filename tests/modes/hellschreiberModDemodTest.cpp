// The Hellschreiber mode: text in, a picture out, the host's events; alone and in a transceiver.
#include <gtest/gtest.h>

#include "modes/hellschreiberModDemod.h"
#include "tests/modes/hellTesting.h"
#include "tests/modes/textModeTesting.h"
#include "tests/support/allocationCounter.h"

namespace larch::test {
namespace {

using cdouble = std::complex<double>;
constexpr size_t column = 8 * 1601;

using hellschreiberModDemodTest = textModeTest<hellschreiberModDemod>;

TEST_F(hellschreiberModDemodTest, theOperatorHearsTheRealPart) {
  for (const uint64_t count : {0u, 1u, 7u, 511u, 512u, 513u}) {
    cbuff block(count);
    for (uint64_t i = 0; i < count; i++) block.data[i] = {0.001 * static_cast<double>(i), 5.0};
    const auto sound = mode->demodulate(block);
    ASSERT_EQ(sound.count, count);
    for (uint64_t i = 0; i < count; i++) ASSERT_EQ(sound.data[i], static_cast<float>(0.001 * static_cast<double>(i)));
  }
}

TEST_F(hellschreiberModDemodTest, textIsDrawnAndReported) {
  queue("Hi");
  const auto wanted = pictureOf("Hi");
  EXPECT_EQ(columnsOf(modulate((wanted.size() + 1) * column), wanted.size()), wanted);
  EXPECT_EQ(sentText, "") << "by the host's poll";
  EXPECT_EQ(sent(), "Hi");
  EXPECT_EQ(mode->text().sentCount(), 2);
}

TEST_F(hellschreiberModDemodTest, charactersWithoutAGlyphAreReportedAllTheSame) {
  queue("\x01\x80\xFFi");
  std::vector<int> wanted(18, 0);
  wanted.insert(wanted.end(), {0, 0x9E});
  EXPECT_EQ(columnsOf(modulate(21 * column), 20), wanted);
  EXPECT_EQ(sent(), "\x01\x80\xFFi");
}

TEST_F(hellschreiberModDemodTest, aTildeDropsPttAndIsABlank) {
  transceiver->ptt.set(true);
  queue("i~i");
  modulate(2 * column);
  EXPECT_TRUE(transceiver->ptt.value);
  EXPECT_FALSE(transceiver->ptt.hasValue);
  const auto behind = modulate(7 * column); // the last pixel of the i fades; then the blank
  EXPECT_FALSE(transceiver->ptt.value);
  EXPECT_TRUE(transceiver->ptt.hasValue);
  EXPECT_EQ(columnsOf(behind, 6), (std::vector<int>(6, 0)));
  EXPECT_EQ(sent(), "i~i");
}

TEST_F(hellschreiberModDemodTest, anEndWithPttOffStillCountsAsAWrite) {
  queue("~");
  modulate(1);
  EXPECT_TRUE(transceiver->ptt.hasValue);
  EXPECT_FALSE(transceiver->ptt.value);
}

TEST_F(hellschreiberModDemodTest, textMayBeRewrittenWhileItIsSent) {
  mode->queueText("il!", 0);
  modulate(4 * column);
  EXPECT_EQ(sent(), "il");
  mode->queueText("ilk", 0);
  modulate(column);
  EXPECT_EQ(sent(), "k");
  mode->queueText("gone", 100);
  EXPECT_TRUE(mode->text().empty());
}

TEST_F(hellschreiberModDemodTest, longTextsAndEveryByteGoOut) {
  mode->frequencyStep.set(4000);
  std::string all;
  for (int c = 1; c < 256; c++) all += static_cast<char>(c);
  for (const size_t length : {0u, 1u, 1023u, 1024u, 1025u, 5000u}) {
    std::string text;
    while (text.size() < length) text += all;
    text.resize(length);
    queue(text);
    for (int i = 0; i < 1300; i++) {
      modulate(512);
      g.pool->getUpdates();
    }
    EXPECT_EQ(sent(), text.substr(length - length % 1024)) << length;
  }
}

TEST_F(hellschreiberModDemodTest, noStepBreaksTheSignal) {
  for (const double step : {0.0, -30.0, nan, inf, -inf, 1e-300, 1e300}) {
    mode->frequencyStep.set(step);
    queue("W~");
    for (const cdouble& x : modulate(5000)) ASSERT_LE(std::abs(x), 1.8 + 1e-9) << step;
  }
}

TEST_F(hellschreiberModDemodTest, aModeWithoutATransceiverSendsOn) {
  mode->owner.publish({});
  mode->sentChars = nullptr;
  queue("i~i");
  modulate(12 * column, 4096);
  EXPECT_EQ(mode->text().sentCount(), 3);
  EXPECT_EQ(sent(), "");
}

TEST_F(hellschreiberModDemodTest, aTransmissionTakesNoMemory) {
  const cbuff in(512, 0.0), out(512);
  queue("i");
  modulate(6 * column);
  sent();
  queue("lll~");
  const int64_t before = allocationsOfThisThread();
  for (int i = 0; i < 400; i++) mode->modulate(in, out);
  EXPECT_EQ(allocationsOfThisThread() - before, 0);
  EXPECT_EQ(sent(), "lll~");
}

TEST_F(hellschreiberModDemodTest, receptionTakesTheAudiosBlockAlone) {
  const cbuff block(512, 1.0);
  mode->demodulate(block);
  const int64_t before = allocationsOfThisThread();
  { const buff<float> audio(512); }
  const int64_t behindBlock = allocationsOfThisThread();
  for (int i = 0; i < 100; i++) mode->demodulate(block);
  EXPECT_EQ(allocationsOfThisThread() - behindBlock, 100 * (behindBlock - before));
}

} // namespace
} // namespace larch::test
