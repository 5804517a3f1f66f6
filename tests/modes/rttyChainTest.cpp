// The RTTY and Hellschreiber modes in a transceiver: text to the radio, and from a radio's samples back to text.
#include "modes/RTTYModDemod.h"
#include "modes/fskModDemod.h"
#include "modes/hellschreiberModDemod.h"
#include "sim/randomSource.h"
#include "tests/modes/hellTesting.h"
#include "tests/modes/rttyTesting.h"
#include "tests/transceiver/chainTesting.h"
#include <gtest/gtest.h>
#include <string>

namespace larch::test {
namespace {

constexpr int32_t centre = 14'080'000, rate = 48000;

std::string heardText, sentText;

// The other sideband: mark and space keep their places 2000 and 2170, exchanged.
void mirror(std::vector<cdouble>& signal, cdouble level = 1) {
  for (size_t n = 0; n < signal.size(); n++)
    signal[n] = level * std::conj(signal[n]) * std::polar(1.0, -2 * pi * 4170 / rate * static_cast<double>(n));
}

class rttyChainTest : public testing::Test {
 protected:
  rttyChainTest() {
    heardText.clear();
    sentText.clear();
    t->vfo.set(centre);
    t->newSpectrum = [](buff<float>* frame, double, double, int32_t) { delete frame; };
    rtty->newChars = [](const char* text) { heardText += text; };
    rtty->sentChars = hell->sentChars = [](const char* text) { sentText += text; };
    rtty->rxFreq.set(2000);
  }
  void use(const std::shared_ptr<modDemod>& mode, int32_t low, int32_t high) {
    t->setModulation(mode);
    t->setRxFilter(low, high);
    t->setTxFilter(low, high);
    t->start();
    s.env.turns();
  }
  // Groups until the radio is let go or `limit` is reached.
  std::vector<cdouble> transmit(int limit) {
    s.radio->sent.clear();
    t->ptt.set(true);
    s.env.turns();
    s.radio->take();
    for (int i = 0; i < limit && s.radio->asked.empty(); i++) {
      t->modulateTask();
      s.env.turns();
    }
    s.env.pool->getUpdates();
    return std::move(s.radio->sent);
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
  template <class Mode> std::shared_ptr<Mode> make() {
    return keptByCore(std::make_shared<Mode>(std::make_shared<syncTask>(s.env.pool.get())));
  }

  station s;
  std::shared_ptr<vtrx> t = s.transceiver;
  std::shared_ptr<RTTYModDemod> rtty = make<RTTYModDemod>();
  std::shared_ptr<hellschreiberModDemod> hell = make<hellschreiberModDemod>();
};

// The transmitter's mark is the higher tone and the receiver's the lower one: another sideband lies between them.
TEST_F(rttyChainTest, whatIsSentIsHeardOnTheOtherSideband) {
  use(rtty, 1800, 2400);
  const std::string text = "cq cq de q1abc ur 599 59 73 k";
  rtty->queueText("ryryry " + text + " ~", 0);
  auto signal = transmit(100'000);
  EXPECT_FALSE(t->ptt.value);
  EXPECT_FALSE(t->radioPttUp);
  EXPECT_EQ(sentText, "ryryry " + text + " ~");
  EXPECT_EQ(heardText, "") << "nothing was received";
  for (const cdouble& x : signal) ASSERT_LE(std::abs(x), 1.1);
  mirror(signal, std::polar(0.003, 1.0)); // a weak signal
  signal.resize(signal.size() + rate);
  sim::randomSource noise(1);
  noise.addNoise(signal.data(), signal.size(), 0.003); // 14 dB in 500 Hz
  receive(signal);
  EXPECT_NE(heardText.find(heardOf(codesOf(text)) + " "), std::string::npos) << heardText;
}

TEST_F(rttyChainTest, asItIsTheTextIsntHeard) {
  use(rtty, 1800, 2400);
  rtty->queueText("ryryry paris ~", 0);
  auto signal = transmit(100'000);
  signal.resize(signal.size() + rate);
  receive(signal);
  EXPECT_EQ(heardText.find("PARIS"), std::string::npos);
  heardText.clear();
  mirror(signal);
  receive(signal);
  EXPECT_NE(heardText.find("PARIS"), std::string::npos) << "the same signal on the other sideband: " << heardText;
}

// A station of the band: mark below space in frequency, 170 Hz apart.
TEST_F(rttyChainTest, aStationWithItsMarkBelowIsHeard) {
  use(rtty, 1800, 2400);
  rttySender station(2000, 0.01);
  station.idle(6);
  station.frames(codesOf("TEST DE Q1ABC"));
  station.idle(3);
  receive(station.sent);
  EXPECT_NE(heardText.find("TEST DE Q1ABC"), std::string::npos) << heardText;
}

TEST_F(rttyChainTest, withoutTextTheTransmissionGoesOn) {
  use(rtty, 1800, 2400);
  transmit(2000);
  EXPECT_TRUE(t->ptt.value);
}

TEST_F(rttyChainTest, aTextIsDrawnOnTheAir) {
  use(hell, 1000, 1400);
  hell->queueText("Hi~", 0);
  const auto signal = transmit(100'000);
  EXPECT_FALSE(t->ptt.value);
  EXPECT_FALSE(t->radioPttUp);
  EXPECT_EQ(sentText, "Hi~");
  // behind the leading silence of 768 and the filter's delay of half its 1536 taps; less than half a pixel matters little
  constexpr std::ptrdiff_t delay = 1536 / 2;
  const auto wanted = pictureOf("Hi");
  const std::vector<cdouble> drawn(signal.begin() + delay, signal.end());
  EXPECT_EQ(columnsOf(drawn, wanted.size() - 1), std::vector<int>(wanted.begin(), wanted.end() - 1));
}

TEST_F(rttyChainTest, theOperatorHearsAllButFsk) {
  const auto level = [this](const std::shared_ptr<modDemod>& mode) {
    const auto audio = mode->demodulate(mirroredTone(1500, rate, 512));
    double sum = 0;
    for (uint64_t i = 0; i < audio.count; i++) sum += static_cast<double>(audio.data[i] * audio.data[i]);
    return sum / 512;
  };
  EXPECT_NEAR(level(rtty), 0.5, 1e-3);
  EXPECT_NEAR(level(hell), 0.5, 1e-3);
  const auto fsk = make<fskModDemod>();
  EXPECT_EQ(level(fsk), 0.0);
  use(fsk, 1000, 2000);
  receive(samplesOf(mirroredTone(1500, rate, 5120, 0.1)));
  EXPECT_TRUE(transmit(100).size() == 12600);
}

} // namespace
} // namespace larch::test
