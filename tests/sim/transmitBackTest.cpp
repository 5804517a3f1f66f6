// A transceiver that hears another one of the same radio through the simulated band.
#include <gtest/gtest.h>
#include "sim/transmitEcho.h"
#include "tests/radio/receivingStation.h"

using namespace larch;
using namespace larch::test;

namespace {
// Speaks a tone instead of the microphone.
class speakingMode : public hearingMode {
 public:
  using hearingMode::hearingMode;
  void modulate(const cbuff& input, const cbuff& output) override {
    for (uint64_t i = 0; i < input.count; i++) input.data[i] = 0.3 * std::cos(2 * M_PI * tone_Hz * spoken++ / 48000);
    hearingMode::modulate(input, output);
  }
  double tone_Hz = 1000;
  double spoken = 0; // samples
};

double amplitudeAt(const std::vector<double>& audio, double frequency_Hz) {
  std::complex<double> sum = 0;
  for (size_t n = 0; n < audio.size(); ++n)
    sum += audio[n] * (1 - std::cos(2 * M_PI * static_cast<double>(n) / static_cast<double>(audio.size()))) *
           std::polar(1.0, -2 * M_PI * frequency_Hz * static_cast<double>(n) / 48000);
  return 2 * std::abs(sum) / static_cast<double>(audio.size());
}

// what the other transceiver hears of a tone on the sideband
void expectSidebandHeard(int32_t vfo, bool upper, int32_t rate) {
  receivingStation station({rate, 1, true});
  const auto echo = std::make_shared<sim::transmitEcho>(station.scene, 0.1, -20);
  station.board->setTransmitEcho(echo);
  listener& speaker = station.add(vfo);
  const auto speaking = keptByCore(std::make_shared<speakingMode>(station.radio->taskgroup));
  speaker.transceiver->setModulation(speaking);
  listener& other = station.add(vfo);
  listener& wrong = station.add(vfo);
  const int32_t low = upper ? 200 : -2900, high = upper ? 2900 : -200;
  for (listener* each : {&speaker, &other}) {
    each->transceiver->setRxFilter(low, high);
    each->transceiver->setTxFilter(low, high);
  }
  wrong.transceiver->setRxFilter(-high, -low);
  station.start();
  station.settleIn();
  station.set(speaker, &vtrx::drive, 255);
  station.set(speaker, &vtrx::ptt, true);
  station.run(0.6);
  other.mode->heard.clear();
  wrong.mode->heard.clear();
  station.run(0.5);
  const double right = amplitudeAt(other.mode->heard, 1000);
  EXPECT_GT(right, 1e-3) << vfo << upper;
  EXPECT_LT(amplitudeAt(wrong.mode->heard, 1000), 1e-3 * right) << vfo << upper;
  for (const double elsewhere : {500.0, 2000.0}) EXPECT_LT(amplitudeAt(other.mode->heard, elsewhere), 1e-2 * right);
}
} // namespace

TEST(transmitBackTest, upperSidebandIsHeardAsUpperAtTheSameDial) { expectSidebandHeard(7100000, true, 48000); }
TEST(transmitBackTest, lowerSidebandIsHeardAsLower) { expectSidebandHeard(7100000, false, 192000); }
TEST(transmitBackTest, inAnOddNyquistZoneToo) {
  expectSidebandHeard(50100000, true, 48000);
  expectSidebandHeard(50100000, false, 48000);
}
