#include "dsp/vectorOps.h"
#include "tests/transceiver/chainTesting.h"
#include <gtest/gtest.h>

namespace larch::test {
namespace {

constexpr double shortPi = 3.1415927;
double rise(int c) { return 0.5 * std::cos(shortPi * c / 512) + 0.5; }
double fall(int c) { return 0.5 * std::cos(shortPi * (512 - c) / 512) + 0.5; }

std::vector<cdouble> envelopeOver(transmitEnvelope& e, uint64_t count) {
  cbuff b(count, 1.0);
  e.apply(b);
  return samplesOf(b);
}
void append(std::vector<cdouble>& to, const std::vector<cdouble>& more) { to.insert(to.end(), more.begin(), more.end()); }

TEST(transmitEnvelopeTest, riseAfterSilenceThenFullScale) {
  for (bool silence : {true, false}) {
    for (uint64_t piece : {1, 7, 126, 512}) {
      transmitEnvelope e;
      e.rise(silence);
      std::vector<cdouble> out;
      while (out.size() < 2000) append(out, envelopeOver(e, piece));
      const int start = silence ? 768 : 0;
      for (int i = 0; i < start; i++) ASSERT_EQ(out[static_cast<size_t>(i)], cdouble(0)) << i;
      for (int i = 0; i <= 512; i++) ASSERT_EQ(out[static_cast<size_t>(start + i)].real(), rise(512 - i)) << i;
      for (size_t i = static_cast<size_t>(start) + 513; i < out.size(); i++) ASSERT_EQ(out[i], cdouble(1)) << i;
    }
  }
}

TEST(transmitEnvelopeTest, tailPassesThenFalls) {
  transmitEnvelope e;
  e.rise(false);
  envelopeOver(e, 1000);
  e.fall(600);
  const auto out = envelopeOver(e, 1200);
  for (int i = 0; i < 88; i++) ASSERT_EQ(out[static_cast<size_t>(i)], cdouble(1)) << i;
  for (int i = 88; i < 600; i++) ASSERT_EQ(out[static_cast<size_t>(i)].real(), fall(600 - i)) << i;
  for (size_t i = 600; i < 1200; i++) ASSERT_EQ(out[i], cdouble(0)) << i;
}

TEST(transmitEnvelopeTest, cutRiseFallsFromFullScale) {
  transmitEnvelope e;
  e.rise(false);
  envelopeOver(e, 100);
  e.fall(512);
  EXPECT_EQ(envelopeOver(e, 1)[0].real(), fall(512)) << "1.0, not the gain that the rise had reached";
}

TEST(transmitEnvelopeTest, isOver503SamplesBehindTheFall) {
  transmitEnvelope e;
  e.rise(false);
  e.fall(512);
  envelopeOver(e, 512 + 503);
  EXPECT_FALSE(e.isOver());
  envelopeOver(e, 1);
  EXPECT_TRUE(e.isOver());
  for (int i = 0; i < 5; i++) envelopeOver(e, 126);
  EXPECT_TRUE(e.isOver()) << "the count runs on";
  e.rise(true);
  EXPECT_FALSE(e.isOver());
}

TEST(microphoneDelayTest, recordsFiveSecondsThenLoops) {
  for (uint64_t m : {126, 512}) {
    microphoneDelay delay;
    delay.setEnabled(true);
    float next = 0;
    int reads = 0;
    const auto read = [&](const buff<float>& mic) {
      reads++;
      for (uint64_t i = 0; i < mic.count; i++) mic.data[i] = next++;
    };
    const uint64_t switchAt = m == 512 ? 239616 : 239904; // the first multiple of m from 240000 - m on
    uint64_t at = 0;
    for (; at < switchAt; at += m) {
      const buff<float> mic(m);
      delay.fill(mic, read);
      ASSERT_EQ(mic.data[0], static_cast<float>(at)) << "audio passes as it is read";
    }
    const int recorded = reads;
    for (uint64_t i = 0; i < 3; i++) {
      const buff<float> mic(m);
      delay.fill(mic, read);
      EXPECT_EQ(mic.data[0], static_cast<float>(i * m)) << "from the start";
      EXPECT_EQ(mic.data[m - 1], static_cast<float>(i * m + m - 1));
    }
    EXPECT_EQ(reads, recorded) << "the microphone isn't read any more";
    for (uint64_t i = 3; i * m < switchAt; i++) delay.fill(buff<float>(m), read);
    const buff<float> again(m);
    delay.fill(again, read);
    EXPECT_EQ(again.data[0], 0.0f) << "over and over";
  }
}

TEST(microphoneDelayTest, offPassesAndOnAgainStartsEmpty) {
  microphoneDelay delay;
  float level = 1;
  const auto read = [&](const buff<float>& mic) { std::fill_n(mic.data, mic.count, level); };
  const buff<float> mic(512);
  delay.fill(mic, read);
  EXPECT_EQ(mic.data[511], 1.0f);
  delay.setEnabled(true);
  for (int i = 0; i < 468; i++) delay.fill(mic, read);
  level = 2;
  delay.fill(mic, read);
  EXPECT_EQ(mic.data[0], 1.0f) << "replays";
  delay.setEnabled(false);
  delay.fill(mic, read);
  EXPECT_EQ(mic.data[0], 2.0f);
  delay.setEnabled(true);
  delay.fill(mic, read);
  EXPECT_EQ(mic.data[0], 2.0f) << "records anew";
}

TEST(microphoneDelayTest, changeOfBlockLengthStaysWithinTheRecording) {
  microphoneDelay delay;
  delay.setEnabled(true);
  const auto read = [](const buff<float>& mic) { std::fill_n(mic.data, mic.count, 1.0f); };
  const buff<float> small(126), large(512);
  for (int i = 0; i < 1904; i++) delay.fill(small, read); // 239904: full
  for (int i = 0; i < 1903; i++) delay.fill(small, read); // 239778, short of the end by 222
  delay.fill(large, read);
  EXPECT_EQ(large.data[125], 1.0f);
  for (size_t i = 126; i < 512; i++) EXPECT_EQ(large.data[i], 0.0f) << "never recorded, or beyond the end: " << i;
  delay.fill(large, read);
  EXPECT_EQ(large.data[511], 1.0f) << "back at the start";
}

class transmitChainTest : public testing::Test {
 protected:
  std::vector<cdouble> produce(int groups, bool tune = false, bool withMode = true) {
    std::vector<cdouble> out;
    for (int i = 0; i < groups; i++) {
      const cbuff group = chain.produce(withMode ? mode.get() : nullptr, tune, [this](const buff<float>& mic) {
        micSamples += mic.count;
        std::fill_n(mic.data, mic.count, 0.5f);
      });
      EXPECT_EQ(group.count, 126u);
      append(out, samplesOf(group));
    }
    return out;
  }

  testGroup env;
  std::shared_ptr<fakeMode> mode = keptByCore(std::make_shared<fakeMode>(env.group));
  transmitChain chain;
  uint64_t micSamples = 0;
};

TEST_F(transmitChainTest, blockedFormStartsWithSilenceThenRises) {
  mode->useTxFilter = false;
  chain.keyDown(mode.get());
  const auto out = produce(20);
  for (size_t i = 0; i < 768; i++) ASSERT_EQ(out[i], cdouble(0)) << i;
  for (int i = 0; i <= 512; i++) ASSERT_EQ(out[static_cast<size_t>(768 + i)].real(), rise(512 - i));
  for (size_t i = 1281; i < out.size(); i++) ASSERT_EQ(out[i], cdouble(1)) << i;
}

TEST_F(transmitChainTest, directFormRisesAtOnceInGroupsOf126) {
  mode->blockedTx = false;
  chain.keyDown(mode.get());
  const auto out = produce(10);
  for (int i = 0; i <= 512; i++) ASSERT_EQ(out[static_cast<size_t>(i)].real(), rise(512 - i));
  EXPECT_EQ(mode->calls, std::vector<std::string>(10, "modulate 126 126"));
  EXPECT_EQ(mode->microphone, std::vector<cdouble>(126, cdouble(0.707 * 0.5f)));
}

TEST_F(transmitChainTest, blockedFormAsksForBlocksOf512WhenOneIsUsedUp) {
  chain.keyDown(mode.get());
  produce(4); // 504 samples
  EXPECT_EQ(mode->take(), std::vector<std::string>(1, "modulate 512 512"));
  produce(1);
  EXPECT_EQ(mode->take(), std::vector<std::string>(1, "modulate 512 512"));
  EXPECT_EQ(micSamples, 1024u);
}

TEST_F(transmitChainTest, filterStandsBetweenWhenTheModeWantsIt) {
  const cbuff taps(1536, 0.0);
  taps.data[0] = {0, 0.25};
  chain.setTaps(taps);
  chain.keyDown(mode.get());
  auto out = produce(20);
  EXPECT_LT(std::abs(out.back() - cdouble(0, 0.25)), 1e-12);
  mode->useTxFilter = false;
  out = produce(10);
  EXPECT_EQ(out.back(), cdouble(1));
}

TEST_F(transmitChainTest, tuneIsASteadyCarrierUnderTheEnvelopeWithoutTheMode) {
  chain.keyDown(mode.get());
  const auto out = produce(20, true);
  for (size_t i = 0; i < 768; i++) ASSERT_EQ(out[i], cdouble(0));
  for (int i = 0; i <= 512; i++) ASSERT_NEAR(out[static_cast<size_t>(768 + i)].real(), 0.99 * rise(512 - i), 1e-15);
  EXPECT_EQ(out.back(), cdouble(0.99));
  EXPECT_TRUE(mode->calls.empty());
  EXPECT_EQ(micSamples, 20 * 126u) << "the stream keeps moving";
}

TEST_F(transmitChainTest, withoutAModeSilenceGoesOut) {
  chain.keyDown(nullptr);
  for (const cdouble& z : produce(20, false, false)) ASSERT_EQ(z, cdouble(0));
  for (const cdouble& z : produce(1, true, false)) ASSERT_EQ(z, cdouble(0));
  EXPECT_EQ(micSamples, 0u);
}

TEST_F(transmitChainTest, emptyModeSendsSilenceInBothForms) {
  const auto plain = keptByCore(std::make_shared<modDemod>(env.group));
  for (bool blocked : {true, false}) {
    plain->blockedTx = blocked;
    plain->useTxFilter = blocked;
    chain.keyDown(mode.get());
    produce(20); // leaves samples in the filter's block
    chain.keyDown(plain.get());
    for (int i = 0; i < 20; i++)
      for (const cdouble& z :
           samplesOf(chain.produce(plain.get(), false, [](const buff<float>& m) { std::fill_n(m.data, m.count, 1.0f); })))
        ASSERT_EQ(z, cdouble(0));
  }
}

TEST_F(transmitChainTest, modeThatIsSwappedWhileKeyedLeavesNoSamplesBehind) {
  const auto plain = keptByCore(std::make_shared<modDemod>(env.group));
  plain->useTxFilter = mode->useTxFilter = false;
  chain.keyDown(mode.get());
  produce(20);
  std::vector<cdouble> out;
  for (int i = 0; i < 10; i++)
    append(out, samplesOf(chain.produce(plain.get(), false, [](const buff<float>& m) { fill(m, 1.0f); })));
  EXPECT_EQ(out.back(), cdouble(0));
}

TEST_F(transmitChainTest, keyDownStartsWithAFreshBlock) {
  mode->blockedTx = true;
  chain.keyDown(mode.get());
  produce(3);
  mode->take();
  chain.keyDown(mode.get());
  produce(1);
  EXPECT_EQ(mode->take().size(), 1u);
}

} // namespace
} // namespace larch::test
