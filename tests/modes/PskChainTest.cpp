// The PSK mode in a transceiver: text to the radio, and from a radio's samples back to text.
#include "modes/PskModDemod.h"
#include "sim/randomSource.h"
#include "tests/support/pskTestSender.h"
#include "tests/transceiver/chainTesting.h"
#include <gtest/gtest.h>
#include <string>

namespace larch::test {
namespace {

constexpr int32_t centre = 14'070'000, rate = 48000;

std::string heardText, sentText;

class PskChainTest : public testing::Test {
 protected:
  PskChainTest() {
    heardText.clear();
    sentText.clear();
    t->vfo.set(centre);
    t->setModulation(psk);
    t->setRxFilter(100, 3100); // the upper sideband
    t->setTxFilter(100, 3100);
    t->newSpectrum = [](buff<float>* frame, double, double, int32_t) { delete frame; };
    t->start();
    psk->newChars = [](const char* text) { heardText += text; };
    psk->sentChars = [](const char* text) { sentText += text; };
    s.env.turns();
  }
  // Groups until the radio is let go or `limit` is reached.
  void transmit(int limit) {
    s.radio->take();
    for (int i = 0; i < limit && s.radio->asked.empty(); i++) {
      t->modulateTask();
      s.env.turns();
    }
  }
  void receive(const std::vector<cdouble>& signal) {
    for (size_t at = 0; at + 512 <= signal.size(); at += 512) {
      cbuff block(512);
      std::copy_n(signal.begin() + static_cast<std::ptrdiff_t>(at), 512, block.data);
      s.chunk(block, centre, rate);
      s.env.turns();
      s.env.pool->getUpdates();
    }
  }
  void setPtt(bool on) {
    t->ptt.set(on);
    s.env.turns();
  }

  station s;
  std::shared_ptr<vtrx> t = s.transceiver;
  std::shared_ptr<PskModDemod> psk = keptByCore(std::make_shared<PskModDemod>(std::make_shared<syncTask>(s.env.pool.get())));
};

// A signal `above` Hz over the centre, from the sender of the tests.
std::vector<cdouble> onTheAir(const std::string& text, double above) {
  testing_psk::pskSignal signal;
  signal.frequency = above;
  signal.amplitude = 1;
  const auto samples = testing_psk::samplesOf(signal, testing_psk::turnsOf(signal, text));
  std::vector<cdouble> result; // the other sideband is the filter's affair
  for (size_t n = 0; n + 1 < samples.size(); n++)
    for (int k = 0; k < 6; k++) result.push_back(samples[n] + (samples[n + 1] - samples[n]) * (k / 6.0));
  return result;
}

} // namespace

// Both senses of rotation are right only if sender, sideband and detector agree.
TEST_F(PskChainTest, whatIsSentIsHeard) {
  for (const int32_t mode : {17, 16}) {
    psk->mode.set(mode);
    psk->queueText("paris de q1abc 73 test~", static_cast<uint32_t>(psk->text().sentCount()));
    s.env.turns();
    s.radio->sent.clear();
    setPtt(true);
    transmit(100'000);
    EXPECT_FALSE(t->ptt.value);
    s.env.pool->getUpdates();
    EXPECT_EQ(sentText, "paris de q1abc 73 test~");
    EXPECT_EQ(heardText, "") << "nothing was received";
    auto signal = std::move(s.radio->sent);
    s.radio->sent = {};
    sim::randomSource noise(1);
    for (cdouble& x : signal) x *= std::polar(0.01, 1.0);
    signal.resize(signal.size() + rate);
    noise.addNoise(signal.data(), signal.size(), 0.002);
    receive(signal);
    EXPECT_NE(heardText.find("paris de q1abc 73 test"), std::string::npos) << mode << ": " << heardText;
    heardText.clear();
    sentText.clear();
  }
}

TEST_F(PskChainTest, aTransmissionEndsWithTwoSecondsOfCarrier) {
  psk->mode.set(16);
  psk->queueText("e~", 0);
  s.env.turns();
  setPtt(true);
  transmit(100'000);
  EXPECT_FALSE(t->ptt.value);
  EXPECT_FALSE(t->radioPttUp);
  const auto& sent = s.radio->sent;
  ASSERT_GT(sent.size(), 48000u + 96000u);
  for (size_t n = sent.size() - 90000; n < sent.size() - 4000; n++)
    ASSERT_NEAR(std::abs(sent[n]), std::abs(sent[n - 1]), 1e-4) << n;
  EXPECT_GT(std::abs(sent[sent.size() - 50000]), 0.5);
}

TEST_F(PskChainTest, whileTransmittingNothingIsDetected) {
  t->radioPttUp = true;
  const auto signal = onTheAir("nobody reads this", 1500);
  for (size_t at = 0; at + 512 <= signal.size(); at += 512) {
    cbuff block(512);
    std::copy_n(signal.begin() + static_cast<std::ptrdiff_t>(at), 512, block.data);
    ASSERT_EQ(psk->demodulate(block).data[100], static_cast<float>(block.data[100].real()));
    s.env.pool->getUpdates();
  }
  EXPECT_EQ(heardText, "");
  EXPECT_EQ(psk->dets.items[60]->detector.sampleIndex, 0);
  t->radioPttUp = false;
}

// What the primary detector finds reaches the others within the block, not by a task.
TEST_F(PskChainTest, allPrimaryDetectorsGoAlongAtOnce) {
  for (const double x : {1500.0, 1504.0}) {
    const auto signal = onTheAir("follow me", x);
    for (size_t at = 0; at + 512 <= signal.size(); at += 512) {
      cbuff block(512);
      std::copy_n(signal.begin() + static_cast<std::ptrdiff_t>(at), 512, block.data);
      const int32_t before = psk->rxFreq.get();
      psk->demodulate(block); // no turn of the group
      if (psk->rxFreq.get() != before) {
        for (size_t i = 61; i < 66; i++)
          ASSERT_NEAR(psk->dets.items[i]->frequency(), psk->rxFreq.get(), 1) << i; // they may have moved on by themselves
      }
      s.env.pool->getUpdates();
    }
  }
  EXPECT_NEAR(psk->rxFreq.get(), 1504, 1);
  EXPECT_EQ(psk->txFreq.get(), psk->rxFreq.get());
}

TEST_F(PskChainTest, theHostsFrequencyArrivesAsATaskAndStays) {
  psk->rxFreq.set(1000);
  EXPECT_EQ(psk->dets.items[60]->frequency(), 1500);
  s.env.turns();
  EXPECT_EQ(psk->dets.items[60]->frequency(), 1000);
  receive(onTheAir("down here", 1000));
  EXPECT_NE(heardText.find("down here"), std::string::npos) << heardText;
}

// A block that ends between the host's set and its task writes the old frequency once more.
TEST_F(PskChainTest, aSetThatMeetsABlockIsNotLost) {
  psk->rxFreq.set(1000);
  for (int k = 0; k < 6; k++) psk->demodulate(cbuff(512, 0.1)); // one block of the detectors
  s.env.turns();
  for (int k = 0; k < 6; k++) psk->demodulate(cbuff(512, 0.1));
  EXPECT_NEAR(psk->rxFreq.get(), 1000, 1);
}

} // namespace larch::test
