#include "tests/radio/testRadio.h"
#include <gtest/gtest.h>

using namespace larch;

namespace {

constexpr int32_t defaultVfo = 14095600;

std::vector<int32_t> slotsOf(const std::shared_ptr<vtrx>& t) { return {t->hwReceiver, t->hwReceiver + adcSlots}; }

using slotList = std::vector<int32_t>;

struct addedCall {
  handle* item;
  int32_t frequency, sampleRate;
};
std::vector<addedCall> addedCalls;
void recordAdded(handle* item, int32_t frequency, int32_t sampleRate) { addedCalls.push_back({item, frequency, sampleRate}); }

std::vector<int32_t> numbers;
void recordNumber(int32_t value) { numbers.push_back(value); }

} // namespace

TEST(radioTest, hasItsOwnGroupOnTheSamePool) {
  radioBench b;
  EXPECT_NE(b.radio->taskgroup, b.group);
  EXPECT_EQ(b.radio->taskgroup->pool(), b.pool.get());
  const auto first = b.add(7'000'000), second = b.add(7'000'000);
  EXPECT_NE(first->taskgroup, second->taskgroup);
  EXPECT_NE(first->taskgroup, b.radio->taskgroup);
  EXPECT_EQ(first->taskgroup->pool(), b.pool.get());
}

TEST(radioTest, addVtrxTunesAndReports) {
  addedCalls.clear();
  radioBench b;
  b.radio->SampleRate.set(96000);
  storeWord(b.radio->vtrxAdded, recordAdded);
  const auto t = b.add(7'100'000);
  EXPECT_EQ(t->vfo.value, 7'100'000);
  EXPECT_EQ(t->specFreq.value, 7'100'000);
  EXPECT_EQ(t->radio.lock(), b.radio);
  ASSERT_EQ(b.radio->hwReceivers.size(), 1u);
  EXPECT_EQ(b.radio->hwReceivers[0].frequency, 7'100'000);
  EXPECT_EQ(slotsOf(t), (slotList{0, -1, -1, -1}));
  EXPECT_TRUE(addedCalls.empty());
  b.pool->getUpdates();
  ASSERT_EQ(addedCalls.size(), 1u);
  EXPECT_EQ(addedCalls[0].item->object, t);
  EXPECT_EQ(addedCalls[0].frequency, 7'100'000);
  EXPECT_EQ(addedCalls[0].sampleRate, 96000);
  delete addedCalls[0].item;
}

TEST(radioTest, addVtrxMakesItsVfoKnownToALaterBind) {
  numbers.clear();
  radioBench b;
  const auto t = b.add(defaultVfo);
  t->vfo.bind(t.get(), recordNumber);
  b.pool->getUpdates();
  EXPECT_EQ(numbers, std::vector<int32_t>{defaultVfo});
}

TEST(radioTest, unboundVtrxAddedCallsNobody) {
  radioBench b;
  b.add(7'000'000);
  b.pool->getUpdates();
  EXPECT_EQ(b.radio->transceivers.size(), 1u);
}

TEST(radioTest, presentFrequencyTakesTheReceivers) {
  radioBench b;
  b.add(7'000'000);
  b.radio->hwReceivers[0].frequency = 7'000'123;
  const auto t = b.add(-1, 0);
  EXPECT_EQ(t->vfo.value, 7'000'123);
  EXPECT_EQ(slotsOf(t), (slotList{0, -1, -1, -1}));
}

TEST(radioTest, presentFrequencyOfNoReceiverKeepsTheDefault) {
  for (const int32_t receiver : {-2, -1, 0, 5, INT32_MAX, INT32_MIN}) {
    radioBench b;
    const auto t = b.add(-1, receiver);
    EXPECT_EQ(t->vfo.value, defaultVfo) << receiver;
    EXPECT_TRUE(t->vfo.hasValue);
    EXPECT_EQ(slotsOf(t), (slotList{0, -1, -1, -1})) << receiver; // the allocation goes on from none
  }
}

TEST(radioTest, receiverThatDoesntExistCountsAsNone) {
  radioBench b;
  b.add(7'000'000);
  const auto t = b.add(21'000'000, 3);
  EXPECT_EQ(slotsOf(t), (slotList{-1, -1, -1, -1}));
}

TEST(radioTest, baseRadioEndsWithoutReceivers) {
  testGroup g;
  const auto radio = std::make_shared<Radio>(g.group);
  radio->Deleted = [](int32_t) {};
  radio->maxHwReceivers.set(3);
  radio->addVtrx(7'000'000, 0);
  radio->disableVirtualReceivers.set(true);
  radio->addVtrx(7'000'000, 0);
  for (const auto& t : radio->transceivers) {
    t->Deleted = [](int32_t) {};
    EXPECT_EQ(slotsOf(t), (slotList{-1, -1, -1, -1}));
  }
  EXPECT_TRUE(radio->hwReceivers.empty());
  radio->start();
  radio->stop();
  radio->transmit(cbuff(126));
  g.turns();
}

TEST(radioTest, vfoChangeRetunesTheHardware) {
  radioBench b;
  const auto t = b.add(7'000'000);
  const int before = b.radio->changes;
  b.set(t, &vtrx::vfo, 7'000'000);
  EXPECT_EQ(b.radio->changes, before); // its present value: nothing runs
  b.set(t, &vtrx::vfo, 7'003'001);
  EXPECT_EQ(b.radio->changes, before + 1);
  EXPECT_EQ(b.radio->hwReceivers[0].frequency, 7'003'001);
}

TEST(radioTest, tuningAskedForDirectlyLeavesTheVfo) {
  radioBench b;
  const auto t = b.add(7'000'000);
  t->setRxFrequency(7'100'000);
  b.turns();
  EXPECT_EQ(b.radio->hwReceivers[0].frequency, 7'100'000);
  EXPECT_EQ(t->vfo.value, 7'000'000);
}

TEST(radioTest, maskChangeRebuildsTheSlots) {
  radioBench b;
  b.radio->maxHwReceivers.set(2);
  const auto t = b.add(7'000'000);
  b.set(t, &vtrx::ADCs, 3);
  EXPECT_EQ(slotsOf(t), (slotList{0, 1, -1, -1}));
  EXPECT_EQ(b.radio->hwReceivers[1].adc, 1);
  b.set(t, &vtrx::ADCs, 0);
  EXPECT_EQ(slotsOf(t), (slotList{-1, -1, -1, -1}));
  b.radio->feed(512, 0);
  EXPECT_EQ(b.countTurns(), 0);
}

TEST(radioTest, transceiversBeyondTheLimitDontTuneWhenSharingIsOff) {
  radioBench b;
  b.radio->disableVirtualReceivers.set(true);
  b.radio->maxHwReceivers.set(2);
  b.add(7'000'000);
  b.add(7'000'001);
  const auto third = b.add(7'000'002, 1);
  EXPECT_EQ(b.radio->hwReceivers.size(), 2u);
  EXPECT_EQ(b.radio->hwReceivers[1].frequency, 7'000'001);
  EXPECT_EQ(third->hwReceiver[0], 1); // what addVtrx gave it
  const int before = b.radio->changes;
  b.set(third, &vtrx::vfo, 14'000'000);
  EXPECT_EQ(b.radio->changes, before + 1); // frequenciesChanged all the same
  EXPECT_EQ(b.radio->hwReceivers[1].frequency, 7'000'001);
}

TEST(radioTest, offsetShiftsTheTuningAndTheReport) {
  radioBench b;
  b.radio->TransceiverOffset.set(1'000'000);
  b.add(7'000'000);
  EXPECT_EQ(b.radio->hwReceivers[0].frequency, 6'000'000);
  const auto low = b.add(999'999);
  b.radio->transceivers.erase(b.radio->transceivers.begin());
  b.set(low, &vtrx::vfo, 999'998);
  EXPECT_EQ(b.radio->hwReceivers[0].frequency, 0);
}

TEST(radioTest, frequenciesAtTheLimitsAreDefined) {
  radioBench b;
  b.radio->TransceiverOffset.set(INT32_MIN);
  const auto t = b.add(INT32_MAX);
  EXPECT_EQ(b.radio->hwReceivers[0].frequency, INT32_MAX);
  b.set(t, &vtrx::vfo, INT32_MIN);
  EXPECT_EQ(b.radio->hwReceivers[0].frequency, 0);
  b.radio->TransceiverOffset.set(INT32_MAX);
  b.set(t, &vtrx::vfo, INT32_MAX);
  EXPECT_EQ(b.radio->hwReceivers[0].frequency, 0);
  b.set(t, &vtrx::vfo, -2);
  EXPECT_EQ(b.radio->hwReceivers[0].frequency, 0);
}

TEST(radioTest, removedTransceiverLeavesReceiversAndOrder) {
  radioBench b;
  b.radio->maxHwReceivers.set(3);
  const auto first = b.add(7'000'000), second = b.add(14'000'000), third = b.add(21'000'000);
  b.radio->removeVtrx(second);
  b.turns();
  EXPECT_EQ(b.radio->transceivers, (std::vector{first, third}));
  EXPECT_EQ(b.radio->hwReceivers.size(), 3u);
  EXPECT_EQ(second->radio.lock(), nullptr);
  b.radio->removeVtrx(second);
  b.radio->removeVtrx(nullptr);
  EXPECT_EQ(b.radio->transceivers, (std::vector{first, third}));
  second->Deleted = [](int32_t) {};
}

TEST(radioTest, removeFromTheTransceiversSideReachesTheRadio) {
  radioBench b;
  const auto t = b.add(7'000'000);
  t->remove();
  b.turns();
  EXPECT_TRUE(b.radio->transceivers.empty());
}

TEST(radioTest, transceiverOfAnotherRadioStays) {
  radioBench b, other;
  const auto t = other.add(7'000'000);
  b.radio->removeVtrx(t);
  b.turns();
  other.turns();
  EXPECT_EQ(t->radio.lock(), other.radio);
  EXPECT_EQ(other.radio->transceivers.size(), 1u);
}

TEST(radioTest, removedTransceiverTunesNothing) {
  radioBench b;
  const auto gone = b.add(7'000'000), stays = b.add(7'005'000);
  b.radio->removeVtrx(gone);
  const int before = b.radio->changes;
  b.radio->setRxFrequency(7'010'000, gone, 1); // on its way when the removal ran
  b.radio->disableVirtualReceivers.set(true);
  b.radio->setRxFrequency(7'010'000, gone, 1);
  EXPECT_EQ(b.radio->changes, before);
  EXPECT_EQ(b.radio->hwReceivers[0].frequency, 7'000'000);
  b.set(gone, &vtrx::vfo, 14'000'000);
  EXPECT_EQ(b.radio->changes, before);
}

TEST(radioTest, releaseAloneDoesntRemove) {
  radioBench b;
  auto t = b.add(7'000'000);
  t.reset();
  b.turns();
  EXPECT_EQ(b.radio->transceivers.size(), 1u);
}

TEST(radioTest, removedTransceiversBlockDiesWithItsLastTask) {
  radioBench b;
  std::weak_ptr<vtrx> watched = b.add(7'000'000);
  b.radio->feed(512, 0);
  b.radio->removeVtrx(watched.lock());
  EXPECT_FALSE(watched.expired()); // the chunk's task holds it
  b.turns();
  b.pool->getUpdates();
  EXPECT_TRUE(watched.expired());
}

TEST(radioTest, onlyARestartStartsTheTransceivers) {
  radioBench b;
  b.add(7'000'000);
  b.add(7'000'000);
  b.radio->start();
  EXPECT_EQ(b.radio->starts, 1);
  EXPECT_EQ(b.countTurns(), 0);
  b.radio->stop();
  EXPECT_EQ(b.radio->stops, 1);
  EXPECT_EQ(b.countTurns(), 2);
  b.radio->start();
  EXPECT_EQ(b.radio->starts, 2);
  EXPECT_EQ(b.countTurns(), 2);
}

// What a transceiver's ptt does to the radio's.
struct pttRow {
  const char* name;
  bool canTransmit, radioPtt, vtrxPtt;
  bool endsTransmitting, becomesTransmitter, hasValue;
};
class pttTest : public testing::TestWithParam<pttRow> {};

TEST_P(pttTest, followsTheTable) {
  const pttRow& row = GetParam();
  radioBench b;
  const auto before = b.add(7'000'000), t = b.add(7'000'000);
  b.radio->canTransmit.set(row.canTransmit);
  b.radio->ptt.set(row.radioPtt);
  b.radio->transmitter = before;
  int told = 0;
  b.radio->ptt.observer = [&] { told++; };
  storeWord(t->ptt.value, row.vtrxPtt);
  b.radio->setPtt(t);
  EXPECT_EQ(b.radio->ptt.value, row.endsTransmitting);
  EXPECT_EQ(b.radio->transmitter.lock(), row.becomesTransmitter ? t : before);
  EXPECT_EQ(b.radio->ptt.hasValue, row.hasValue);
  EXPECT_EQ(told, row.radioPtt != row.endsTransmitting ? 1 : 0);
}

INSTANTIATE_TEST_SUITE_P(rows, pttTest,
                         testing::Values(pttRow{"receiveOnlyIdleUp", false, false, true, false, false, false},
                                         pttRow{"receiveOnlyIdleDown", false, false, false, false, false, false},
                                         pttRow{"receiveOnlyKeyedUp", false, true, true, true, false, false},
                                         pttRow{"receiveOnlyKeyedDown", false, true, false, true, false, false},
                                         pttRow{"idleUp", true, false, true, true, true, true},
                                         pttRow{"idleDown", true, false, false, false, false, true},
                                         pttRow{"keyedUp", true, true, true, true, true, false},
                                         pttRow{"keyedDown", true, true, false, false, false, true}),
                         [](const auto& each) { return std::string(each.param.name); });

TEST(radioTest, removingTheTransmitterUnkeys) {
  radioBench b;
  b.radio->canTransmit.set(true);
  const auto other = b.add(7'000'000), t = b.add(7'000'000);
  storeWord(t->ptt.value, true);
  b.radio->setPtt(t);
  b.radio->removeVtrx(other);
  EXPECT_TRUE(b.radio->ptt.value);
  b.radio->removeVtrx(t);
  EXPECT_FALSE(b.radio->ptt.value);
  EXPECT_EQ(b.radio->transmitter.lock(), nullptr);
  b.radio->setPtt(t); // on its way when the removal ran: nobody could unkey it again
  EXPECT_FALSE(b.radio->ptt.value);
  EXPECT_EQ(b.radio->transmitter.lock(), nullptr);
  storeWord(t->ptt.value, false);
}

TEST(radioTest, firstChunkHas512SamplesAtEveryRate) {
  radioBench b;
  b.radio->SampleRate.set(1'536'000);
  b.add(7'000'000);
  b.radio->feed(512 + 16384 - 1, 0);
  EXPECT_EQ(b.countTurns(), 1);
  EXPECT_EQ(b.radio->hwReceivers[0].chunk.count, 16384u);
  EXPECT_EQ(b.radio->hwReceivers[0].fillPosition, 16383u);
  b.radio->feed(1, 0);
  EXPECT_EQ(b.countTurns(), 1);
  EXPECT_EQ(b.radio->runs, (std::vector<uint64_t>{512, 16383, 1}));
}

TEST(radioTest, chunkSizeFollowsTheRateAtTheNextBlock) {
  radioBench b;
  b.add(7'000'000);
  b.radio->hwReceivers[0].sampleRate = 192000;
  b.radio->feed(511, 0);
  EXPECT_EQ(b.radio->hwReceivers[0].chunk.count, 512u);
  b.radio->feed(1, 0);
  EXPECT_EQ(b.radio->hwReceivers[0].chunk.count, 2048u);
}

TEST(radioTest, runsOfAnyLengthFillChunksInOrder) {
  radioBench b;
  b.add(7'000'000);
  int fed = 0;
  for (const int n : {0, 1, 7, 511, 512, 513, 1023, 126}) {
    b.radio->feed(static_cast<uint64_t>(n), 0);
    const auto& hw = b.radio->hwReceivers[0];
    fed += n;
    EXPECT_EQ(hw.fillPosition, static_cast<uint64_t>(fed % 512)) << n;
    for (uint64_t i = 0; i < hw.fillPosition; i++)
      ASSERT_EQ(hw.chunk.data[i].real(), static_cast<double>(fed / 512 * 512) + static_cast<double>(i));
  }
  EXPECT_EQ(b.countTurns(), fed / 512);
}

TEST(radioTest, listenersShareOneBlock) {
  radioBench b;
  for (int i = 0; i < 3; i++) b.add(7'000'000 + i);
  b.radio->feed(511, 0);
  const auto block = b.radio->hwReceivers[0].chunk.owner;
  EXPECT_EQ(block.use_count(), 2); // the receiver's and this one
  b.radio->feed(1, 0);
  EXPECT_EQ(block.use_count(), 1 + 3); // one view each, the receiver has a new block
  EXPECT_NE(b.radio->hwReceivers[0].chunk.owner, block);
  EXPECT_EQ(b.countTurns(), 3);
  EXPECT_EQ(block.use_count(), 1); // dropped, since none has been started
}

TEST(radioTest, chunkGoesOnlyToItsListeners) {
  radioBench b;
  b.radio->maxHwReceivers.set(2);
  b.add(7'000'000);
  b.add(14'000'000);
  b.add(14'001'000);
  b.radio->feed(512, 0);
  EXPECT_EQ(b.countTurns(), 1);
  b.radio->feed(512, 1);
  EXPECT_EQ(b.countTurns(), 2);
}

TEST(radioTest, twoSlotsOnOneReceiverGetTwoTasks) {
  radioBench b;
  const auto t = b.add(7'000'000);
  t->hwReceiver[2] = 0;
  b.radio->feed(512, 0);
  EXPECT_EQ(b.countTurns(), 2);
}

TEST(radioTest, rateUnder48000DropsItsSamples) {
  radioBench b;
  b.add(7'000'000);
  auto& hw = b.radio->hwReceivers[0];
  hw.sampleRate = 24000;
  b.radio->feed(100'000, 0); // ends
  EXPECT_EQ(hw.chunk.count, 0u);
  EXPECT_EQ(hw.fillPosition, 0u);
  EXPECT_EQ(b.radio->runs, std::vector<uint64_t>{512});
  hw.sampleRate = 48000;
  b.radio->feed(1, 0); // replaces the block
  EXPECT_EQ(hw.chunk.count, 512u);
  b.radio->feed(512, 0);
  EXPECT_EQ(b.radio->runs.back(), 512u);
  b.turns();
}
