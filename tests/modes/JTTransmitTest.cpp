// The timed-slot mode as a sender: when a message goes out, with which tones, and what the file's name says of it.
#include "tests/modes/JTTesting.h"
#include "tests/support/allocationCounter.h"
#include <limits>

namespace larch::test {
namespace {

// Hz at each sample's turn
double frequencyAt(const cbuff& sent, uint64_t i) { return -std::arg(sent.data[i] / sent.data[i - 1]) * 48000 / (2 * 3.1415927); }

struct JTTransmitTest : JTModDemodTest {
  JTTransmitTest() { mode->samplesPerBlock.set(100'000); }
  std::vector<float> tones(int count) const {
    std::vector<float> list;
    for (int i = 0; i < count; i++) list.push_back(static_cast<float>(i));
    return list;
  }
  // Ends the running capture, and gives what the host is told of it.
  std::string endCapture() {
    mode->samplesPerBlock.set(0);
    hear(1);
    mode->samplesPerBlock.set(100'000);
    return nextFile();
  }
  bool keyed() const { return transceiver->ptt.value; }
};

TEST_F(JTTransmitTest, aMessageStartsInTheChunkOfItsSlot) {
  setTime(7);
  queue(tones(79), 3);
  setTime(14.995);
  hear(1);
  EXPECT_FALSE(keyed());
  EXPECT_FALSE(mode->capture().isRunning());
  hear(1); // at 15.0057
  EXPECT_TRUE(keyed());
  EXPECT_TRUE(transceiver->ptt.hasValue);
  EXPECT_TRUE(mode->capture().isRunning());
  EXPECT_EQ(mode->capture().captureCount(), 128u);
  EXPECT_FALSE(mode->isMessageWaiting());
  const cbuff sent = send(79 * 7680 + 1);
  for (uint64_t symbol = 0; symbol < 79; symbol++)
    ASSERT_NEAR(frequencyAt(sent, symbol * 7680 + 3000), 1500 + 6.25 * static_cast<double>(symbol), 1e-6);
  EXPECT_EQ(sent.data[79 * 7680], 0.0);
  EXPECT_FALSE(keyed());
  EXPECT_EQ(endCapture(), named("261121_220015.wav3"));
}

TEST_F(JTTransmitTest, theHostsValuesMakeTheTones) {
  mode->samplesPerSymbol.set(1000);
  mode->toneSpacing.set(-20.8333);
  mode->txFreq.set(2100);
  queue({0, 2.5f, -1}, 0);
  setTime(0);
  hear(1);
  const cbuff sent = send(3001);
  EXPECT_NEAR(frequencyAt(sent, 500), 2100, 1e-6);
  EXPECT_NEAR(frequencyAt(sent, 1500), 2100 - 2.5 * 20.8333, 1e-6);
  EXPECT_NEAR(frequencyAt(sent, 2500), 2100 + 20.8333, 1e-6);
  EXPECT_NEAR(std::abs(sent.data[2999]), 0.98, 1e-9);
}

TEST_F(JTTransmitTest, theEndDropsPttAndCountsAsAWrite) {
  mode->samplesPerSymbol.set(100);
  queue(tones(2), 0);
  setTime(0);
  hear(1);
  transceiver->ptt.set(false); // the host was faster
  transceiver->ptt.hasValue = false;
  send(200);
  EXPECT_FALSE(transceiver->ptt.hasValue);
  send(1);
  EXPECT_TRUE(transceiver->ptt.hasValue);
  EXPECT_FALSE(keyed());
}

TEST_F(JTTransmitTest, withoutAMessageThereAreZerosAndNothingHappens) {
  transceiver->ptt.set(true);
  const cbuff sent = send(1000);
  for (uint64_t i = 0; i < sent.count; i++) ASSERT_EQ(sent.data[i], 0.0);
  EXPECT_TRUE(keyed());
  EXPECT_FALSE(transceiver->ptt.hasValue);
}

TEST_F(JTTransmitTest, aMessageThatIsQueuedWhilePttIsOnWaitsForTheNextSlot) {
  transceiver->ptt.set(true);
  setTime(0);
  hear(1);
  queue(tones(79), 5);
  hear(100);
  EXPECT_TRUE(mode->isMessageWaiting());
  EXPECT_EQ(endCapture(), named("261121_220000.wav8"));
  setTime(15);
  hear(1);
  EXPECT_FALSE(mode->isMessageWaiting());
  EXPECT_EQ(endCapture(), named("261121_220015.wav5"));
}

// ---- late start

TEST_F(JTTransmitTest, aLateMessageLeavesOutTheTonesWhoseTimeIsOver) {
  for (const int chunks : {1, 14, 15, 16, 30, 60, 281}) { // a tone is 15 chunks
    mode = keptByCore(std::make_shared<JTModDemod>(g.group));
    mode->owner.publish({transceiver, &transceiver->ptt, &transceiver->vfo});
    mode->saveDirectory.set("/dev/null/");
    transceiver->ptt.set(false);
    setTime(0);
    hear(chunks - 1);
    queue(tones(79), 2);
    EXPECT_EQ(keyed(), false);
    hear(1); // at its end that many chunks have been captured
    if (chunks == 1) {
      EXPECT_NEAR(frequencyAt(send(512), 100), 1500, 1e-6) << "with the slot";
      continue;
    }
    ASSERT_TRUE(keyed()) << chunks;
    const int first = chunks * 512 / 7680; // samples that are over, in tones
    EXPECT_NEAR(frequencyAt(send(512), 100), 1500 + 6.25 * first, 1e-6) << chunks;
    int64_t left = 512;
    while (keyed() && left < 1'000'000) {
      send(512);
      left += 512;
    }
    EXPECT_NEAR(static_cast<double>(left), (79 - first) * 7680.0, 512.0);
  }
}

TEST_F(JTTransmitTest, behindThreeSecondsItIsTooLate) {
  setTime(0);
  hear(280);
  mode->Decimation.set(32);
  hear(9); // 280 * 128 + 9 * 16: 16 short of 36,000 and more behind the next
  EXPECT_EQ(mode->capture().captureCount(), 35984u);
  queue(tones(79), 1);
  hear(1); // this one makes it 36,000
  EXPECT_FALSE(keyed());
  hear(100);
  EXPECT_FALSE(keyed());
  EXPECT_TRUE(mode->isMessageWaiting());
}

TEST_F(JTTransmitTest, theLastValueInTimeStarts) {
  setTime(0);
  hear(280);
  mode->Decimation.set(512);
  hear(158);
  queue(tones(79), 1);
  hear(1);
  EXPECT_EQ(mode->capture().captureCount(), 35999u);
  EXPECT_TRUE(keyed());
  EXPECT_NEAR(frequencyAt(send(512), 100), 1500 + 6.25 * (35999 * 4 / 7680), 1e-6);
}

TEST_F(JTTransmitTest, slotsOfAMinuteHaveNoLateStart) {
  for (const int32_t period : {60000, 120000, 3600000}) {
    mode->period.set(period);
    setTime(0);
    hear(1);
    queue(tones(79), 1);
    hear(50);
    EXPECT_FALSE(keyed()) << period;
    EXPECT_TRUE(mode->isMessageWaiting());
    mode->period.set(59999);
    hear(1);
    EXPECT_TRUE(keyed());
    transceiver->ptt.set(false);
    endCapture();
    setTime(7);
    hear(1);
  }
}

TEST_F(JTTransmitTest, beforeTheFirstSlotNothingIsLate) {
  setTime(7);
  hear(1);
  queue(tones(79), 1);
  hear(50);
  EXPECT_FALSE(keyed());
  setTime(15);
  hear(1);
  EXPECT_TRUE(keyed());
}

TEST_F(JTTransmitTest, betweenSlotsAMessageWaits) {
  mode->samplesPerBlock.set(36'000); // as many as no late start may have
  setTime(0);
  hear(282);
  EXPECT_FALSE(mode->capture().isRunning());
  queue(tones(79), 1);
  hear(50);
  EXPECT_FALSE(keyed());
  setTime(15);
  hear(1);
  EXPECT_TRUE(keyed());
}

TEST_F(JTTransmitTest, aMessageThatIsOverBeforeItStartsEndsAtOnce) {
  setTime(0);
  hear(100);
  queue(tones(3), 6); // the time of six tones is over
  hear(1);
  EXPECT_TRUE(keyed());
  EXPECT_EQ(send(1).data[0], 0.0);
  EXPECT_FALSE(keyed());
  EXPECT_EQ(endCapture(), named("261121_220000.wav6"));
}

TEST_F(JTTransmitTest, noSymbolLengthBreaksALateStart) {
  for (const int32_t length : {0, -1, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()}) {
    mode->samplesPerSymbol.set(length);
    transceiver->ptt.set(false);
    setTime(0);
    hear(20);
    queue(tones(3), 6);
    hear(1);
    EXPECT_TRUE(keyed());
    send(512);
    EXPECT_EQ(keyed(), length > 1) << length;
    endCapture();
    setTime(7);
    hear(1);
  }
}

// ---- queue and tags

TEST_F(JTTransmitTest, theNewestMessageWaits) {
  queue(tones(79), 1);
  queue({100}, 2);
  setTime(0);
  hear(1);
  EXPECT_NEAR(frequencyAt(send(512), 100), 2125, 1e-6);
  EXPECT_EQ(endCapture(), named("261121_220000.wav2"));
}

TEST_F(JTTransmitTest, aMessageWithoutTonesTakesTheWaitingOneAway) {
  queue(tones(79), 1);
  queue({}, 2);
  EXPECT_FALSE(mode->isMessageWaiting());
  setTime(0);
  hear(1);
  EXPECT_FALSE(keyed());
  EXPECT_EQ(endCapture(), named("261121_220000.wav8"));
}

TEST_F(JTTransmitTest, aMessageWithoutMemoryIsNone) {
  buff<float> none;
  none.data = nullptr; // as of an array that there was no memory for
  none.count = 1000;
  mode->queueMsg(none, 1);
  EXPECT_FALSE(mode->isMessageWaiting());
}

TEST_F(JTTransmitTest, everyTagStandsBehindTheNameInDecimalDigits) {
  const std::pair<uint32_t, const char*> tags[] = {{0, "0"},
                                                   {7, "7"},
                                                   {8, "8"},
                                                   {12345, "12345"},
                                                   {2147483647u, "2147483647"},
                                                   {2147483648u, "-2147483648"},
                                                   {4000000000u, "-294967296"},
                                                   {4294967295u, "-1"}};
  for (const auto& [tag, digits] : tags) {
    transceiver->ptt.set(false);
    setTime(0);
    queue(tones(3), tag);
    hear(1);
    EXPECT_EQ(endCapture(), named("261121_220000.wav" + std::string(digits)));
    setTime(7);
    hear(1);
  }
}

TEST_F(JTTransmitTest, theTagIsOfItsSlotAlone) {
  queue(tones(79), 1);
  setTime(0);
  hear(1);
  EXPECT_EQ(endCapture(), named("261121_220000.wav1"));
  setTime(15); // the transmission goes on into this one
  hear(1);
  EXPECT_TRUE(keyed());
  EXPECT_EQ(endCapture(), named("261121_220015.wav8"));
}

TEST_F(JTTransmitTest, aLateMessageGivesItsTag) {
  setTime(0);
  hear(30);
  queue(tones(79), 4);
  hear(1);
  EXPECT_EQ(endCapture(), named("261121_220000.wav4"));
}

TEST_F(JTTransmitTest, aMessageThatPttCutGoesOnWithTheNextKey) {
  mode->samplesPerSymbol.set(512);
  queue(tones(4), 1);
  setTime(0);
  hear(1);
  send(1024);
  transceiver->ptt.set(false);
  endCapture();
  setTime(15);
  hear(1);
  EXPECT_FALSE(keyed());
  transceiver->ptt.set(true);
  EXPECT_NEAR(frequencyAt(send(512), 100), 1500 + 6.25 * 2, 1e-6);
}

TEST_F(JTTransmitTest, aTransmissionTakesNoMemory) {
  queue(tones(79), 1);
  setTime(0);
  hear(1);
  const cbuff in(512, 0.0), out(512);
  const int64_t before = allocationsOfThisThread();
  for (int i = 0; i < 79 * 15 + 10; i++) mode->modulate(in, out);
  EXPECT_EQ(allocationsOfThisThread() - before, 0);
  EXPECT_FALSE(keyed());
}

TEST_F(JTTransmitTest, aTransceiverThatIsGoneIsNotKeyed) {
  queue(tones(2), 1);
  mode->owner.publish({transceiver, &transceiver->ptt, &transceiver->vfo});
  transceiver.reset();
  setTime(0);
  hear(1); // the address sanitizer sees a touch
  const cbuff sent = send(20000);
  EXPECT_FALSE(mode->isMessageWaiting());
  EXPECT_NE(sent.data[100], std::complex<double>(0)) << "it is sent all the same";
  EXPECT_EQ(sent.data[19999], std::complex<double>(0)) << "and comes to its end, 2 tones of 7680 samples on";
  endCapture();
}

} // namespace
} // namespace larch::test
