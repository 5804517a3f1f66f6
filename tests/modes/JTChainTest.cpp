// The timed-slot mode in a transceiver, chunk by chunk and group by group.
#include "modes/JTModDemod.h"
#include "platform/clock.h"
#include "tests/modes/JTTesting.h"
#include "tests/transceiver/chainTesting.h"

namespace larch::test {
namespace {

constexpr int32_t dial = 14'074'000, centre = 14'100'000, rate = 192'000;

struct JTChainTest : testing::Test {
  JTChainTest() {
    toldFiles.clear();
    jt->saveDirectory.set(directory.path.string() + "/");
    jt->newFile = [](const char* text) { toldFiles.push_back(text); };
    t.transceiver->vfo.set(dial);
    t.transceiver->setModulation(jt);
    t.transceiver->setRxFilter(100, 5000);
    t.transceiver->setTxFilter(100, 5000);
    t.transceiver->start();
    t.env.turns();
    t.radio->take();
  }
  // Chunks with a carrier so far above the dial.
  void hear(double above, int chunks) {
    for (int i = 0; i < chunks; i++, heard_ += 2048) {
      t.chunk(mirroredTone(dial + above - centre, rate, 2048, 0.1, heard_), centre, rate);
      clock.advance_ns(2048 * second_ns / rate);
    }
  }
  void transmit(int groups) {
    for (int i = 0; i < groups; i++) t.transceiver->modulateTask();
    t.env.turns();
  }
  bool awaitFiles(size_t count) {
    awaitThat([&] {
      jt->demodulate(cbuff());
      t.env.pool->getUpdates();
      return toldFiles.size() >= count;
    });
    return toldFiles.size() == count;
  }

  simulatedClock clock{fullHour_ns};
  emptyDirectory directory;
  station t;
  std::shared_ptr<JTModDemod> jt = keptByCore(std::make_shared<JTModDemod>(t.env.group));

 private:
  uint64_t heard_ = 0;
};

// A tone above the dial is a tone in the file, at 12,000 samples a second.
TEST_F(JTChainTest, whatIsAboveTheDialIsInTheFile) {
  constexpr double pitch = 1503.125;
  clock.setTo_ns(fullHour_ns + 14 * second_ns);
  hear(pitch, 94); // the filter has filled
  jt->samplesPerBlock.set(12'000);
  hear(pitch, 100);
  ASSERT_TRUE(awaitFiles(1));
  EXPECT_EQ(toldFiles[0], directory.path.string() + "/261121_220015.wav8");
  const std::string bytes = bytesOf(directory.path / "261121_220015.wav");
  ASSERT_EQ(bytes.size(), 24'044u);
  std::complex<double> at = 0, beside = 0;
  for (int i = 0; i < 12'000; i++) {
    const auto low = static_cast<uint8_t>(bytes[44 + 2 * static_cast<size_t>(i)]);
    const auto high = static_cast<uint8_t>(bytes[45 + 2 * static_cast<size_t>(i)]);
    const double value = static_cast<int16_t>(low | high << 8);
    at += std::polar(value, -2 * pi * pitch * i / 12'000);
    beside += std::polar(value, -2 * pi * (pitch + 5) * i / 12'000);
  }
  EXPECT_NEAR(std::abs(at) / 6000, 32'000, 320);
  EXPECT_LT(std::abs(beside) / 6000, 1000);
}

TEST_F(JTChainTest, aMessageKeysTheRadioAndUnkeysIt) {
  jt->samplesPerSymbol.set(9600);
  buff<float> tones(3);
  for (int i = 0; i < 3; i++) tones.data[i] = static_cast<float>(100 * i);
  jt->queueMsg(tones, 7);
  jt->samplesPerBlock.set(1280);
  clock.setTo_ns(fullHour_ns + 15 * second_ns);
  hear(1000, 1);
  t.env.turns();
  EXPECT_EQ(t.radio->take(), std::vector<std::string>{"setPtt true"});
  transmit(3 * 9600 / 126 + 30);
  EXPECT_EQ(t.radio->take().front(), "setPtt false");
  EXPECT_FALSE(t.transceiver->ptt.value);
  const auto& sent = t.radio->sent;
  for (size_t i = 0; i < 768; i++) ASSERT_EQ(sent[i], 0.0);
  for (size_t tone = 0; tone < 3; tone++) { // in the middle of each, behind the filter's delay
    const size_t i = tone * 9600 + 4800 + 768;
    EXPECT_NEAR(-std::arg(sent[i] / sent[i - 1]) * 48000 / (2 * pi), 1500 + 625.0 * static_cast<double>(tone), 0.01);
    EXPECT_NEAR(std::abs(sent[i]), 0.98, 0.01);
  }
  hear(1000, 30);
  ASSERT_TRUE(awaitFiles(1));
  EXPECT_EQ(toldFiles[0], directory.path.string() + "/261121_220015.wav7");
}

} // namespace
} // namespace larch::test
