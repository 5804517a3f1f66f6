// The Morse mode in a transceiver: text to the radio, and from a radio's samples back to text.
#include "modes/cwModDemod.h"
#include "sim/randomSource.h"
#include "tests/transceiver/chainTesting.h"
#include <gtest/gtest.h>
#include <string>

namespace larch::test {
namespace {

constexpr int32_t centre = 7'030'000, rate = 48000;
constexpr int dot45 = 1280, dash45 = 3840; // samples at 45 words per minute, where the decoder begins

std::string heardText, sentText;

class cwChainTest : public testing::Test {
 protected:
  cwChainTest() {
    heardText.clear();
    sentText.clear();
    t->vfo.set(centre);
    t->setModulation(cw);
    t->setRxFilter(-250, 250);
    t->newSpectrum = [](buff<float>* frame, double, double, int32_t) { delete frame; };
    t->start();
    cw->wpm.set(45);
    cw->newChars = [](const char* text) { heardText += text; };
    cw->sentChars = [](const char* text) { sentText += text; };
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
    }
    s.env.pool->getUpdates();
  }
  void queueText(const std::string& text) {
    cw->queueText(text, static_cast<uint32_t>(cw->sentCount()));
    s.env.turns();
  }
  void setPtt(bool on) {
    t->ptt.set(on);
    s.env.turns();
  }

  station s;
  std::shared_ptr<vtrx> t = s.transceiver;
  std::shared_ptr<cwModDemod> cw = keptByCore(std::make_shared<cwModDemod>(std::make_shared<syncTask>(s.env.pool.get())));
};

TEST_F(cwChainTest, textEndsItsTransmissionByItself) {
  queueText("ea~");
  setPtt(true);
  EXPECT_TRUE(t->radioPttUp);
  transmit(10'000);
  EXPECT_EQ(s.radio->take(), std::vector<std::string>{"setPtt false"});
  EXPECT_FALSE(t->ptt.value);
  EXPECT_FALSE(t->radioPttUp);
  s.env.pool->getUpdates();
  EXPECT_EQ(sentText, "ea~");
  // a new keyer's four dots of silence, e, the gap, a, its gap; then the fall and the silence behind it
  constexpr int end = (4 + 1 + 3 + 2) * dot45 + dash45 + 3 * dot45;
  EXPECT_EQ(s.radio->sent.size(), static_cast<size_t>((end / 126 * 126 + 512 + 504) / 126 + 1) * 126);
  const auto power = [&](int from, int count) {
    double sum = 0;
    for (int i = from; i < from + count; i++) sum += std::norm(s.radio->sent[static_cast<size_t>(i)]);
    return sum;
  };
  constexpr double plateau = 0.95 * 0.95;
  EXPECT_EQ(power(0, 4 * dot45), 0.0);
  EXPECT_NEAR(power(4 * dot45 + 256, dot45 - 512), plateau * (dot45 - 512), 1e-6) << "e";
  EXPECT_EQ(power(5 * dot45, 3 * dot45), 0.0);
  EXPECT_NEAR(power(10 * dot45 + 256, dash45 - 512), plateau * (dash45 - 512), 1e-6) << "the dash of a";
  EXPECT_EQ(power(10 * dot45 + dash45, static_cast<int>(s.radio->sent.size()) - 10 * dot45 - dash45), 0.0);
}

TEST_F(cwChainTest, aTransmissionWithoutTextEndsByTheHangTime) {
  setPtt(true);
  transmit(10'000);
  EXPECT_FALSE(t->ptt.value);
  const int idle = 4 * dot45 + 9648 - 6; // the envelope falls with the group in which ptt falls
  EXPECT_EQ(s.radio->sent.size(), static_cast<size_t>((idle / 126 * 126 + 512 + 504) / 126 + 1) * 126);
}

TEST_F(cwChainTest, theStraightKeyKeysTheRadio) {
  s.radio->take();
  cw->keyDown();
  s.env.turns();
  EXPECT_TRUE(t->ptt.value);
  EXPECT_EQ(s.radio->take(), std::vector<std::string>{"setPtt true"});
  transmit(20);
  EXPECT_NEAR(s.radio->sent.back().real(), 0.99, 1e-15);
  cw->keyUp();
  s.env.turns();
  transmit(10'000);
  EXPECT_EQ(s.radio->take(), std::vector<std::string>{"setPtt false"});
}

TEST_F(cwChainTest, theRadiosLinesAreSeen) {
  s.radio->cwInternal.set(true);
  s.radio->RadioPtt.set(true);
  cw->keyDown();
  s.env.turns();
  transmit(20);
  EXPECT_EQ(s.radio->sent.back(), cdouble(1));
  cw->keyUp();
  s.env.turns();
  transmit(1000);
  EXPECT_TRUE(t->ptt.value);
  s.radio->RadioPtt.set(false);
  transmit(1000);
  EXPECT_FALSE(t->ptt.value);
}

TEST_F(cwChainTest, aKeyThatIsDownWhenTheModeGoesLeavesNoSidetone) {
  cw->keyDown();
  s.env.turns();
  ASSERT_TRUE(t->audioOut.keyA.load());
  t->setModulation(cw);
  EXPECT_TRUE(t->audioOut.keyA.load()) << "the same mode again";
  t->setModulation(nullptr);
  EXPECT_FALSE(t->audioOut.keyA.load());
}

TEST_F(cwChainTest, anotherTransceiverGetsThePitchToo) {
  cw->freq.set(800);
  setPtt(true);
  transmit(1);
  EXPECT_EQ(t->audioOut.toneFrequency.load(), 800);
  t->setModulation(nullptr);
  const auto other = keptByCore(std::make_shared<vtrx>(std::make_shared<syncTask>(s.env.pool.get())));
  other->setModulation(cw);
  other->modulateTask();
  EXPECT_EQ(other->audioOut.toneFrequency.load(), 800);
  other->setModulation(nullptr);
}

TEST_F(cwChainTest, whatIsSentIsHeard) {
  const std::string text = "paris de q1abc 73 test";
  queueText("vvv " + text + "~"); // the decoder has to find its levels first
  setPtt(true);
  transmit(100'000);
  EXPECT_FALSE(t->ptt.value);
  EXPECT_EQ(heardText, "") << "nothing was received";
  auto signal = std::move(s.radio->sent);
  sim::randomSource noise(1);
  const cdouble turn = std::polar(0.003, 1.0); // a weak signal 40 Hz off
  for (size_t i = 0; i < signal.size(); i++) signal[i] *= turn * std::polar(1.0, 2 * pi * 40 / rate * static_cast<double>(i));
  signal.resize(signal.size() + rate);
  noise.addNoise(signal.data(), signal.size(), 0.001); // 20 dB in 500 Hz
  receive(signal);
  EXPECT_NE(heardText.find(text), std::string::npos) << heardText;
}

} // namespace
} // namespace larch::test
