// From the antenna of a simulated radio to the host's spectrum, S-meter and audio: everything stands where it belongs.
#include "tests/radio/carrierTruth.h"
#include <tuple>

using namespace larch;
using namespace larch::test;

namespace {

constexpr double adcFactor = 16; // 32768 / maxAdcValue

double amplitudeOf(double level_dBFS) { return adcFactor * std::pow(10, level_dBFS / 20); }

struct radioCase {
  const char* name;
  int32_t base;   // Hz, of the first receiver
  int32_t offset; // TransceiverOffset
  double calibration, clockError_ppm;
};
constexpr radioCase radioCases[] = {
    {"first zone", 14'100'000, 0, 1, 0},
    {"odd zone", 50'100'000, 0, 1, 0},
    {"even zone above the clock", 100'050'000, 0, 1, 0},
    {"transverter", 28'200'000, 116'000'000, 1, 0},
    {"odd zone, negative offset", 60'300'000, -28'000'000, 1, 0},
    {"fast clock, calibrated", 50'200'000, 116'000'000, 1 / (1 + 8e-6), 8},
    {"slow clock, calibrated", 7'100'000, 0, 1 / (1 - 8e-6), -8},
    {"wrong calibration", 28'300'000, 0, 1.000'003, 0},
    {"wrong calibration, odd zone, offset", 70'100'000, 74'000'000, 0.999'997, 0},
    {"wrong clock", 14'200'000, 0, 1, 5},
};

} // namespace

class signalTruthTest : public testing::TestWithParam<std::tuple<int32_t, int>> {};

TEST_P(signalTruthTest, carriersStandWhereTheyBelong) {
  const auto [rate, receivers] = GetParam();
  const double bin_Hz = rate / spectrumPoints;
  constexpr int32_t apart = 700'000;
  receivingStation station({rate, receivers, false, 8});
  for (int r = 0; r < receivers; r++) station.add(14'100'000 + r * apart);
  station.start();
  int number = 0;
  for (const radioCase& each : radioCases) {
    SCOPED_TRACE(each.name);
    number++;
    station.radio->TransceiverOffset.set(each.offset);
    station.radio->frequencyCalibration.set(each.calibration);
    station.board->setClockError_ppm(each.clockError_ppm);
    station.scene->clear();
    for (int r = 0; r < receivers; r++) {
      const reception at{each.base + r * apart, each.calibration, each.clockError_ppm * 1e-6};
      const listener& who = station.listeners[static_cast<std::size_t>(r)];
      carrierSet(at, bin_Hz).play(*station.scene);
      station.set(who, &vtrx::vfo, at.tuned + each.offset);
      hear(who, (number + r) % 2 == 0);
    }
    station.settleIn();
    station.run(0.3);
    for (int r = 0; r < receivers; r++) {
      SCOPED_TRACE(r);
      const reception at{each.base + r * apart, each.calibration, each.clockError_ppm * 1e-6};
      const listener& who = station.listeners[static_cast<std::size_t>(r)];
      const carrierSet carriers(at, bin_Hz);
      const spectrumFrame* frame = station.frameAt(at.tuned + each.offset);
      ASSERT_NE(frame, nullptr);
      EXPECT_EQ(frame->rate, rate);
      EXPECT_EQ(frame->high - frame->low, rate);
      expectCarrier(*frame, at.heard(carriers.above), bin_Hz, amplitudeOf(carriers.above_dBFS));
      expectCarrier(*frame, at.heard(carriers.below), bin_Hz, amplitudeOf(carriers.below_dBFS));
      if ((number + r) % 2 == 0)
        expectTone(who, at.heard(carriers.upper), amplitudeOf(carriers.upper_dBFS));
      else
        expectTone(who, at.heard(carriers.lower), amplitudeOf(carriers.lower_dBFS));
    }
  }
  EXPECT_EQ(station.radio->ep6SeqErrors.value, 0);
  EXPECT_EQ(station.board->report().problems, 0u) << station.board->problems().summary();
}

INSTANTIATE_TEST_SUITE_P(radios, signalTruthTest,
                         testing::Combine(testing::Values(48000, 96000, 192000, 384000), testing::Values(1, 2, 4, 8)),
                         [](const auto& each) {
                           return std::to_string(std::get<0>(each.param) / 1000) + "kHz" +
                                  std::to_string(std::get<1>(each.param)) + "receivers";
                         });

class sharedReceiverTest : public testing::TestWithParam<int32_t> {};

// Transceivers beside the middle of their receiver's band: the mixer's side and the spectrum's own middle.
TEST_P(sharedReceiverTest, eachTransceiverHearsItsOwnSide) {
  const int32_t rate = GetParam();
  const double bin_Hz = rate / spectrumPoints;
  receivingStation station({rate, 1, true, 8});
  const int32_t centre = 21'100'000;
  const int32_t beside[] = {0, 9000, -6000};                        // whole bins at every rate
  const double upper = (std::round(1100 / bin_Hz) + 0.2) * bin_Hz;  // tones of the second and third transceiver
  const double lower = -(std::round(1300 / bin_Hz) + 0.3) * bin_Hz; // away from the edges of bins
  for (const int32_t each : beside) station.add(centre + each);
  station.start();
  station.scene->addCarrier(centre + 9000 + upper, -64);
  station.scene->addCarrier(centre - 6000 + lower, -67);
  hear(station.listeners[1], true);
  hear(station.listeners[2], false);
  station.settleIn();
  station.run(0.3);
  EXPECT_EQ(station.radio->hwReceivers.size(), 1u);
  EXPECT_EQ(station.radio->hwReceivers[0].frequency, centre);
  expectTone(station.listeners[1], upper, amplitudeOf(-64));
  expectTone(station.listeners[2], lower, amplitudeOf(-67));
  for (const int32_t each : beside) {
    SCOPED_TRACE(each);
    const spectrumFrame* frame = station.frameAt(centre + each);
    ASSERT_NE(frame, nullptr);
    const double middle = 1023 - each / bin_Hz;
    for (const auto& [heard_Hz, level_dBFS] : {std::pair{9000.0 + upper, -64.0}, std::pair{-6000.0 + lower, -67.0}}) {
      const auto at = static_cast<int>(middle + std::round(heard_Hz / bin_Hz));
      if (at < 12 || at >= 2036 || 2 * middle - at < 0 || 2 * middle - at > 2047) continue; // beyond the frame
      expectCarrier(*frame, heard_Hz, bin_Hz, amplitudeOf(level_dBFS), middle);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(rates, sharedReceiverTest, testing::Values(48000, 96000, 192000, 384000));

// Two converters of one antenna system, the second weaker and turned: the joined stream cancels or adds as asked.
class joinedAdcsTest : public testing::TestWithParam<int32_t> {};

TEST_P(joinedAdcsTest, gainAndPhaseOfTheSecondConverterDecide) {
  const int32_t centre = GetParam();
  const bool oddZone = centre / 38'400'000 % 2 == 1;
  constexpr double turned_deg = 40, weaker_dB = -3;
  receivingStation station({96000, 2, true, 8});
  listener& who = station.add(centre);
  station.set(who, &vtrx::ADCs, 3);
  station.start();
  station.board->setAdcInput(1, {weaker_dB, turned_deg});
  station.scene->addCarrier(centre + 1000, -60);
  hear(who, true);
  const double inverse = std::pow(10, -weaker_dB / 20);
  const double back_deg = oddZone ? turned_deg : -turned_deg; // undoes the turn; a mirrored stream turns the other way
  const auto strength = [&](double gain, double phase_deg) {
    station.set(who, &vtrx::ADC1Gain, gain);
    station.set(who, &vtrx::ADC1Phase, phase_deg);
    station.settleIn();
    station.run(0.25);
    return who.transceiver->signalStrength.value;
  };
  const double alone = 10 * std::log10(10 * std::pow(amplitudeOf(-60), 2));
  EXPECT_NEAR(strength(0, 0), alone, 0.05);
  EXPECT_NEAR(strength(inverse, back_deg), alone + 20 * std::log10(2), 0.05);
  EXPECT_LT(strength(inverse, back_deg + 180), alone - farAbove_dB);
  EXPECT_NEAR(strength(inverse, back_deg + 90), alone + 10 * std::log10(2), 0.05);
  const auto settings = station.board->registers().settings();
  EXPECT_EQ(settings.receivers, 2);
  EXPECT_EQ(settings.adc[0], 0);
  EXPECT_EQ(settings.adc[1], 1);
  EXPECT_EQ(settings.rxFrequency_Hz[0], settings.rxFrequency_Hz[1]);
}

INSTANTIATE_TEST_SUITE_P(zones, joinedAdcsTest, testing::Values(21'100'000, 50'100'000));

TEST(spectrumTruthTest, zoomedSpanIsCentredOnItsOwnFrequency) {
  constexpr int32_t rate = 192000, centre = 14'100'000, offset = 20'000;
  for (const int zoom : {2, 4, 8, 16}) {
    SCOPED_TRACE(zoom);
    receivingStation station({rate, 1, false, 8});
    listener& who = station.add(centre);
    station.set(who, &vtrx::specOffset, offset);
    station.set(who, &vtrx::specZoom, static_cast<double>(zoom));
    const double bin_Hz = rate / zoom / spectrumPoints;
    station.scene->addCarrier(centre + offset + 300.2 * bin_Hz, -62);
    station.scene->addCarrier(centre + offset - 411.3 * bin_Hz, -75.5);
    station.scene->addCarrier(centre - 40'000, -50); // beyond the span: the decimators keep it out
    station.start();
    station.settleIn();
    station.run(0.4);
    const spectrumFrame* frame = station.frameAt(centre + offset);
    ASSERT_NE(frame, nullptr);
    EXPECT_EQ(frame->high - frame->low, rate / zoom);
    EXPECT_EQ(frame->rate, rate);
    expectCarrier(*frame, 300.2 * bin_Hz, bin_Hz, amplitudeOf(-62));
    expectCarrier(*frame, -411.3 * bin_Hz, bin_Hz, amplitudeOf(-75.5));
  }
}

TEST(spectrumTruthTest, widebandFillsWhatTheReceiverDoesntHear) {
  constexpr int32_t rate = 192000, centre = 14'100'000;
  constexpr double widebandBin_Hz = 76'800'000.0 / 2048; // 37500
  constexpr int carrierBin = 379;                        // 14.2125 MHz: beyond the band's end at 14.196 MHz
  receivingStation station({rate, 1, false, 8});
  listener& who = station.add(centre);
  station.set(who, &vtrx::specZoom, 0.5);
  station.scene->addCarrier(carrierBin * widebandBin_Hz, -50);
  const double bin_Hz = rate / spectrumPoints;
  station.scene->addCarrier(centre + 301 * bin_Hz, -95); // an odd bin: the wide span shows every second one; weak: the
                                                         // wideband block hears it, too
  station.start();
  station.settleIn();
  station.run(0.3);
  const spectrumFrame* frame = station.frameAt(centre);
  ASSERT_NE(frame, nullptr);
  EXPECT_EQ(frame->high - frame->low, 2 * rate);
  // ADC counts times the wideband scale, full scale 2048
  const double amplitude = std::pow(10, -50.0 / 20) * 2048 * 0.0004886962890625;
  int seen = 0;
  for (int i = 0; i < 2048; i++) {
    const double f = frame->low + i * (frame->high - frame->low) / 2048;
    if (f < centre + rate / 2) continue;
    const int bin = static_cast<int>(std::floor(f / widebandBin_Hz));
    if (std::abs(bin - carrierBin) > 2) continue;
    seen++;
    ASSERT_NEAR(10 * frame->bels[static_cast<std::size_t>(i)], shownLevel_dB(amplitude, carrierBin - bin), 0.2) << i;
  }
  EXPECT_GT(seen, 300);
  const int shown = (1023 + 301 + 1024) / 2;
  EXPECT_EQ(static_cast<int>(std::max_element(frame->bels.begin() + 512, frame->bels.begin() + 1536) - frame->bels.begin()),
            shown);
  EXPECT_NEAR(10 * frame->bels[static_cast<std::size_t>(shown)], shownLevel_dB(amplitudeOf(-95), 0), level_dB);
}

TEST(spectrumTruthTest, frequenciesBelowZeroHoldNoData) {
  constexpr int32_t rate = 384000, centre = 100'000;
  receivingStation station({rate, 1, false, 8});
  station.set(station.add(centre), &vtrx::specZoom, 0.5);
  station.start();
  station.settleIn();
  station.run(0.1);
  const spectrumFrame* frame = station.frameAt(centre);
  ASSERT_NE(frame, nullptr);
  const double step = 2.0 * rate / 2048;
  for (int i = 0; frame->low + i * step < centre - rate / 2; i++)
    ASSERT_EQ(frame->bels[static_cast<std::size_t>(i)], -20.0f) << i;
}
