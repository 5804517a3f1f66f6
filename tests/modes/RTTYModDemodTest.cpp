// The RTTY mode: text in, text out, the host's events, hostile values.
#include <gtest/gtest.h>

#include "modes/RTTYModDemod.h"
#include "dsp/filterDesign.h"
#include "dsp/fftConvolver.h"
#include "sim/randomSource.h"
#include "tests/modes/rttyPipe.h"
#include "tests/modes/rttyTesting.h"
#include "tests/modes/textModeTesting.h"
#include "tests/support/allocationCounter.h"
#include <memory>

namespace larch::test {
namespace {

constexpr size_t frame = 7920;
std::vector<buff<float>*> traces;

class RTTYModDemodTest : public textModeTest<RTTYModDemod> {
 protected:
  RTTYModDemodTest() {
    mode->newChars = [](const char* text) { heardText += text; };
    mode->rxFreq.set(2000);
  }
  ~RTTYModDemodTest() override {
    for (auto* trace : traces) delete trace;
    traces.clear();
  }
  static std::vector<cdouble> signalOf(const std::string& text, double level = 1) {
    rttySender s(2000, level);
    s.idle(6);
    s.frames(codesOf(text));
    s.idle(2);
    return s.sent;
  }
  void receive(const std::string& text, double level = 1) { demodulate(signalOf(text, level)); }
};

// What is sent, on the other sideband: mark and space keep their places 2000 and 2170, exchanged.
std::vector<cdouble> mirrored(const std::vector<cdouble>& sent, double level) {
  std::vector<cdouble> signal;
  for (size_t n = 0; n < sent.size(); n++)
    signal.push_back(level * std::conj(sent[n]) * std::polar(1.0, -2 * M_PI * 4170 / 48000 * static_cast<double>(n)));
  return signal;
}

// ---- receive

TEST_F(RTTYModDemodTest, theOperatorHearsTheRealPart) {
  for (const uint64_t count : {0u, 1u, 7u, 511u, 512u, 513u}) {
    cbuff block(count);
    for (uint64_t i = 0; i < count; i++) block.data[i] = {0.001 * static_cast<double>(i), 5.0};
    const auto sound = mode->demodulate(block);
    ASSERT_EQ(sound.count, count);
    for (uint64_t i = 0; i < count; i++) ASSERT_EQ(sound.data[i], static_cast<float>(0.001 * static_cast<double>(i)));
  }
}

TEST_F(RTTYModDemodTest, decodedTextReachesTheHostByItsPoll) {
  receive("CQ DE Q1ABC 599");
  g.pool->getUpdates();
  EXPECT_NE(heardText.find("CQ DE Q1ABC 599"), std::string::npos) << heardText;
  heardText.clear();
  const auto again = signalOf("QRZ DE Q1ABC 73");
  const cbuff block(again.size()); // in one go, without the poll of `demodulate`: nothing is told on the signal's thread
  std::copy(again.begin(), again.end(), block.data);
  mode->demodulate(block);
  EXPECT_EQ(heardText, "");
  g.pool->getUpdates();
  EXPECT_NE(heardText.find("QRZ DE Q1ABC 73"), std::string::npos) << heardText;
}

TEST_F(RTTYModDemodTest, decodedTextStandsOnStandardOutputToo) {
  outputPipe out;
  receive("PRINTED 42");
  const std::string read = out.readUntil("PRINTED 42");
  EXPECT_NE(read.find("PRINTED 42"), std::string::npos) << read;
}

TEST_F(RTTYModDemodTest, codeZeroIsAByteOfStandardOutput) {
  outputPipe out;
  rttySender s(2000);
  s.idle(6);
  s.frames({3, 0, 0, 25});
  s.idle(2);
  demodulate(s.sent);
  const std::string wanted("A\0\0B", 4), read = out.readUntil(wanted);
  EXPECT_NE(read.find(wanted), std::string::npos);
  EXPECT_NE(heard().find("AB"), std::string::npos) << "an empty text each";
}

TEST_F(RTTYModDemodTest, aStalledOutputHoldsUpNoSignal) {
  outputPipe out;
  out.stall();
  const std::string text(400, 'E'); // more than the queue holds
  receive(text + "QRT");
  EXPECT_NE(heard().find("EEEEQRT"), std::string::npos);
}

TEST_F(RTTYModDemodTest, aNewFrequencyTakesEffectWithTheNextBlock) {
  mode->rxFreq.set(915);
  receive("NOT HERE");
  EXPECT_EQ(heard().find("NOT HERE"), std::string::npos);
  mode->rxFreq.set(2000);
  receive("BUT HERE");
  EXPECT_NE(heard().find("BUT HERE"), std::string::npos);
}

TEST_F(RTTYModDemodTest, noFrequencySpoilsTheReceiver) {
  using range = std::numeric_limits<int32_t>;
  for (const int32_t f : {range::max(), range::min(), -170, 0}) {
    mode->rxFreq.set(f);
    receive("X");
  }
  mode->rxFreq.set(2000);
  demodulate({512, cdouble(nan, inf)});
  receive("STILL HERE");
  EXPECT_NE(heard().find("STILL HERE"), std::string::npos);
}

TEST_F(RTTYModDemodTest, tracesComeWhole) {
  mode->newDebug = [](buff<float>* trace) { traces.push_back(trace); };
  rttySender s(2000);
  s.tone(true, 512 * 1025);
  demodulate(s.sent);
  g.pool->getUpdates();
  ASSERT_EQ(traces.size(), 2u); // two values a block
  for (const auto* trace : traces) ASSERT_EQ(trace->count, 1024u);
  EXPECT_NE(traces[0]->data, traces[1]->data);
  for (uint64_t i = 0; i < 1024; i++) ASSERT_NEAR(traces[1]->data[i], -123.8, 0.2) << i; // the mark
}

TEST_F(RTTYModDemodTest, aTraceNobodyWantsIsntKept) {
  rttySender s(2000);
  s.tone(true, 512 * 1025);
  demodulate(s.sent);
  mode->newDebug = [](buff<float>* trace) { traces.push_back(trace); };
  g.pool->getUpdates();
  EXPECT_TRUE(traces.empty());
}

// ---- transmit

TEST_F(RTTYModDemodTest, textIsSentAndReported) {
  queue("Ra1 b");
  EXPECT_EQ(framesOf(modulate(9 * frame)), (std::vector<int>{10, 3, 27, 23, 4, 31, 25, 31, 31}));
  EXPECT_EQ(sentText, "") << "by the host's poll";
  EXPECT_EQ(sent(), "Ra1 b");
  EXPECT_EQ(mode->text().sentCount(), 5);
}

TEST_F(RTTYModDemodTest, aTildeDropsPttAndSendsALettersShift) {
  transceiver->ptt.set(true);
  queue("e~e");
  modulate(frame);
  EXPECT_TRUE(transceiver->ptt.value);
  EXPECT_FALSE(transceiver->ptt.hasValue);
  modulate(1, 1);
  EXPECT_FALSE(transceiver->ptt.value);
  EXPECT_TRUE(transceiver->ptt.hasValue);
  EXPECT_EQ(sent(), "e~");
}

TEST_F(RTTYModDemodTest, aTildeIsALettersShift) {
  queue("a~b");
  EXPECT_EQ(framesOf(modulate(3 * frame)), (std::vector<int>{3, 31, 25}));
}

TEST_F(RTTYModDemodTest, anEndWithPttOffStillCountsAsAWrite) {
  queue("~");
  modulate(1);
  EXPECT_TRUE(transceiver->ptt.hasValue);
  EXPECT_FALSE(transceiver->ptt.value);
}

TEST_F(RTTYModDemodTest, textMayBeRewrittenWhileItIsSent) {
  mode->queueText("cq dx", 0);
  modulate(3 * frame);
  EXPECT_EQ(sent(), "cq ");
  mode->queueText("cq de", 0);
  modulate(2 * frame);
  EXPECT_EQ(sent(), "de");
  mode->queueText("over", 5);
  modulate(2 * frame);
  EXPECT_EQ(sent(), "ov");
}

TEST_F(RTTYModDemodTest, aBaseInTheFutureEmptiesTheQueue) {
  queue("waiting");
  for (const uint32_t base : {1u, 0x7FFFFFFFu}) {
    mode->queueText("text", base);
    EXPECT_TRUE(mode->text().empty()) << base;
  }
  mode->queueText("past", 0xFFFFFFFEu); // two characters are behind already
  modulate(5 * frame);
  EXPECT_EQ(sent(), "st");
}

TEST_F(RTTYModDemodTest, textsOfAnyLengthAreSentAsFarAsTheRingHoldsThem) {
  cdouble before = 1;
  for (const size_t length : {0u, 1u, 7u, 1022u, 1023u, 1024u, 1025u, 2047u, 5000u}) {
    std::string text;
    for (size_t n = 0; n < length; n++) text += static_cast<char>('a' + n % 26);
    queue(text);
    const size_t stays = length % 1024; // required: the ring overwrites itself
    // a letter's frame each, and nothing but idle behind
    const auto on = modulate((stays + 1) * frame, 4096);
    const auto frames = framesOf(on, std::exchange(before, on.back()));
    ASSERT_EQ(sent(), text.substr(length - stays)) << length;
    ASSERT_EQ(frames.size(), stays + 1);
    ASSERT_EQ(frames.back(), 31) << length;
  }
}

TEST_F(RTTYModDemodTest, everyByteGoesOut) {
  std::string all;
  for (int c = 1; c < 256; c++) all += static_cast<char>(c);
  queue(all);
  const auto wanted = codesOf(all);
  EXPECT_EQ(framesOf(modulate(wanted.size() * frame)), wanted);
  EXPECT_EQ(sent(), all);
}

TEST_F(RTTYModDemodTest, unboundEventsAreNotTold) {
  mode->sentChars = nullptr;
  mode->newChars = nullptr;
  queue("e");
  modulate(frame);
  receive("E");
  EXPECT_EQ(sent(), "");
  EXPECT_EQ(heard(), "");
}

TEST_F(RTTYModDemodTest, aModeWithoutATransceiverSendsOn) {
  mode->owner.publish({});
  queue("a~b");
  modulate(3 * frame);
  EXPECT_EQ(sent(), "a~b");
  mode->owner.publish({transceiver, &transceiver->ptt});
  transceiver.reset();
  queue("~");
  modulate(frame);
  EXPECT_EQ(sent(), "~");
}

// ---- both

TEST_F(RTTYModDemodTest, whatIsSentIsHeardOnTheOtherSidebandThroughNoise) {
  const std::string text = "the quick brown fox jumps over the lazy dog 0123456789 -'!:(+)?&./=";
  bool figures = false;
  const auto codes = codesOf(text, figures);
  modulate(6 * frame); // idle: the receiver finds its phase
  queue(text);
  auto on = modulate((codes.size() + 3) * frame);
  rttySender lead(2000, 0.01);
  lead.idle(6);
  auto signal = lead.sent;
  const auto body = mirrored(on, 0.01);
  signal.insert(signal.end(), body.begin(), body.end());
  sim::randomSource noise(5);
  noise.addNoise(signal.data(), signal.size(), 0.01 * 1.7);          // 10 dB in 500 Hz
  fftConvolver channel(makeBandpass(1850, 2320, 48000, 1536, 1536)); // the radio's side of the chain
  std::vector<cdouble> filtered;
  for (size_t at = 0; at + fftConvolver::block <= signal.size(); at += fftConvolver::block) {
    std::copy_n(signal.begin() + static_cast<std::ptrdiff_t>(at), fftConvolver::block, channel.input.data);
    channel.process();
    filtered.insert(filtered.end(), channel.output.data, channel.output.data + fftConvolver::block);
  }
  demodulate(filtered);
  EXPECT_NE(heard().find(heardOf(codes)), std::string::npos);
  EXPECT_NE(heardOf(codes).find("OVER THE LAZY DOG 0123456789 "), std::string::npos)
      << "a sentence, not just the same fault twice";
}

// ---- memory

TEST_F(RTTYModDemodTest, aTransmissionTakesNoMemory) {
  const cbuff in(512, 0.0), out(512);
  queue("warm up");
  modulate(10 * frame);
  queue(std::string(20, 'e') + "123~");
  transceiver->ptt.set(true);
  sent();
  const int64_t before = allocationsOfThisThread();
  for (int i = 0; i < 400; i++) mode->modulate(in, out);
  EXPECT_EQ(allocationsOfThisThread() - before, 0);
  EXPECT_EQ(sent(), std::string(20, 'e') + "123~");
}

TEST_F(RTTYModDemodTest, receptionTakesTheAudiosBlockAlone) {
  rttySender s(2000);
  s.idle(6);
  s.frames(codesOf("WARM UP 12"));
  receive("FIRST");
  heard();
  std::vector<cbuff> blocks;
  for (size_t at = 0; at + 512 <= s.sent.size(); at += 512) {
    blocks.emplace_back(512);
    std::copy_n(s.sent.begin() + static_cast<std::ptrdiff_t>(at), 512, blocks.back().data);
  }
  for (const cbuff& block : blocks) mode->demodulate(block);
  heard();
  const int64_t before = allocationsOfThisThread();
  { const buff<float> audio(512); }
  const int64_t behindBlock = allocationsOfThisThread();
  for (const cbuff& block : blocks) mode->demodulate(block);
  EXPECT_EQ(allocationsOfThisThread() - behindBlock, static_cast<int64_t>(blocks.size()) * (behindBlock - before));
  EXPECT_NE(heard().find("WARM UP 1"), std::string::npos);
}

} // namespace
} // namespace larch::test
