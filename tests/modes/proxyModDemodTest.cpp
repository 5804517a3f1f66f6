// The proxy by itself, and in a transceiver.
#include "modes/proxyModDemod.h"
#include "tests/transceiver/chainTesting.h"
#include <gtest/gtest.h>
#include <limits>

namespace larch::test {
namespace {

constexpr int32_t centre = 14095600, rate = 48000;

cbuff ramp(uint64_t n) {
  cbuff b(n);
  for (uint64_t i = 0; i < n; i++) b.data[i] = {0.25 * static_cast<double>(i), -1.0};
  return b;
}

// The host's side. Callbacks carry no context.
std::vector<cbuff*> given;         // by rxChunk, kept
std::vector<uint64_t> asked;       // lengths of what getTxChunk was to fill, and of the microphone's block
std::vector<cdouble> found, heard; // what stood there, and what the microphone heard
uint64_t sentSamples = 0;
double sendsAbove = 0; // Hz

void keep(cbuff* block) { given.push_back(block); }
void noteOnly(const cbuff& out, const cbuff& mic) {
  asked.push_back(out.count);
  asked.push_back(mic.count);
  found.insert(found.end(), out.data, out.data + out.count);
  heard.insert(heard.end(), mic.data, mic.data + mic.count);
}
void note(cbuff* out, cbuff* mic) {
  noteOnly(*out, *mic);
  delete out;
  delete mic;
}
void sendTone(cbuff* out, cbuff* mic) {
  noteOnly(*out, *mic);
  const cbuff tone = mirroredTone(sendsAbove, rate, out->count, 0.5, sentSamples);
  std::copy_n(tone.data, tone.count, out->data);
  sentSamples += tone.count;
  delete out;
  delete mic;
}

// What the chain hears of the proxy before it works on it.
class overheardProxy : public proxyModDemod {
 public:
  using proxyModDemod::proxyModDemod;
  buff<float> demodulate(const cbuff& block) override {
    const auto audio = proxyModDemod::demodulate(block);
    spoken.insert(spoken.end(), audio.data, audio.data + audio.count);
    blocks.push_back(block);
    return audio;
  }
  std::vector<float> spoken;
  std::vector<cbuff> blocks;
};

class proxyModDemodTest : public testing::Test {
 protected:
  proxyModDemodTest() {
    for (auto* list : {&found, &heard}) list->clear();
    asked.clear();
    sentSamples = 0;
    t->newSpectrum = [](buff<float>* frame, double, double, int32_t) { delete frame; };
    t->setModulation(mode);
    t->start();
  }
  ~proxyModDemodTest() override {
    for (cbuff* block : given) delete block;
    given.clear();
  }
  void receive(double above, int blocks) {
    for (int i = 0; i < blocks; i++) s.chunk(mirroredTone(above, rate, 512, 0.1, static_cast<uint64_t>(i) * 512), centre, rate);
  }
  // The samples of so many groups of 126 that the radio was given.
  std::vector<cdouble> send(int groups) {
    s.env.turns();
    s.radio->sent.clear();
    for (int i = 0; i < groups; i++) t->modulateTask();
    s.env.turns();
    return s.radio->sent;
  }

  station s;
  std::shared_ptr<vtrx> t = s.transceiver;
  std::shared_ptr<overheardProxy> mode = keptByCore(std::make_shared<overheardProxy>(s.env.group));
};

TEST_F(proxyModDemodTest, realPartOfEachSampleIsTheAudio) {
  for (uint64_t n : {0, 1, 7, 511, 512, 513}) {
    const auto audio = mode->demodulate(ramp(n));
    ASSERT_EQ(audio.count, n);
    for (uint64_t i = 0; i < n; i++) EXPECT_EQ(audio.data[i], 0.25f * static_cast<float>(i));
  }
}

TEST_F(proxyModDemodTest, unboundItLeavesTheOutput) {
  const cbuff out(512, cdouble(3, 4));
  mode->modulate(ramp(512), out);
  EXPECT_EQ(samplesOf(out), std::vector<cdouble>(512, cdouble(3, 4)));
}

TEST_F(proxyModDemodTest, hostGetsAnObjectOfItsOwnThatSharesTheBlock) {
  mode->rxChunk = keep;
  auto block = std::make_unique<cbuff>(ramp(512));
  const cdouble* samples = block->data;
  mode->demodulate(*block);
  mode->blocks.clear();
  block.reset();
  ASSERT_EQ(given.size(), 1u) << "called inside demodulate";
  EXPECT_EQ(given[0]->data, samples);
  EXPECT_EQ(given[0]->count, 512u);
  EXPECT_EQ(given[0]->data[4], cdouble(1.0, -1.0)) << "the host's object keeps the block";
}

TEST_F(proxyModDemodTest, hostFillsTheOutputBeforeItReturns) {
  mode->getTxChunk = [](cbuff* out, cbuff* mic) {
    for (uint64_t i = 0; i < out->count; i++) out->data[i] = mic->data[i] * 2.0;
    delete out;
    delete mic;
  };
  const cbuff out(512, 0.0);
  mode->modulate(ramp(512), out);
  EXPECT_EQ(out.data[4], cdouble(2.0, -2.0));
}

TEST_F(proxyModDemodTest, unboundProxyReceivesAndSendsNothing) {
  t->setRxFilter(200, 2900);
  receive(1000, 20);
  ASSERT_EQ(mode->spoken.size(), 20u * 512);
  double energy = 0;
  cdouble tone = 0;
  for (size_t i = 10 * 512; i < mode->spoken.size(); i++) {
    energy += static_cast<double>(mode->spoken[i]) * static_cast<double>(mode->spoken[i]);
    tone += static_cast<double>(mode->spoken[i]) * std::polar(1.0, -2 * pi * 1000 / rate * static_cast<double>(i));
  }
  EXPECT_NEAR(2 * std::abs(tone) / 5120, 0.1, 1e-3);
  EXPECT_NEAR(energy / 5120, 0.1 * 0.1 / 2, 1e-4) << "nothing else";
  t->ptt.set(true);
  const auto sent = send(30);
  ASSERT_EQ(sent.size(), 30u * 126) << "the radio gets its groups";
  for (const cdouble& z : sent) ASSERT_EQ(z, cdouble(0));
  receive(1000, 1);
  EXPECT_EQ(mode->spoken.size(), 21u * 512) << "and hears on";
}

TEST_F(proxyModDemodTest, hostHearsTheFilteredBandMirrored) {
  mode->rxChunk = keep;
  t->setRxFilter(200, 2900);
  receive(1000, 10);
  ASSERT_EQ(given.size(), 10u);
  const cdouble* z = given.back()->data;
  for (uint64_t i = 1; i < 512; i++) {
    ASSERT_NEAR(std::abs(z[i]), 0.1, 1e-4) << "a gain of 1, before any gain control";
    ASSERT_NEAR(std::arg(z[i] / z[i - 1]), -2 * pi * 1000 / rate, 1e-5) << "clockwise: above the tuned frequency";
  }
  receive(-1000, 10);
  for (uint64_t i = 0; i < 512; i++) ASSERT_LT(std::abs(given.back()->data[i]), 1e-6) << "the other sideband is stopped";
}

TEST_F(proxyModDemodTest, nextBlockComesInTheSamePlace) {
  mode->rxChunk = keep;
  receive(1000, 8);
  const auto before = samplesOf(*given.back());
  receive(700, 1);
  EXPECT_EQ(given[7]->data, given[8]->data);
  EXPECT_NE(samplesOf(*given[7]), before) << "a host that keeps the object without a copy reads the next block";
}

TEST_F(proxyModDemodTest, hostIsAskedForBlocksOf512ClearedWithTheMicrophoneBeside) {
  mode->getTxChunk = sendTone;
  t->ptt.set(true);
  send(40);
  EXPECT_EQ(asked, std::vector<uint64_t>(20, 512)) << "5040 samples are ten blocks, each with a microphone block";
  EXPECT_EQ(found, std::vector<cdouble>(5120, cdouble(0)));
  EXPECT_EQ(heard, std::vector<cdouble>(5120, cdouble(0))) << "no microphone here";
}

TEST_F(proxyModDemodTest, whatTheHostSendsGoesThroughTheTransmitFilter) {
  mode->getTxChunk = sendTone;
  t->setTxFilter(200, 2900);
  for (const double above : {1000.0, 2500.0, -1000.0, 5000.0}) {
    sendsAbove = above;
    t->ptt.set(true);
    const auto sent = send(50);
    const bool passes = above > 200 && above < 2900;
    for (size_t i = 40 * 126 + 1; i < sent.size(); i++) {
      ASSERT_NEAR(std::abs(sent[i]), passes ? 0.5 : 0.0, 1e-4) << above;
      if (!passes) continue;
      ASSERT_NEAR(std::arg(sent[i] / sent[i - 1]), -2 * pi * above / rate, 1e-5);
    }
    t->ptt.set(false);
    send(10);
  }
}

// A host reckons with it: its first 512 samples lie in the rise, and 1280 more must follow its last one before the key goes up.
TEST_F(proxyModDemodTest, whatTheHostSendsLeaves767AndAHalfSamplesLater) {
  mode->getTxChunk = sendTone;
  sendsAbove = 1000;
  t->ptt.set(true);
  const auto sent = send(50);
  for (size_t i = 3000; i < sent.size(); i++) {
    const cdouble z = std::polar(0.5, -2 * pi * sendsAbove / rate * (static_cast<double>(i) - 767.5));
    ASSERT_NEAR(std::abs(sent[i] - z), 0.0, 1e-3) << i;
  }
  for (size_t i = 0; i < 768; i++) ASSERT_EQ(sent[i], cdouble(0));
  EXPECT_NEAR(std::abs(sent[768 + 512]), 0.5, 1e-3) << "the rise ends on the host's sample 512";
}

TEST_F(proxyModDemodTest, tuningSendsACarrierWithoutTheHost) {
  mode->getTxChunk = sendTone;
  t->tune.set(true);
  t->ptt.set(true);
  EXPECT_EQ(send(20).back(), cdouble(0.99));
  EXPECT_TRUE(asked.empty());
}

// A mode that sends in mid-over takes the block's place of one that has sent before.
TEST_F(proxyModDemodTest, proxyThatWritesNothingDoesNotRepeatTheLastBlockOfAnotherMode) {
  for (const bool bound : {false, true}) {
    t->setModulation(s.mode);
    t->ptt.set(true);
    EXPECT_NEAR(std::abs(send(40).back()), 1, 1e-2) << "the other mode's steady level";
    mode->getTxChunk = bound ? note : nullptr;
    t->setModulation(mode);
    const auto sent = send(40);
    // 512 of its last block, 1535 of the filter's ringing
    for (size_t i = 512 + 1535; i < sent.size(); i++) ASSERT_LT(std::abs(sent[i]), 1e-12) << i;
    t->ptt.set(false);
    send(10);
  }
}

TEST_F(proxyModDemodTest, blockWithoutNumbersIsOverWithTheFilter) {
  t->ptt.set(true);
  mode->getTxChunk = [](cbuff* out, cbuff* mic) {
    std::fill_n(out->data, out->count,
                cdouble(std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()));
    delete out;
    delete mic;
  };
  send(20);
  mode->getTxChunk = sendTone;
  sendsAbove = 1000;
  const auto sent = send(60);
  for (size_t i = 5 * 512; i < sent.size(); i++) ASSERT_NEAR(std::abs(sent[i]), 0.5, 1e-3) << i;
}

TEST_F(proxyModDemodTest, hostThatStopsWritingFallsSilent) {
  mode->getTxChunk = sendTone;
  sendsAbove = 1000;
  t->ptt.set(true);
  send(40);
  mode->getTxChunk = note;
  const auto sent = send(40);
  for (size_t i = 512 + 1535; i < sent.size(); i++) ASSERT_LT(std::abs(sent[i]), 1e-12) << i;
}

} // namespace
} // namespace larch::test
