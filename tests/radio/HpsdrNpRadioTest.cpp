#include "radio/HpsdrNpRadio.h"
#include "tests/runtime/testGroup.h"
#include "transceiver/vtrx.h"
#include <gtest/gtest.h>

using namespace larch;

namespace {

struct HpsdrNpRadioTest : testing::Test {
  testGroup g;
  std::shared_ptr<HpsdrNpRadio> radio = keptByCore(std::make_shared<HpsdrNpRadio>(g.group));
};

} // namespace

TEST_F(HpsdrNpRadioTest, offersSixRatesInOrder) {
  const std::pair<int32_t, std::string> expected[] = {{48000, "48k"},   {96000, "96k"},   {192000, "192k"},
                                                      {384000, "384k"}, {768000, "768k"}, {1536000, "1536k"}};
  ASSERT_EQ(radio->SampleRates.items.size(), std::size(expected));
  for (size_t i = 0; i < std::size(expected); i++) {
    EXPECT_EQ(radio->SampleRates.items[i]->Value.value, expected[i].first);
    EXPECT_EQ(radio->SampleRates.items[i]->Label.value, expected[i].second);
    EXPECT_EQ(radio->SampleRates.items[i]->taskgroup, radio->taskgroup);
  }
}

TEST_F(HpsdrNpRadioTest, hasOneReceiverAtOneMegahertzFromTheStart) {
  ASSERT_EQ(radio->hwReceivers.size(), 1u);
  const hwReceiver& hw = radio->hwReceivers[0];
  EXPECT_EQ(hw.frequency, 1000000);
  EXPECT_EQ(hw.sampleRate, 48000);
  EXPECT_EQ(hw.adc, 0);
  EXPECT_EQ(hw.index, 0);
  EXPECT_EQ(hw.chunk.count, 512u);
  EXPECT_EQ(hw.fillPosition, 0u);
  EXPECT_EQ(radio->wideband.count, 2048u);
  EXPECT_EQ(radio->widebandFill.count, 2048u);
  EXPECT_NE(radio->wideband.data, radio->widebandFill.data);
}

TEST_F(HpsdrNpRadioTest, receivesOnly) {
  EXPECT_FALSE(radio->canTransmit.value);
  EXPECT_FALSE(radio->canTransmit.hasValue);
}

TEST_F(HpsdrNpRadioTest, startsWithTheValuesOfItsBoards) {
  EXPECT_EQ(radio->clockFrequency.value, 122880000);
  EXPECT_EQ(radio->minRxRFGain.value, -31);
  EXPECT_EQ(radio->minTxRFGain.value, -31);
  EXPECT_EQ(radio->maxRxRFGain.value, 0);
  EXPECT_EQ(radio->rxGain.value, 0);
  EXPECT_EQ(radio->frequencyCalibration.value, 1.0);
}

TEST_F(HpsdrNpRadioTest, theRateReachesEveryReceiver) {
  radio->addHwReceiver(7100000);
  radio->SampleRate.set(1536000);
  for (const hwReceiver& hw : radio->hwReceivers) EXPECT_EQ(hw.sampleRate, 1536000);
  radio->addHwReceiver(14100000);
  ASSERT_EQ(radio->hwReceivers.size(), 3u);
  EXPECT_EQ(radio->hwReceivers[2].sampleRate, 1536000);
  EXPECT_EQ(radio->hwReceivers[2].index, 2);
  EXPECT_EQ(radio->hwReceivers[2].chunk.count, 512u); // whatever the rate
}

TEST_F(HpsdrNpRadioTest, aLoneTransceiverTakesOverItsReceiver) {
  radio->addVtrx(14100000, 0);
  ASSERT_EQ(radio->transceivers.size(), 1u);
  keptByCore(radio->transceivers[0]);
  EXPECT_EQ(radio->hwReceivers.size(), 1u);
  EXPECT_EQ(radio->hwReceivers[0].frequency, 14100000);
  EXPECT_EQ(radio->transceivers[0]->hwReceiver[0], 0);
}
