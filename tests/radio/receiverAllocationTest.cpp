#include "radio/receiverAllocation.h"
#include <array>
#include <gtest/gtest.h>
#include <limits>
#include <memory>

using namespace larch;

namespace {

constexpr int32_t int32Max = std::numeric_limits<int32_t>::max();
constexpr int32_t int32Min = std::numeric_limits<int32_t>::min();

// A radio of plain records: receivers are added at `rate` on ADC 0, as many as `stock` says.
struct bench {
  explicit bench(int32_t sampleRate, int32_t most = 1) : rate(sampleRate), maxReceivers(most) {}

  std::size_t addListener(int32_t frequency, int32_t mask = 1) {
    slots.push_back(std::make_unique<std::array<int32_t, 4>>());
    slots.back()->fill(noReceiver);
    frequencies.push_back(frequency);
    tune(slots.size() - 1, frequency, mask);
    return slots.size() - 1;
  }
  void tune(std::size_t self, int32_t frequency, int32_t mask = 1) {
    frequencies[self] = frequency;
    std::vector<tunedListener> listeners;
    for (std::size_t i = 0; i < slots.size(); i++) listeners.push_back({frequencies[i], slots[i]->data()});
    receiverAllocation allocation(receivers, listeners, maxReceivers, [this](int32_t f) {
      if (static_cast<int32_t>(receivers.size()) >= stock) return;
      hwReceiver hw;
      hw.frequency = f;
      hw.sampleRate = rate;
      receivers.push_back(hw);
    });
    if (separate)
      allocation.separate(self);
    else
      allocation.share(self, mask);
  }
  int32_t slot(std::size_t listener, std::size_t adc = 0) const { return (*slots[listener])[adc]; }

  int32_t rate, maxReceivers;
  int32_t stock = 100;
  bool separate = false;
  std::vector<hwReceiver> receivers;
  std::vector<int32_t> frequencies;
  std::vector<std::unique_ptr<std::array<int32_t, 4>>> slots;
};

} // namespace

TEST(receiverAllocationTest, chunkIsTenMillisecondsAtEveryRate) {
  EXPECT_EQ(chunkLength(48000), 512u);
  EXPECT_EQ(chunkLength(96000), 1024u);
  EXPECT_EQ(chunkLength(192000), 2048u);
  EXPECT_EQ(chunkLength(384000), 4096u);
  EXPECT_EQ(chunkLength(768000), 8192u);
  EXPECT_EQ(chunkLength(1536000), 16384u);
  EXPECT_EQ(chunkLength(95999), 512u);
}

TEST(receiverAllocationTest, rateUnder48000HasNoChunk) {
  for (const int32_t rate : {47999, 24000, 1, 0, -1, -48000, -96000, int32Min}) EXPECT_EQ(chunkLength(rate), 0u) << rate;
}

TEST(receiverAllocationTest, frequencyBelowTheOffsetTunesToZero) {
  EXPECT_EQ(tunedFrequency(100, 101), 0);
  EXPECT_EQ(tunedFrequency(101, 101), 0);
  EXPECT_EQ(tunedFrequency(102, 101), 1);
  EXPECT_EQ(tunedFrequency(100, -101), 201);
}

TEST(receiverAllocationTest, frequenciesStopAtTheLimits) {
  EXPECT_EQ(tunedFrequency(int32Max, -1), int32Max);
  EXPECT_EQ(tunedFrequency(int32Max, int32Min), int32Max);
  EXPECT_EQ(tunedFrequency(int32Min, int32Max), 0);
  EXPECT_EQ(reportedFrequency(int32Max, 1), int32Max);
  EXPECT_EQ(reportedFrequency(int32Min, -1), int32Min);
  EXPECT_EQ(reportedFrequency(10, -20), -10);
}

TEST(receiverAllocationTest, secondListenerTooFarAwayKeepsWhatItHad) {
  bench b(48000);
  b.addListener(14'000'000);
  const auto second = b.addListener(14'060'000); // needs 60000 < 48000 - 20000, and no second receiver may be had
  EXPECT_EQ(b.slot(0), 0);
  EXPECT_EQ(b.slot(second), noReceiver);
  ASSERT_EQ(b.receivers.size(), 1u);
  EXPECT_EQ(b.receivers[0].frequency, 14'000'000);
  b.tune(second, 14'010'000);
  EXPECT_EQ(b.slot(second), 0);
  b.tune(second, 14'060'000);
  EXPECT_EQ(b.slot(second), 0); // the receiver that it had, though it doesn't cover the frequency
  EXPECT_EQ(b.receivers[0].frequency, 14'000'000);
}

TEST(receiverAllocationTest, secondListenerInsideTheBandSharesWithoutMoving) {
  bench b(192000);
  b.addListener(14'000'000);
  EXPECT_EQ(b.slot(b.addListener(14'020'000)), 0);
  EXPECT_EQ(b.receivers[0].frequency, 14'000'000);
}

TEST(receiverAllocationTest, receiverMovesToTheMiddleOfThoseWhoShareIt) {
  bench b(192000);
  b.addListener(14'000'000);
  const auto second = b.addListener(14'100'001); // outside 86 kHz, and 100001 < 172000
  EXPECT_EQ(b.slot(second), 0);
  EXPECT_EQ(b.receivers[0].frequency, 14'050'000);
}

TEST(receiverAllocationTest, listenersAsFarApartAsTheBandDontShare) {
  bench b(48000);
  b.addListener(14'000'000);
  b.addListener(14'028'000); // 28000 isn't below 28000
  EXPECT_EQ(b.receivers[0].frequency, 14'000'000);
  b.tune(1, 14'027'999);
  EXPECT_EQ(b.slot(1), 0);
  EXPECT_EQ(b.receivers[0].frequency, 14'013'999);
}

TEST(receiverAllocationTest, bandEndsTenKilohertzFromItsEdge) {
  bench b(48000, 2);
  b.addListener(14'000'000);
  b.addListener(14'013'999); // 13999 < 14000: inside
  EXPECT_EQ(b.receivers[0].frequency, 14'000'000);
  b.addListener(13'986'000); // 14000 isn't, and 27999 < 28000: the middle
  EXPECT_EQ(b.receivers[0].frequency, 13'999'999);
}

TEST(receiverAllocationTest, loneListenerIsRecentredBeyondASixteenthOfTheRate) {
  bench b(48000);
  b.addListener(14'000'000);
  b.tune(0, 14'003'000);
  EXPECT_EQ(b.receivers[0].frequency, 14'000'000);
  b.tune(0, 14'003'001);
  EXPECT_EQ(b.receivers[0].frequency, 14'003'001);
  b.tune(0, 14'000'001);
  EXPECT_EQ(b.receivers[0].frequency, 14'003'001);
  b.tune(0, 14'000'000);
  EXPECT_EQ(b.receivers[0].frequency, 14'000'000);
}

TEST(receiverAllocationTest, sharedReceiverIsntRecentredByAMoveInsideTheBand) {
  bench b(48000);
  b.addListener(14'000'000);
  b.addListener(14'000'500);
  b.tune(1, 14'010'000);
  EXPECT_EQ(b.receivers[0].frequency, 14'000'000);
}

TEST(receiverAllocationTest, loneListenerTakesItsReceiverAlong) {
  bench b(48000, 4);
  b.addListener(14'000'000);
  b.tune(0, 7'000'000);
  ASSERT_EQ(b.receivers.size(), 1u);
  EXPECT_EQ(b.receivers[0].frequency, 7'000'000);
}

TEST(receiverAllocationTest, freeReceiverIsRecentredBesideASecondTransceiver) {
  bench b(48000, 3);
  b.addListener(14'000'000);
  b.addListener(7'000'000);
  b.tune(1, 14'000'000); // receiver 1 has no listener any more
  EXPECT_EQ(b.slot(1), 0);
  b.tune(1, 21'000'000);
  EXPECT_EQ(b.slot(1), 1);
  EXPECT_EQ(b.receivers[1].frequency, 21'000'000);
  EXPECT_EQ(b.receivers.size(), 2u);
}

TEST(receiverAllocationTest, freeReceiverOfAnotherAdcIsntTakenOverBesideASecondTransceiver) {
  bench b(48000, 3);
  b.addListener(14'000'000);
  b.addListener(7'000'000);
  b.receivers[1].adc = 2; // the hardware's own
  b.tune(1, 14'000'000);
  b.tune(1, 21'000'000);
  EXPECT_EQ(b.slot(1), 2);
  EXPECT_EQ(b.receivers[1].frequency, 7'000'000);
}

TEST(receiverAllocationTest, maskZeroListensToNothing) {
  bench b(48000);
  b.addListener(14'000'000);
  b.tune(0, 14'000'000, 0);
  for (std::size_t adc = 0; adc < 4; adc++) EXPECT_EQ(b.slot(0, adc), noReceiver);
}

TEST(receiverAllocationTest, twoAdcsTakeTwoReceivers) {
  bench b(48000, 2);
  b.addListener(14'000'000);
  b.tune(0, 14'000'000, 3);
  ASSERT_EQ(b.receivers.size(), 2u);
  EXPECT_EQ(b.slot(0, 0), 0);
  EXPECT_EQ(b.slot(0, 1), 1);
  EXPECT_EQ(b.receivers[0].adc, 0);
  EXPECT_EQ(b.receivers[1].adc, 1);
  b.tune(0, 14'000'000, 2); // the second ADC alone goes on with its receiver
  EXPECT_EQ(b.slot(0, 0), noReceiver);
  EXPECT_EQ(b.slot(0, 1), 1);
}

TEST(receiverAllocationTest, loneListenerTurnsItsReceiverToAnotherAdc) {
  bench b(48000, 2);
  b.addListener(14'000'000);
  b.tune(0, 14'000'000, 4);
  ASSERT_EQ(b.receivers.size(), 1u);
  EXPECT_EQ(b.receivers[0].adc, 2);
  EXPECT_EQ(b.slot(0, 2), 0);
}

TEST(receiverAllocationTest, maskBitsBeyondFourSayNothing) {
  bench b(48000, 8);
  b.addListener(14'000'000, int32Min | 0x70);
  EXPECT_TRUE(b.receivers.empty());
  b.tune(0, 14'000'000, -1);
  EXPECT_EQ(b.receivers.size(), 4u);
  for (std::size_t adc = 0; adc < 4; adc++) EXPECT_EQ(b.slot(0, adc), static_cast<int32_t>(adc));
}

TEST(receiverAllocationTest, aNewReceiverStartsAllChunksTogether) {
  bench b(48000, 2);
  b.addListener(14'000'000);
  b.receivers[0].fillPosition = 17;
  b.addListener(7'000'000);
  ASSERT_EQ(b.receivers.size(), 2u);
  EXPECT_EQ(b.receivers[0].fillPosition, 0u);
}

TEST(receiverAllocationTest, separateGivesEachItsOwnUpToTheLimit) {
  bench b(48000, 2);
  b.separate = true;
  for (int i = 0; i < 3; i++) b.addListener(14'000'000 + i);
  ASSERT_EQ(b.receivers.size(), 2u);
  EXPECT_EQ(b.slot(0), 0);
  EXPECT_EQ(b.slot(1), 1);
  EXPECT_EQ(b.slot(2), noReceiver);
  b.tune(2, 7'000'000);
  EXPECT_EQ(b.receivers[0].frequency, 14'000'000);
  EXPECT_EQ(b.receivers[1].frequency, 14'000'001);
  b.tune(1, 7'000'000);
  EXPECT_EQ(b.receivers[1].frequency, 7'000'000);
}

TEST(receiverAllocationTest, radioWithoutReceiversEnds) {
  bench b(48000, 5);
  b.stock = 0;
  EXPECT_EQ(b.slot(b.addListener(14'000'000, 15)), noReceiver);
  b.separate = true;
  EXPECT_EQ(b.slot(b.addListener(14'000'000)), noReceiver);
  EXPECT_TRUE(b.receivers.empty());
}

TEST(receiverAllocationTest, limitsOfZeroAndBelowAddNothing) {
  for (const int32_t most : {0, -1, int32Min}) {
    bench b(48000, most);
    b.addListener(14'000'000);
    b.separate = true;
    b.tune(0, 14'000'000);
    EXPECT_TRUE(b.receivers.empty()) << most;
  }
}

TEST(receiverAllocationTest, frequenciesAtTheLimitsAreComparedAsNumbers) {
  bench b(int32Max, 1);
  b.addListener(0);
  b.addListener(int32Max); // apart by more than the band: 2^31 - 1 against 2^31 - 1 - 20000
  EXPECT_EQ(b.slot(1), noReceiver);
  b.tune(1, int32Max - 20'001);
  EXPECT_EQ(b.slot(1), 0);
  EXPECT_EQ(b.receivers[0].frequency, (int32Max - 20'001) / 2);
  b.receivers[0].frequency = int32Min; // the farthest that two numbers can be
  b.tune(1, int32Max);
  EXPECT_EQ(b.receivers[0].frequency, int32Min);
}
