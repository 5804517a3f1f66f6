#include "tests/transceiver/chainTesting.h"
#include <gtest/gtest.h>

namespace larch::test {
namespace {

class gainSwitchTest : public testing::Test {
 protected:
  gainSwitchTest() {
    sw.init(post);
    for (agc* fixed : {rx.get(), tx.get()}) {
      fixed->Enabled.set(false);
      fixed->ManualGain.set(0.0);
    }
    rx->Volume.set(0.5f);
    tx->Volume.set(0.25f);
  }
  static buff<float> steady(float level, uint64_t count = 512) { return buff<float>(count, level); }
  float receive(float level = 0.5f) { return sw.receiving(steady(level), controls(), *mode).data[511]; }
  float transmit(float level = 0.5f) { return sw.transmitting(steady(level), controls()).data[511]; }
  gainSwitch::controls controls() { return {rx.get(), tx.get(), -50.0f}; }

  testGroup env;
  std::shared_ptr<agc> rx = keptByCore(std::make_shared<agc>(env.group)), tx = keptByCore(std::make_shared<agc>(env.group)),
                       post = keptByCore(std::make_shared<agc>(env.group));
  std::shared_ptr<modDemod> mode = keptByCore(std::make_shared<modDemod>(env.group));
  gainSwitch sw;
};

TEST_F(gainSwitchTest, eachDirectionHasItsGain) {
  EXPECT_EQ(receive(), 0.25f);
  EXPECT_EQ(transmit(), 0.125f);
}

TEST_F(gainSwitchTest, transmitGainStaysForTheFirst29BlocksAfterATransmission) {
  for (int round = 0; round < 2; round++) {
    transmit();
    for (int i = 0; i < 29; i++) EXPECT_EQ(receive(), 0.125f) << i;
    for (int i = 0; i < 100; i++) EXPECT_EQ(receive(), 0.25f) << i;
  }
}

TEST_F(gainSwitchTest, receiveGainIsNotMeasuredIn50BlocksAfterATransmission) {
  rx->Enabled.set(true);
  rx->Volume.set(1.0f);
  rx->Attack.set(1e-4f);
  for (int i = 0; i < 50; i++) receive(1.0f);
  const float settled = receive(0.01f) / 0.01f;
  EXPECT_NEAR(settled, 1 / 1.2, 1e-3);
  transmit();
  for (int i = 0; i < 29; i++) receive(0.05f);
  for (int i = 29; i < 50; i++) EXPECT_EQ(receive(1.5f), 1.0f) << "clamped at the old gain, block " << i;
  EXPECT_LT(receive(1.5f), 0.9f) << "the 51st is measured";
}

TEST_F(gainSwitchTest, transmitGainIsNotMeasuredIn50BlocksAfterReceiving) {
  tx->Enabled.set(true);
  tx->Volume.set(1.0f);
  tx->Attack.set(1e-4f);
  for (int i = 0; i < 60; i++) transmit(1.0f);
  receive();
  for (int i = 0; i < 50; i++) EXPECT_EQ(transmit(1.5f), 1.0f) << i;
  EXPECT_LT(transmit(1.5f), 0.9f);
}

TEST_F(gainSwitchTest, squelchSeesTheSignalStrength) {
  rx->Enabled.set(true);
  rx->Squelch.set(-49.0f);
  EXPECT_EQ(receive(), 0.0f);
  rx->Squelch.set(-50.0f);
  EXPECT_EQ(receive(), 0.25f);
}

TEST_F(gainSwitchTest, volumeComesBehindTheNoiseReduction) {
  mode->rnnoise.set(true);
  mode->rnnoiseSquelch.set(0.0); // delays only
  rx->Attack.set(0.25f);
  rx->Decay.set(0.125f);
  rx->Hang.set(0.0f);
  constexpr float level = 0.001f;
  for (int i = 0; i < 20; i++) receive(level);
  // the second stage's limit of 10 dB times the volume; the first stage leaves the volume out
  EXPECT_NEAR(receive(level), level * std::pow(10.0, 0.5) * 0.5, 1e-7);
  EXPECT_EQ(post->Attack.value, 0.25f);
  EXPECT_EQ(post->Decay.value, 0.125f);
  EXPECT_EQ(post->Hang.value, 0.0f);
  EXPECT_EQ(post->Volume.value, 0.5f);
  EXPECT_EQ(post->MaxGain.value, 10.0f);
  EXPECT_TRUE(post->Attack.hasValue) << "own writes";
}

TEST_F(gainSwitchTest, transmitMonitorHasNoNoiseReduction) {
  mode->rnnoise.set(true);
  EXPECT_EQ(transmit(), 0.125f) << "no delay";
}

TEST_F(gainSwitchTest, missingGainControlsPassTheAudio) {
  const gainSwitch::controls none{nullptr, nullptr, 0.0f};
  gainSwitch bare;
  for (bool reduce : {false, true}) {
    mode->rnnoise.set(reduce);
    mode->rnnoiseSquelch.set(0.0);
    for (int i = 0; i < 10; i++) bare.receiving(steady(0.5f), none, *mode);
    EXPECT_FLOAT_EQ(bare.receiving(steady(0.5f), none, *mode).data[511], 0.5f);
  }
  EXPECT_EQ(bare.transmitting(steady(0.5f), none).data[0], 0.5f);
}

TEST_F(gainSwitchTest, worksInPlace) {
  const auto audio = steady(0.5f);
  EXPECT_EQ(sw.receiving(audio, controls(), *mode).data, audio.data);
  EXPECT_EQ(sw.transmitting(audio, controls()).data, audio.data);
}

} // namespace
} // namespace larch::test
