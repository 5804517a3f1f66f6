// AM and FM in whole transceivers: from the microphone to the audio, at the rates that they ask for.
#include "dsp/fftConvolver.h"
#include "dsp/filterDesign.h"
#include "modes/amModDemod.h"
#include "modes/fmModDemod.h"
#include "tests/modes/toneMeasuring.h"
#include "tests/transceiver/chainTesting.h"
#include "transceiver/transmitChain.h"
#include <gtest/gtest.h>

namespace larch::test {
namespace {

// A mode whose audio a test keeps, as it leaves the mode; `last` also shows what the chain makes of it in place.
template <class Mode> class overheard : public Mode {
 public:
  using Mode::Mode;
  buff<float> demodulate(const cbuff& block) override {
    last = Mode::demodulate(block);
    heard.insert(heard.end(), last.data, last.data + last.count);
    return last;
  }
  std::vector<double> heard;
  buff<float> last;
};

// What a transmitter with a filter of +-width sends of a sine into its microphone; groups of 126 at 48 kHz.
std::vector<cdouble> transmitted(modDemod& mode, double width, double f, double level, size_t samples) {
  transmitChain chain;
  chain.setTaps(makeBandpass(-width, width, 48000, transmitChain::filterTaps, transmitChain::filterTaps));
  chain.keyDown(&mode);
  uint64_t at = 0;
  std::vector<cdouble> sent;
  while (sent.size() < samples) {
    const cbuff group = chain.produce(&mode, false, [&](const buff<float>& mic) {
      for (uint64_t i = 0; i < mic.count; i++, at++)
        mic.data[i] = static_cast<float>(level * std::sin(2 * pi * f / 48000 * static_cast<double>(at)));
    });
    sent.insert(sent.end(), group.data, group.data + group.count);
  }
  sent.resize(samples);
  return sent;
}

// The same at 384 kHz and `above` Hz over the receiver's centre.
std::vector<cdouble> onTheAir(const std::vector<cdouble>& sent, double above) {
  constexpr uint64_t times = 8;
  fftConvolver smooth(makeBandpass(-22000, 22000, 384000, 1536, 1536));
  std::vector<cdouble> air;
  for (size_t at = 0; at + 64 <= sent.size(); at += 64) {
    std::fill_n(smooth.input.data, 512, 0.0);
    for (size_t i = 0; i < 64; i++) smooth.input.data[i * times] = sent[at + i] * static_cast<double>(times);
    smooth.process();
    for (size_t i = 0; i < 512; i++)
      air.push_back(smooth.output.data[i] * std::polar(1.0, -2 * pi * above / 384000 * static_cast<double>(air.size())));
  }
  return air;
}

class amFmChainTest : public testing::Test {
 protected:
  amFmChainTest() {
    amDcAverage = 0.0;
    fm->deviation.set(5000.0);
  }
  static void receive(vtrx& t, const std::vector<cdouble>& samples, int32_t centre, int32_t rate) {
    const auto length = static_cast<size_t>(rate / 48000 * 512);
    for (size_t at = 0; at + length <= samples.size(); at += length) {
      cbuff chunk(length);
      std::copy_n(samples.begin() + static_cast<long>(at), length, chunk.data);
      t.processRxChunk(chunk, centre, rate, {}, 0, 0);
    }
  }
  void use(const std::shared_ptr<modDemod>& mode, int32_t filter) {
    s.transceiver->setModulation(mode);
    s.transceiver->setRxFilter(-filter, filter);
    s.transceiver->setTxFilter(-filter, filter);
    s.transceiver->vfo.set(14100000);
    s.transceiver->start();
  }

  station s;
  using am_t = overheard<amModDemod>;
  using fm_t = overheard<fmModDemod>;
  std::shared_ptr<am_t> am = keptByCore(std::make_shared<am_t>(s.env.group));
  std::shared_ptr<fm_t> fm = keptByCore(std::make_shared<fm_t>(s.env.group));
};

TEST_F(amFmChainTest, amIsHeardAsItWasSpoken) {
  use(am, 4000);
  const double f = 937.5, level = 0.05;
  const auto sent = transmitted(*am, 4000, f, level, 30 * 512);
  receive(*s.transceiver, sent, 14100000, 48000);
  // the speech stands at 45 degrees to the carrier; what follows the envelope is a high pass
  const double speech = 0.707 * level / 2 * 2 * 0.97 * 0.48, w = 2 * pi * f / 48000;
  const cdouble step = std::polar(1.0, -w);
  const double envelope = speech / std::sqrt(2.0) * 0.99 * std::abs((1.0 - step) / (1.0 - 0.99 * step));
  EXPECT_NEAR(toneIn(am->heard, f, 2048), envelope, 0.01 * envelope);
  EXPECT_GT(toneIn(am->heard, f, 2048), 0.99 * powerAsTone(am->heard, 2048)) << "nothing else is heard";
}

TEST_F(amFmChainTest, twoAmTransceiversDisturbEachOther) {
  const auto weakMode = keptByCore(std::make_shared<am_t>(s.env.group));
  const auto weak = s.make();
  use(am, 4000);
  weak->setModulation(weakMode);
  weak->vfo.set(14100000);
  weak->start();
  for (int i = 0; i < 20; i++) {
    receive(*s.transceiver, std::vector<cdouble>(512, 1.0), 14100000, 48000);
    receive(*weak, std::vector<cdouble>(512, 0.1), 14100000, 48000);
  }
  const auto first = [](const std::vector<double>& heard) { return heard[heard.size() - 512]; };
  EXPECT_NEAR(first(am->heard), 0.9 * 0.99, 0.01) << "the weak one's average";
  EXPECT_NEAR(first(weakMode->heard), -0.9 * 0.99, 0.01) << "the strong one's";
}

TEST_F(amFmChainTest, narrowFmIsHeardAsItWasSpoken) {
  use(fm, 8000);
  const double f = 937.5, level = 0.1;
  const auto sent = transmitted(*fm, 8000, f, level, 30 * 512);
  receive(*s.transceiver, sent, 14100000, 48000);
  ASSERT_EQ(fm->heard.size(), 30u * 512);
  const double swing = 0.707 * level / 2 * 2 * f / 300 * 0.97 * 5000, expected = swing * 2 * pi / 48000 * 0.5 * 300 / f;
  EXPECT_NEAR(toneIn(fm->heard, f, 2048), expected, 0.02 * expected);
  EXPECT_GT(toneIn(fm->heard, f, 2048), 0.99 * powerAsTone(fm->heard, 2048)) << "nothing else is heard";
}

TEST_F(amFmChainTest, wideFmIsHeardAt384Kilohertz) {
  fm->deviation.set(12000.0);
  use(fm, 19000);
  const double f = 750; // 64 samples a period: each block of the filter sees the same
  std::vector<double> levels;
  for (double level : {0.05, 0.1}) {
    const auto sent = transmitted(*fm, 19000, f, level, 40 * 512);
    receive(*s.transceiver, onTheAir(sent, 40000), 14060000, 384000);
    EXPECT_TRUE(s.transceiver->bandwidthSufficient.value);
    levels.push_back(toneIn(fm->heard, f, 4096));
    const double swing = 0.707 * level / 2 * 2 * f / 300 * 0.97 * 12000, whole = swing * 2 * pi / 48000 * 0.5 * 300 / f;
    // each block of 64 meets the middle of the filter alone, so that the level is not quite that of a whole filter
    EXPECT_NEAR(levels.back(), whole, 0.12 * whole);
    EXPECT_GT(levels.back(), 0.95 * powerAsTone(fm->heard, 4096)) << "nothing else is heard";
  }
  EXPECT_EQ(fm->heard.size(), 2u * 40 * 512) << "the audio's rate is the same";
  EXPECT_NEAR(levels[1] / levels[0], 2.0, 0.02);
}

TEST_F(amFmChainTest, rateFollowsTheDeviationFromTheNextChunk) {
  use(fm, 8000);
  const std::vector<cdouble> chunk(4096, 0.1);
  receive(*s.transceiver, chunk, 14100000, 384000);
  EXPECT_EQ(std::exchange(fm->heard, {}).size(), 512u);
  EXPECT_EQ(fm->last.count, 512u);
  fm->deviation.set(75000.0);
  receive(*s.transceiver, chunk, 14100000, 384000);
  EXPECT_EQ(std::exchange(fm->heard, {}).size(), 512u);
  EXPECT_EQ(fm->last.count, 64u);
  fm->deviation.set(5000.0);
  receive(*s.transceiver, chunk, 14100000, 384000);
  EXPECT_EQ(fm->last.count, 512u);
}

TEST_F(amFmChainTest, radioBelow384KilohertzIsTooNarrowForWideFm) {
  fm->deviation.set(75000.0);
  use(fm, 90000);
  EXPECT_TRUE(s.transceiver->bandwidthSufficient.value);
  for (int round = 0; round < 2; round++) {
    receive(*s.transceiver, std::vector<cdouble>(2048, 0.1), 14100000, 192000);
    EXPECT_FALSE(s.transceiver->bandwidthSufficient.value);
    EXPECT_TRUE(fm->heard.empty()) << "no audio";
    receive(*s.transceiver, std::vector<cdouble>(4096, 0.1), 14100000, 384000);
    EXPECT_TRUE(s.transceiver->bandwidthSufficient.value);
    EXPECT_EQ(std::exchange(fm->heard, {}).size(), 512u);
  }
  receive(*s.transceiver, std::vector<cdouble>(2048, 0.1), 14100000, 192000);
  fm->deviation.set(5000.0);
  receive(*s.transceiver, std::vector<cdouble>(2048, 0.1), 14100000, 192000);
  EXPECT_TRUE(s.transceiver->bandwidthSufficient.value) << "narrow fits";
}

TEST_F(amFmChainTest, wideFmGoesPastTheNoiseReduction) {
  fm->deviation.set(12000.0);
  fm->rnnoise.set(true);
  use(fm, 19000);
  const auto air = onTheAir(transmitted(*fm, 19000, 750, 0.1, 5 * 512), 0);
  testing::internal::CaptureStdout();
  receive(*s.transceiver, air, 14100000, 384000);
  const std::string said = testing::internal::GetCapturedStdout();
  int refused = 0;
  for (size_t at = 0; (at = said.find("buff copyTo error", at)) != std::string::npos; at++) refused++;
  EXPECT_EQ(refused, 4) << "every ninth of 40 blocks of 64 finds the frame full";
}

TEST_F(amFmChainTest, toneIsOnTheTransmittedCarrier) {
  use(fm, 8000);
  fm->CTCSS.set(100.0);
  s.transceiver->ptt.set(true);
  for (int i = 0; i < 200; i++) s.transceiver->modulateTask();
  s.env.turns();
  const auto& sent = s.radio->sent;
  ASSERT_EQ(sent.size(), 200u * 126);
  const auto hertz = deviationOf(sent);
  EXPECT_NEAR(toneIn(hertz, 100, 9600), 0.1 * 0.85 * 5000, 0.5);
  EXPECT_NEAR(powerAsTone(hertz, 9600), 0.1 * 0.85 * 5000, 0.5) << "and nothing else";
  for (size_t i = sent.size() - 9600; i < sent.size(); i++) ASSERT_NEAR(std::abs(sent[i]), 0.99, 1e-3);
}

TEST_F(amFmChainTest, swingOfTheTransmittedCarrierIsTheDeviation) {
  fm->compression.set(20.0);
  for (double deviation : {2500.0, 5000.0}) {
    fm->deviation.set(deviation);
    const auto sent = transmitted(*fm, 16000, 937.5, 1.0, 40 * 512);
    const auto hertz = deviationOf({sent.end() - 2048, sent.end()});
    const auto [least, largest] = std::minmax_element(hertz.begin(), hertz.end());
    EXPECT_NEAR(*least, -0.97 * deviation, 0.01 * deviation);
    EXPECT_NEAR(*largest, 0.97 * deviation, 0.01 * deviation) << "behind the limiter";
  }
}

} // namespace
} // namespace larch::test
