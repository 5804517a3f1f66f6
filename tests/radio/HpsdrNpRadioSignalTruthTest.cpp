// From the antenna of a simulated Protocol 2 radio to the host's spectrum, S-meter and audio.
#include "tests/radio/carrierTruth.h"
#include "tests/radio/npStation.h"
#include <tuple>

using namespace larch;
using namespace larch::test;

namespace {

constexpr double clock_Hz = 122'880'000, wordStep_Hz = clock_Hz / 4294967296.0;

double amplitudeOf(double level_dBFS) { return std::pow(10, level_dBFS / 20); }

struct npCase {
  const char* name;
  int32_t base;   // Hz, of the first receiver
  int32_t offset; // TransceiverOffset
  int32_t rxGain; // dB: the attenuator takes it away, the scale gives it back
  double clockError_ppm;
  bool mirrored; // an odd zone: the phase word takes the converter's whole clock, so that the band comes upright, and is turned
};
constexpr npCase cases[] = {
    {"first zone", 14'100'000, 0, 0, 0, false},
    {"attenuated", 7'150'000, 0, -13, 0, false},
    {"odd zone", 70'100'000, 0, 0, 0, true},
    {"even zone above the clock", 144'200'000, 0, 0, 0, false},
    {"transverter", 28'300'000, 116'000'000, -12, 0, false},
    {"fast clock", 21'200'000, 0, 0, 5, false},
};

class npSignalTruthTest : public testing::TestWithParam<std::tuple<int32_t, int>> {};

} // namespace

TEST_P(npSignalTruthTest, carriersStandWhereTheyBelong) {
  const auto [rate, receivers] = GetParam();
  const double bin_Hz = rate / spectrumPoints;
  constexpr int32_t apart = 700'000;
  npStation station(rate, receivers);
  for (int r = 0; r < receivers; r++) station.add(14'100'000 + r * apart);
  station.start();
  int number = 0;
  for (const npCase& each : cases) {
    SCOPED_TRACE(each.name);
    number++;
    station.radio->TransceiverOffset.set(each.offset);
    station.radio->rxGain.set(each.rxGain);
    station.board->setClockError_ppm(each.clockError_ppm);
    station.scene->clear();
    // At the highest rates a band holds the neighbours' carriers, too: only one receiver's are on the air at a time.
    const int heard = number % receivers;
    const reception at{each.base + heard * apart, 1, each.clockError_ppm * 1e-6, wordStep_Hz, each.mirrored};
    const carrierSet carriers(at, bin_Hz);
    carriers.play(*station.scene);
    for (int r = 0; r < receivers; r++)
      station.set(station.listeners[static_cast<std::size_t>(r)], &vtrx::vfo, each.base + r * apart + each.offset);
    const listener& who = station.listeners[static_cast<std::size_t>(heard)];
    const bool upper = number % 2 == 0;
    hear(who, upper);
    station.settleIn();
    station.run(0.3);
    const spectrumFrame* frame = receivingStation::frameAt(at.tuned + each.offset);
    ASSERT_NE(frame, nullptr);
    EXPECT_EQ(frame->rate, rate);
    EXPECT_EQ(frame->high - frame->low, rate);
    expectCarrier(*frame, at.heard(carriers.above), bin_Hz, amplitudeOf(carriers.above_dBFS));
    expectCarrier(*frame, at.heard(carriers.below), bin_Hz, amplitudeOf(carriers.below_dBFS));
    if (upper != each.mirrored)
      expectTone(who, at.heard(carriers.upper), amplitudeOf(carriers.upper_dBFS));
    else
      expectTone(who, at.heard(carriers.lower), amplitudeOf(carriers.lower_dBFS));
  }
  EXPECT_EQ(station.radio->ep6SeqErrors.value, 0);
  EXPECT_EQ(station.board->report().problems, 0u) << station.board->problems().summary();
}

INSTANTIATE_TEST_SUITE_P(radios, npSignalTruthTest,
                         testing::Values(std::tuple(48000, 1), std::tuple(48000, 16), std::tuple(96000, 3), std::tuple(192000, 4),
                                         std::tuple(384000, 2), std::tuple(768000, 2), std::tuple(1536000, 1),
                                         std::tuple(1536000, 3)),
                         [](const auto& each) {
                           return std::to_string(std::get<0>(each.param) / 1000) + "kHz" +
                                  std::to_string(std::get<1>(each.param)) + "receivers";
                         });
